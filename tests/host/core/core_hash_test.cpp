#include "host/core/core_hash.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

struct HashCase {
    std::string_view name;
    unsigned int hash;
};

class CoreHashOfEvents : public testing::TestWithParam<HashCase> {};

TEST_P(CoreHashOfEvents, IsTheKnownIdentifier)
{
    auto const [name, hash] = GetParam();

    EXPECT_EQ(CoreHash::generate_jenkins(name.data(), static_cast<unsigned int>(name.size())), hash);
}

INSTANTIATE_TEST_SUITE_P(
    Names, CoreHashOfEvents,
    testing::Values(HashCase{"EVT_ID_DESTROY", 0xDB043DA4},
                    HashCase{"EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED", 0x7BBB22FF},
                    HashCase{"EVT_ID_PLATE_IMAGE_MANAGER_PATHS_CLEARED", 0x45793376},
                    HashCase{"EVT_ID_RESOLUTION_PRESET_MANAGER_LIST_CHANGED", 0x5EE9933E},
                    HashCase{"EVT_ID_APPLICATION_RES_PRESET_FILE_PATH_CHANGED", 0xC9E292AD},
                    HashCase{"EVT_ID_APPLICATION_RES_PRESET_FILE_USE_CHANGED", 0xB14FB2D7}),
    [](auto const& run) { return std::string(run.param.name); });

TEST(CoreHash, NothingHashesToZero)
{
    EXPECT_EQ(CoreHash::generate_jenkins("", 0), 0u);
}

TEST(CoreHash, BytesAreUnsigned)
{
    // 0xFF by hand: 0xFF + (0xFF << 10) = 0x3FCFF, xor >> 6 = 0x3F30C, then the three closing steps.
    unsigned int expected = 0x3FCFFu ^ (0x3FCFFu >> 6);
    expected += expected << 3;
    expected ^= expected >> 11;
    expected += expected << 15;

    EXPECT_EQ(CoreHash::generate_jenkins("\xFF", 1), expected);
}

TEST(CoreHash, IsKnownAtBuildTime)
{
    constexpr unsigned int hash = CoreHash::generate_jenkins("EVT_ID_DESTROY", 14);
    static_assert(hash == 0xDB043DA4);
    EXPECT_EQ(hash, 0xDB043DA4);
}

}  // namespace
