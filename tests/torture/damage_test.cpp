#include "tests/torture/damage.h"

#include <gtest/gtest.h>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/torture/exr_cells.h"

// The parts of the trials that damage files, and those that say how much of one is right.

namespace {

using namespace zv_torture;

Bytes whole_file()
{
    Bytes bytes(3000);
    Random random(1);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random.next());
    return bytes;
}

TEST(Damage, IsTheSameForTheSameSeedOnly)
{
    for (int kind = 0; kind < int(Damage::COUNT); ++kind) {
        Random random(5), same(5), other(6);
        Bytes const bytes = damaged(whole_file(), Damage(kind), random);
        EXPECT_EQ(damaged(whole_file(), Damage(kind), same), bytes) << damage_name(Damage(kind));
        EXPECT_NE(damaged(whole_file(), Damage(kind), other), bytes) << damage_name(Damage(kind));
    }
}

TEST(Damage, LeavesNoFileAsItWas)
{
    for (int kind = 0; kind < int(Damage::COUNT); ++kind) {
        int same = 0;
        for (unsigned seed = 0; seed < 50; ++seed) {
            Random random(seed);
            same += damaged(whole_file(), Damage(kind), random) == whole_file();
        }
        EXPECT_LE(same, 1) << damage_name(Damage(kind));
    }
}

TEST(Damage, StandsFilesWithNextToNothingInThem)
{
    for (std::size_t size : {0u, 1u, 7u, 16u})
        for (int kind = 0; kind < int(Damage::COUNT); ++kind) {
            Random random(3);
            damaged(Bytes(size), Damage(kind), random);
        }
}

class CellsOfAFile : public testing::TestWithParam<int> {
protected:
    CellsOfAFile()
    {
        zv_test::ExrPicture picture;
        picture.width = 100;
        picture.height = 70;
        picture.channels = {{"A"}, {"R"}};
        picture.tile = GetParam();
        picture.compression = Imf::NO_COMPRESSION;  // a byte is a part of one sample
        zv_test::write_exr(whole, picture);
        zv_test::write_exr(other, picture);
    }
    Cells cells() const { return compare_cells(other, whole, GetParam() != 0); }
    int count() const { return GetParam() ? 4 * 3 : 70; }

    zv_test::TempDir folder;
    std::string const whole = folder.file("whole.exr"), other = folder.file("other.exr");
};

TEST_P(CellsOfAFile, AreAllRightWhereNothingIsMissing)
{
    EXPECT_EQ(cells().right_from_start, count());
    EXPECT_EQ(cells().wrong, 0);
    EXPECT_EQ(compare_pictures(other, whole), "");
}

TEST_P(CellsOfAFile, AreRightUpToACut)
{
    zv_test::cut_file_to(other, 0.5);

    EXPECT_GT(cells().right_from_start, 0);
    EXPECT_LT(cells().right_from_start, count());
    EXPECT_EQ(cells().wrong, 0);
}

TEST_P(CellsOfAFile, AreWrongWhereASampleIsAnother)
{
    auto bytes = zv_test::file_bytes(other);
    bytes[bytes.size() - 3] ^= 0x10;
    zv_test::write_bytes(other, bytes);

    EXPECT_GT(cells().wrong, 0);
    EXPECT_NE(compare_pictures(other, whole), "");
}

TEST_P(CellsOfAFile, AreInTroubleWhereTheFileDoesNotOpen)
{
    zv_test::cut_file(other, 20);

    EXPECT_NE(cells().trouble, "");
    EXPECT_NE(compare_pictures(other, whole), "");
}

INSTANTIATE_TEST_SUITE_P(LinesAndTiles, CellsOfAFile, testing::Values(0, 32));

}  // namespace
