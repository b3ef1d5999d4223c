#include "tests/equality/comparison.h"
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
    /// With every picture, or with every so manieth.
    void expect_equal(int threads, std::size_t distance)
    {
        zv_test::TempDir const folder;
        std::vector<std::string> const pictures = GetParam().make(folder.path().string());
        ASSERT_GE(pictures.size(), GetParam().least_pictures);
        ThreadCount const count(threads);
        for (std::size_t number = 0; number < pictures.size(); number += distance)
            for (LoadOrder const& order : load_orders()) {
                Differences const differences = compare_load(pictures[number], order.get());
                EXPECT_TRUE(differences.empty())
                    << std::filesystem::path(pictures[number]).filename() << ", " << order.name << "\n"
                    << report(differences);
            }
    }
};

TEST_P(LoadEquality, OneThreadGivesWhatThePlainRoadGives)
{
    expect_equal(1, 1);
}

TEST_P(LoadEquality, ManyThreadsGiveWhatThePlainRoadGives)
{
    expect_equal(4, 3);
}

INSTANTIATE_TEST_SUITE_P(Pictures, LoadEquality,
                         testing::Values(LoadMatrix{"exr_shapes", make_exr_shapes, 110},
                                         LoadMatrix{"exr_compressions", make_exr_compressions, 40},
                                         LoadMatrix{"exr_oddities", make_exr_oddities, 30},
                                         LoadMatrix{"tiff", make_tiff_pictures, 100},
                                         LoadMatrix{"other_formats", make_other_formats, 100}),
                         [](auto const& matrix) { return matrix.param.name; });

}  // namespace
