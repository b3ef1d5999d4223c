#include "tests/equality/comparison.h"
#include "tests/equality/every_pair.h"
#include "tests/equality/save_matrix.h"

#include <gtest/gtest.h>

#include "host/image/image_canvas.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace zv_equality;

struct SaveMatrix {
    char const* name;
    std::vector<SaveOrder> (*orders)();
};

class SaveEquality : public testing::TestWithParam<SaveMatrix> {
protected:
    /// Every so manieth pair of a canvas and a form.
    void expect_equal(int threads, std::size_t distance)
    {
        zv_test::TempDir const folder;
        ThreadCount const count(threads);
        std::size_t files = 0, number = 0;
        for (NamedCanvas const& canvas : save_canvases())
            for (SaveOrder const& order : GetParam().orders()) {
                if (number++ % distance != 0)
                    continue;
                Differences const differences =
                    compare_save(*canvas.canvas, order, folder.path().string(), &files);
                EXPECT_TRUE(differences.empty()) << canvas.name << " as " << order.name << "\n"
                                                 << report(differences);
            }
        EXPECT_GT(files, 300u / distance);
    }
};

TEST_P(SaveEquality, OneThreadGivesTheFilesOfThePlainRoad)
{
    expect_equal(1, every_pair() ? 1 : 2);
}

TEST_P(SaveEquality, ManyThreadsGiveTheFilesOfThePlainRoad)
{
    expect_equal(4, every_pair() ? 1 : 7);
}

INSTANTIATE_TEST_SUITE_P(Forms, SaveEquality,
                         testing::Values(SaveMatrix{"exr", exr_orders},
                                         SaveMatrix{"planning", planning_orders},
                                         SaveMatrix{"oiio", oiio_orders},
                                         SaveMatrix{"simple", simple_orders}),
                         [](auto const& matrix) { return matrix.param.name; });

}  // namespace
