#include "tests/equality/comparison.h"
#include "tests/equality/every_pair.h"
#include "tests/equality/picture_matrix.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace {

using namespace zv_equality;

struct LoadMatrix {
    char const* name;
    std::vector<std::string> (*make)(std::string const& folder);
    std::size_t least_pictures;
};

class LoadEquality : public testing::TestWithParam<LoadMatrix> {
protected:
    /// Every so manieth pair of a picture and a way to load it; all pairs take three times as long as a test should.
    void expect_equal(int threads, std::size_t distance)
    {
        zv_test::TempDir const folder;
        std::vector<std::string> const pictures = GetParam().make(folder.path().string());
        ASSERT_GE(pictures.size(), GetParam().least_pictures);
        ThreadCount const count(threads);
        std::size_t number = 0;
        for (std::string const& picture : pictures)
            for (LoadOrder const& order : load_orders()) {
                if (number++ % distance != 0)
                    continue;
                Differences const differences = compare_load(picture, order.get());
                EXPECT_TRUE(differences.empty())
                    << std::filesystem::path(picture).filename() << ", " << order.name << "\n"
                    << report(differences);
            }
    }
};

TEST_P(LoadEquality, OneThreadGivesWhatThePlainRoadGives)
{
    expect_equal(1, every_pair() ? 1 : 3);
}

TEST_P(LoadEquality, ManyThreadsGiveWhatThePlainRoadGives)
{
    expect_equal(4, every_pair() ? 1 : 7);
}

INSTANTIATE_TEST_SUITE_P(Pictures, LoadEquality,
                         testing::Values(LoadMatrix{"exr_shapes", make_exr_shapes, 110},
                                         LoadMatrix{"exr_compressions", make_exr_compressions, 40},
                                         LoadMatrix{"exr_oddities", make_exr_oddities, 30},
                                         LoadMatrix{"tiff", make_tiff_pictures, 100},
                                         LoadMatrix{"other_formats", make_other_formats, 100}),
                         [](auto const& matrix) { return matrix.param.name; });

}  // namespace
