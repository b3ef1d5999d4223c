#include <gtest/gtest.h>

#include <OpenColorIO/OpenColorIO.h>

#include <filesystem>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_auto_detection.h"
#include "host/colorio/color_io_manager.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/color_space_rules.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// In what colour space a file's pixels are taken to be: its tags, then its path, then its extension.

namespace {

using namespace zv_test;

ReadScript script_with(std::string const& tag = "", std::string const& value = "")
{
    ReadScript script;
    script.spec = picture_spec(4, 4, 3, OIIO::TypeDesc::FLOAT);
    if (!tag.empty())
        script.spec.attribute(tag, value);
    return script;
}

/// Both doors, which give one answer.
std::string space_of(std::string const& path, ColorSpaceRule expected_rule)
{
    ColorSpaceRule rule;
    CoreString const answer = find_file_color_space(path.c_str(), rule);
    EXPECT_EQ(rule, expected_rule);
    EXPECT_EQ(ImageIO::get_color_space_from_file(path.c_str()), answer);
    return answer.get_data();
}

TEST(ColorSpaceFromFile, IsTheTagEvenIfThePathNamesAnother)
{
    TempDir folder;
    ScriptedFile const file(folder, script_with("oiio:ColorSpace", "ACEScg"), "plate_sRGB.zvs");

    EXPECT_EQ(space_of(file.path(), COLOR_SPACE_RULE_TAG), "ACEScg");
}

TEST(ColorSpaceFromFile, GivesATagAsItStandsWithoutAskingTheConfiguration)
{
    TempDir folder;
    ScriptedFile const file(folder, script_with("oiio:ColorSpace", "Somebody's own space"));
    ASSERT_TRUE(ColorIO::resolve_name("Somebody's own space").is_empty());

    EXPECT_EQ(space_of(file.path(), COLOR_SPACE_RULE_TAG), "Somebody's own space");
}

TEST(ColorSpaceFromFile, AsksTheTagsInTheirOrderAndStopsAtTheFirstThatIsNotEmpty)
{
    ColorIO const& color_io = *ColorIO::get_instance();
    ASSERT_GE(color_io.get_color_space_tag_count(), 2u);
    std::string const first = color_io.get_color_space_tag(0).get_data();
    std::string const second = color_io.get_color_space_tag(1).get_data();
    TempDir folder;

    ReadScript both = script_with(second, "of the second");
    both.spec.attribute(first, "of the first");
    ScriptedFile const with_both(folder, both, "both.zvs");
    EXPECT_EQ(space_of(with_both.path(), COLOR_SPACE_RULE_TAG), "of the first");

    both.spec.attribute(first, "");
    ScriptedFile const with_second(folder, both, "second.zvs");
    EXPECT_EQ(space_of(with_second.path(), COLOR_SPACE_RULE_TAG), "of the second");
}

TEST(ColorSpaceFromFile, TakesOnlyTextForATag)
{
    TempDir folder;
    ReadScript script = script_with();
    script.spec.attribute("oiio:ColorSpace", 3);
    ScriptedFile const file(folder, script);

    EXPECT_EQ(space_of(file.path(), COLOR_SPACE_RULE_NONE), "");
}

TEST(ColorSpaceFromFile, IsTheTagOfARealFile)
{
    TempDir folder;
    write_picture(folder.file("a.exr"), picture_spec(4, 4, 3, OIIO::TypeDesc::HALF));
    write_picture(folder.file("a.png"), picture_spec(4, 4, 3, OIIO::TypeDesc::UINT8));

    EXPECT_EQ(space_of(folder.file("a.exr"), COLOR_SPACE_RULE_TAG), "Linear");
    EXPECT_EQ(space_of(folder.file("a.png"), COLOR_SPACE_RULE_TAG), "sRGB");
}

TEST(ColorSpaceFromFile, IsWhatTheConfigurationFindsAnywhereInThePath)
{
    TempDir folder;
    std::filesystem::create_directory(folder.path() / "ACEScg");
    std::string const in_folder = folder.file("ACEScg/plate.tga");
    std::string const in_name = folder.file("plate_acescg_v2.tga");
    for (std::string const& path : {in_folder, in_name}) {
        write_picture(path, picture_spec(4, 4, 3, OIIO::TypeDesc::UINT8));

        EXPECT_EQ(space_of(path, COLOR_SPACE_RULE_PATH), "ACEScg");
    }
}

TEST(ColorSpaceFromFile, FollowsTheExtensionIfNothingElseTells)
{
    TempDir folder;
    for (std::string const extension : {"tga", "tif", "bmp"}) {
        std::string const path = folder.file("dots.in.name." + extension);
        write_picture(path, picture_spec(4, 4, 3, OIIO::TypeDesc::UINT8));
        CoreString const wanted =
            ColorIOAutoDetection::s_instance->get_default_color_space_from_extension(extension.c_str());
        ASSERT_FALSE(wanted.is_empty());

        EXPECT_EQ(space_of(path, COLOR_SPACE_RULE_EXTENSION), wanted.get_data()) << extension;
    }
}

TEST(ColorSpaceFromFile, CanStayEmpty)
{
    TempDir folder;
    ScriptedFile const file(folder, script_with());

    EXPECT_EQ(space_of(file.path(), COLOR_SPACE_RULE_NONE), "");
}

TEST(ColorSpaceFromFile, IsEmptyForAFileThatDoesNotOpenWhateverItsPathSays)
{
    TempDir folder;
    LogCapture log;

    EXPECT_EQ(ImageIO::get_color_space_from_file(folder.file("missing_ACEScg.tif").c_str()), "");

    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().front(), (LogLine{2, "Failed to load image '" + folder.file("missing_ACEScg.tif") +
                                                   "': could not create image input.\n"}));
    ReadScript refused = script_with("oiio:ColorSpace", "ACEScg");
    refused.opens = false;
    ScriptedFile const file(folder, refused, "refused_ACEScg.zvs");
    log.clear();
    EXPECT_EQ(ImageIO::get_color_space_from_file(file.path().c_str()), "");
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{
                               {2, "Failed to load image '" + file.path() + "': could not open file.\n"}}));
}

TEST(ColorSpaceFromFile, ClosesTheReader)
{
    TempDir folder;
    ScriptedFile const file(folder, script_with("oiio:ColorSpace", "sRGB"));

    ImageIO::get_color_space_from_file(file.path().c_str());

    EXPECT_EQ(file.opens(), 1);
    EXPECT_EQ(file.closes(), 1);
}

}  // namespace
