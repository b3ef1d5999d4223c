#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"
#include "tools/file_sequence.h"
#include "tools/settings.h"

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using zv_test::run_zvio;
using zv_test::TempDir;
using zv_test::warning_codes;

void write_small(std::string const& path)
{
    zv_test::write_picture(path, zv_test::picture_spec(5, 4, 3, OIIO::TypeDesc::UINT8));
}

std::vector<std::string> names_in(std::string const& folder)
{
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    return names;
}

TEST(ParseFrames, TakesRangesStepsAndLists)
{
    EXPECT_THAT(zvio::parse_frames("7"), ElementsAre(7));
    EXPECT_THAT(zvio::parse_frames("1-10x4"), ElementsAre(1, 5, 9));
    EXPECT_THAT(zvio::parse_frames("8,1-3,0"), ElementsAre(8, 1, 2, 3, 0));
    for (char const* text : {"", "a", "1-", "-1", "1-2x", "1,", ",1", "1-2x0", "2-1", "1 2", "1-2147483647"})
        EXPECT_THROW(zvio::parse_frames(text), zvio::CommandError) << text;
}

TEST(NumberedName, StandsForFramesOfAtLeastSoManyDigits)
{
    zvio::NumberedName const name("/a#/shot.###.exr");

    EXPECT_TRUE(name.has_number());
    EXPECT_EQ(name.path(7), "/a#/shot.007.exr");
    EXPECT_EQ(name.path(12345), "/a#/shot.12345.exr");
    EXPECT_FALSE(zvio::NumberedName("/a#/shot.exr").has_number());
}

TEST(ZvioConvertSequences, FramesAreAskedForByNumber)
{
    TempDir const folder, target;
    for (char const* name : {"shot.0001.png", "shot.0002.png", "shot.0003.png"})
        write_small(folder.file(name));

    auto const run = run_zvio({"convert", "--json", "--frames", "1-3x2", folder.file("shot.####.png"), "-o",
                               target.file("out.##.tga")});

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_THAT(names_in(target.path().string()), UnorderedElementsAre("out.01.tga", "out.03.tga"));
    EXPECT_EQ(run.json()["result"]["files_asked"], 2);
}

TEST(ZvioConvertSequences, WithoutFramesThoseThatThereAreAreTaken)
{
    TempDir const folder, target;
    for (char const* name :
         {"shot.0009.png", "shot.0010.png", "shot.12345.png", "shot.01.png", "other.0001.png"})
        write_small(folder.file(name));

    auto const run = run_zvio({"convert", folder.file("shot.####.png"), "-o", target.file("out.####.tga")});

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_THAT(names_in(target.path().string()),
                UnorderedElementsAre("out.0009.tga", "out.0010.tga", "out.12345.tga"));
}

TEST(ZvioConvertSequences, MissingFramesFailAndTheOthersAreWritten)
{
    TempDir const folder, target;
    write_small(folder.file("shot.1.png"));
    write_small(folder.file("shot.3.png"));

    auto const run = run_zvio(
        {"convert", "--json", "--frames", "1-3", folder.file("shot.#.png"), "-o", target.file("out.#.png")});

    EXPECT_EQ(run.exit_code, 3);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("missing"));
    EXPECT_THAT(names_in(target.path().string()), UnorderedElementsAre("out.1.png", "out.3.png"));
}

TEST(ZvioConvertSequences, NumbersOfFileNamesServeNumberedOutputs)
{
    TempDir const folder, target;
    write_small(folder.file("shot_v2.0041.png"));

    auto const run =
        run_zvio({"convert", folder.file("shot_v2.0041.png"), "-o", target.file("out.######.png")});

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_THAT(names_in(target.path().string()), ElementsAre("out.000041.png"));
}

TEST(ZvioConvertSequences, FoldersKeepTheNamesOfTheirInputs)
{
    TempDir const folder, target, formatted;
    write_small(folder.file("a.png"));
    write_small(folder.file("b.tif"));
    zv_test::write_bytes(folder.file("notes.md"), {'n', 'o'});

    auto const kept = run_zvio({"convert", folder.path().string(), "-o", target.path().string()});
    auto const changed =
        run_zvio({"convert", "--format", "png16", folder.path().string(), "-o", formatted.path().string()});

    EXPECT_EQ(kept.exit_code, 0) << kept.error;
    EXPECT_EQ(changed.exit_code, 0) << changed.error;
    EXPECT_THAT(names_in(target.path().string()), UnorderedElementsAre("a.png", "b.tif"));
    EXPECT_THAT(names_in(formatted.path().string()), UnorderedElementsAre("a.png", "b.png"));
    EXPECT_EQ(zv_test::read_picture(formatted.file("a.png")).spec.format, OIIO::TypeDesc::UINT16);
}

TEST(ZvioConvertSequences, PatternsFindFiles)
{
    TempDir const folder, target;
    for (char const* name : {"a1.png", "a2.png", "b1.png"})
        write_small(folder.file(name));

    auto const run =
        run_zvio({"convert", "--format", "bmp", folder.file("a?.png"), "-o", target.path().string()});

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_THAT(names_in(target.path().string()), UnorderedElementsAre("a1.bmp", "a2.bmp"));
}

TEST(ZvioConvertSequences, NothingIsWrittenOverItself)
{
    TempDir const folder;
    write_small(folder.file("a.png"));
    auto const before = zv_test::file_bytes(folder.file("a.png"));

    auto const same = run_zvio({"convert", folder.file("a.png"), "-o", folder.file("a.png")});
    auto const folder_itself = run_zvio({"convert", folder.file("a.png"), "-o", folder.path().string()});

    EXPECT_EQ(same.exit_code, 2);
    EXPECT_EQ(folder_itself.exit_code, 2);
    EXPECT_EQ(zv_test::file_bytes(folder.file("a.png")), before);
}

TEST(ZvioConvertSequences, FoldersWithoutPicturesAreMistakes)
{
    TempDir const folder, target;

    EXPECT_EQ(run_zvio({"convert", folder.path().string(), "-o", target.path().string()}).exit_code, 2);
}

}  // namespace
