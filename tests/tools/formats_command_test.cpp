#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/run_zvio.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using zv_test::run_zvio;
using Json = nlohmann::json;

TEST(ZvioFormats, ListsTheWholeCatalogue)
{
    auto const run = run_zvio({"formats", "--json"});
    Json const result = run.json()["result"];

    EXPECT_EQ(run.exit_code, 0);
    ASSERT_EQ(result["load"].size(), 8u);
    ASSERT_EQ(result["save"].size(), 10u);
    ASSERT_EQ(result["compression"].size(), 11u);
    EXPECT_EQ(result["load"][6],
              Json::parse(R"({"value": 6, "name": "Tx", "extensions": ["tx", "txt", "tex"]})"));
    EXPECT_EQ(result["save"][7], Json::parse(R"json({"value": 7, "name": "Tiff (8bit)", "short_name": "tiff8",
                                                 "bytes_per_channel": 1, "extensions": ["tif", "tiff"]})json"));
    EXPECT_EQ(result["compression"][9],
              Json::parse(R"({"value": 9, "name": "DWAA Compression", "short_name": "dwaa"})"));
    EXPECT_THAT(result["extensions"].get<std::vector<std::string>>(), Contains("exr"));
    EXPECT_EQ(result["filters"]["open"].get<std::string>().rfind("Known Files\t*.{exr,", 0), 0u);
    EXPECT_EQ(result["filters"]["save"].get<std::string>().rfind("Open EXR (16bit)\t*.{exr,hdr}\n", 0), 0u);
}

TEST(ZvioFormats, ListsOneTopicAlone)
{
    auto const text = run_zvio({"formats", "compression"});
    auto const json = run_zvio({"formats", "save", "--json"});

    EXPECT_THAT(text.output, HasSubstr("  pxr24       PXR24 Compression\n"));
    EXPECT_THAT(text.output, Not(HasSubstr("Targa")));
    EXPECT_EQ(json.json()["result"].size(), 1u);
    EXPECT_TRUE(json.json()["result"].contains("save"));
}

}  // namespace
