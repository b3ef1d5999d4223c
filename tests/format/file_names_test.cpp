#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "image_io/format/image_io_file_format.h"

namespace {

struct LayerCase {
    char const* label;
    char const* path;
    char const* layer;
    char const* result;
};

class LayerFileName : public testing::TestWithParam<LayerCase> {};

TEST_P(LayerFileName, PutsTheLayerInFrontOfTheFrameNumber)
{
    CoreString const name = ImageIOFileFormat::construct_layer_file_name(GetParam().path, GetParam().layer);

    EXPECT_STREQ(name.get_data(), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Table, LayerFileName,
    testing::Values(
        LayerCase{"main_layer", "/out/beauty.0001.exr", "rgba", "/out/beauty.0001.exr"},
        LayerCase{"frame_number", "/out/beauty.0001.exr", "diffuse", "/out/beauty_diffuse.0001.exr"},
        LayerCase{"no_frame_number", "/out/beauty.exr", "diffuse", "/out/beauty_diffuse.exr"},
        LayerCase{"part_in_front_of_the_number", "/out/shot.a.0001.exr", "diffuse",
                  "/out/shot.a_diffuse.0001.exr"},
        LayerCase{"several_parts_without_number", "/out/a.b.c.exr", "diffuse", "/out/a_diffuse.b.c.exr"},
        LayerCase{"number_in_front_of_the_first_dot", "/out/1.exr", "diffuse", "/out/1_diffuse.exr"},
        LayerCase{"empty_layer", "/out/beauty.0001.exr", "", "/out/beauty.0001.exr"},
        LayerCase{"other_case_is_a_layer", "/out/beauty.exr", "RGBA", "/out/beauty_RGBA.exr"},
        LayerCase{"last_of_two_numbers", "/out/a.1.2.exr", "layer", "/out/a.1_layer.2.exr"},
        LayerCase{"number_at_the_end", "/out/a.exr.7", "layer", "/out/a.exr_layer.7"},
        LayerCase{"signed_number", "/out/a.-3.exr", "layer", "/out/a_layer.-3.exr"},
        LayerCase{"frame_marker", "/out/beauty.####.exr", "diffuse", "/out/beauty_diffuse.####.exr"},
        LayerCase{"no_dot", "/out/beauty", "diffuse", "/out/beauty_diffuse"},
        LayerCase{"empty_parts", "/out/a..0001.exr", "layer", "/out/a._layer.0001.exr"},
        LayerCase{"dot_in_a_folder", "/out.7/beauty.exr", "layer", "/out.7/beauty_layer.exr"},
        LayerCase{"file_in_the_root", "/beauty.exr", "layer", "/beauty_layer.exr"},
        LayerCase{"bare_name", "beauty.exr", "layer", "./beauty_layer.exr"},
        LayerCase{"main_layer_of_a_bare_name", "beauty.exr", "rgba", "beauty.exr"},
        LayerCase{"no_file_name", "/out/", "layer", ""}, LayerCase{"nothing", "", "layer", ""},
        LayerCase{"main_layer_of_nothing", "", "rgba", ""}),
    [](auto const& row) { return row.param.label; });

struct TileCase {
    char const* label;
    char const* path;
    int first, second;
    char const* result;
};

class TileFileName : public testing::TestWithParam<TileCase> {};

TEST_P(TileFileName, PadsTheSecondNumberToTheFirst)
{
    CoreString const name =
        ImageIOFileFormat::construct_tile_file_name(GetParam().path, GetParam().first, GetParam().second);

    EXPECT_STREQ(name.get_data(), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Table, TileFileName,
    testing::Values(TileCase{"closing_dot", "render.", 12, 3, "render.tilex12-03."},
                    TileCase{"no_closing_dot", "render", 12, 3, "render.tilex12-03."},
                    TileCase{"one_digit", "render", 8, 5, "render.tilex8-5."},
                    TileCase{"three_digits", "render", 100, 7, "render.tilex100-007."},
                    TileCase{"second_is_wider", "render", 5, 120, "render.tilex5-120."},
                    TileCase{"nine_is_one_digit", "r", 9, 4, "r.tilex9-4."},
                    TileCase{"ten_is_two_digits", "r", 10, 4, "r.tilex10-04."},
                    TileCase{"zero", "r", 0, 0, "r.tilex0-0."},
                    TileCase{"negative_first_is_one_digit", "r", -12, 3, "r.tilex-12-3."},
                    TileCase{"negative_second", "r", 100, -7, "r.tilex100--07."},
                    TileCase{"two_closing_dots", "render..", 12, 3, "render..tilex12-03."},
                    TileCase{"dot_inside", "/a.b/render.v2", 1, 2, "/a.b/render.v2.tilex1-2."},
                    TileCase{"only_a_dot", ".", 1, 2, ".tilex1-2."},
                    TileCase{"empty_path", "", 1, 2, ".tilex1-2."},
                    TileCase{"percent_stays", "50%s %d%n.", 1, 2, "50%s %d%n.tilex1-2."},
                    TileCase{"doubled_percent_is_one", "50%%.", 1, 2, "50%.tilex1-2."},
                    TileCase{"three_percents_are_two", "a%%%b", 1, 2, "a%%b.tilex1-2."},
                    TileCase{"percent_at_the_end", "a%", 1, 2, "a%.tilex1-2."},
                    TileCase{"largest_numbers", "r", INT_MAX, INT_MAX, "r.tilex2147483647-2147483647."},
                    TileCase{"largest_padding", "r", INT_MAX, 1, "r.tilex2147483647-0000000001."},
                    TileCase{"smallest_numbers", "r", INT_MIN, INT_MIN, "r.tilex-2147483648--2147483648."}),
    [](auto const& row) { return row.param.label; });

TEST(TileFileName, TakesPathsOfAnyLength)
{
    std::string const path(100000, 'p');

    CoreString const name = ImageIOFileFormat::construct_tile_file_name(path.c_str(), 12, 3);

    EXPECT_EQ(std::string(name.get_data()), path + ".tilex12-03.");
}

}  // namespace
