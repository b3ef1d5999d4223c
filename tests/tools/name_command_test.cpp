#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/run_zvio.h"

namespace {

using zv_test::run_zvio;

struct NameCase {
    char const* label;
    std::vector<std::string> arguments;
    char const* name;
};

class ZvioName : public testing::TestWithParam<NameCase> {};

TEST_P(ZvioName, IsPrintedAndStandsInTheDocument)
{
    std::vector<std::string> arguments = {"name"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    auto const plain = run_zvio(arguments);
    arguments.push_back("--json");
    auto const document = run_zvio(arguments);

    EXPECT_EQ(plain.exit_code, 0);
    EXPECT_EQ(plain.output, std::string(GetParam().name) + "\n");
    EXPECT_EQ(plain.error, "");
    EXPECT_EQ(document.json()["command"], "name");
    EXPECT_EQ(document.json()["result"], (nlohmann::json{{"name", GetParam().name}}));
}

INSTANTIATE_TEST_SUITE_P(
    Files, ZvioName,
    testing::Values(NameCase{"layer", {"layer", "a/b.0001.exr", "z"}, "a/b_z.0001.exr"},
                    NameCase{"layer_without_number", {"layer", "/a/b.exr", "depth"}, "/a/b_depth.exr"},
                    NameCase{"rgba", {"layer", "a/b.exr", "rgba"}, "a/b.exr"},
                    NameCase{"tile", {"tile", "render.", "12", "3"}, "render.tilex12-03."},
                    NameCase{"tile_without_dot", {"tile", "render", "1", "2"}, "render.tilex1-2."}),
    [](auto const& row) { return row.param.label; });

}  // namespace
