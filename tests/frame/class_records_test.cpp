#include <gtest/gtest.h>

#include <array>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "host/core/core_class_info.h"
#include "image_io/format/image_io_file_format.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_io_load.h"
#include "image_io/save/image_io_save.h"

// First in this program: the records are made here, by whichever thread comes first.

namespace {

constexpr int kThreads = 16;

using Records = std::array<CoreClassInfo const*, 4>;

/// Each thread begins at another class.
Records records_from(int thread)
{
    Records records{};
    for (int i = 0; i < 4; ++i)
        switch ((i + thread) % 4) {
        case 0:
            records[0] = &ImageIO::class_info();
            break;
        case 1:
            records[1] = &ImageIOFileFormat::class_info();
            break;
        case 2:
            records[2] = &ImageIOLoad::class_info();
            break;
        default:
            records[3] = &ImageIOSave::class_info();
        }
    return records;
}

TEST(ClassRecords, AreMadeOnceForAllThreads)
{
    std::vector<Records> found(kThreads);
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] {
            start.arrive_and_wait();
            found[std::size_t(thread)] = records_from(thread);
        });
    for (std::thread& thread : threads)
        thread.join();

    char const* const names[] = {"ImageIO", "ImageIOFileFormat", "ImageIOLoad", "ImageIOSave"};
    for (std::size_t i = 0; i < 4; ++i) {
        ASSERT_NE(found[0][i], nullptr);
        EXPECT_EQ(found[0][i]->get_name(), names[i]);
        EXPECT_EQ(found[0][i]->get_base(), &CoreBaseType::class_info());
        for (Records const& records : found)
            EXPECT_EQ(records[i], found[0][i]) << names[i];
    }
}

}  // namespace
