#include "image_io/frame/event_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

#include "host/event/event_debug_collisions.h"
#include "tests/support/log_capture.h"

namespace {

using zv_image_io::kEvents;

/// The one-at-a-time hash again, a step a line, in 64 bits cut to 32.
std::uint32_t reference_id(std::string const& name)
{
    std::uint64_t const mask = 0xFFFFFFFF;
    std::uint64_t hash = 0;
    for (unsigned char const byte : name) {
        hash = (hash + byte) & mask;
        hash = (hash + hash * 1024) & mask;
        hash = hash ^ (hash / 64);
    }
    hash = (hash + hash * 8) & mask;
    hash = hash ^ (hash / 2048);
    return static_cast<std::uint32_t>((hash + hash * 32768) & mask);
}

unsigned int id_of(char const* name)
{
    for (auto const& event : kEvents)
        if (std::string(event.name) == name)
            return event.id;
    ADD_FAILURE() << name << " is not in the table";
    return 0;
}

TEST(EventTable, Has118DifferentNames)
{
    std::set<std::string> names;
    for (auto const& event : kEvents)
        names.insert(event.name);

    EXPECT_EQ(kEvents.size(), 118u);
    EXPECT_EQ(names.size(), 118u);
    for (std::string const& name : names)
        EXPECT_EQ(name.rfind("EVT_ID_", 0), 0u) << name;
}

TEST(EventTable, EveryIdentifierIsTheHashOfItsName)
{
    for (auto const& event : kEvents)
        EXPECT_EQ(event.id, reference_id(event.name)) << event.name;
}

TEST(EventTable, HasTheKnownIdentifiersOfTheEventsInUse)
{
    EXPECT_EQ(id_of("EVT_ID_DESTROY"), 0xDB043DA4u);
    EXPECT_EQ(id_of("EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED"), 0x7BBB22FFu);
    EXPECT_EQ(id_of("EVT_ID_PLATE_IMAGE_MANAGER_PATHS_CLEARED"), 0x45793376u);
    EXPECT_EQ(id_of("EVT_ID_RESOLUTION_PRESET_MANAGER_LIST_CHANGED"), 0x5EE9933Eu);
    EXPECT_EQ(id_of("EVT_ID_APPLICATION_RES_PRESET_FILE_PATH_CHANGED"), 0xC9E292ADu);
    EXPECT_EQ(id_of("EVT_ID_APPLICATION_RES_PRESET_FILE_USE_CHANGED"), 0xB14FB2D7u);
}

TEST(EventTable, IdentifiersAreKnownWhileCompiling)
{
    static_assert(zv_image_io::event_id("EVT_ID_DESTROY") == 0xDB043DA4u);
    static_assert(zv_image_io::event_id("") == 0);
    EXPECT_EQ(zv_image_io::event_id("any other name"), reference_id("any other name"));
}

TEST(EventTable, KnowsItsOwnNamesAlone)
{
    for (auto const& event : kEvents)
        EXPECT_TRUE(zv_image_io::is_event(event.name)) << event.name;
    EXPECT_FALSE(zv_image_io::is_event("EVT_ID_NOBODY_KNOWS"));
    EXPECT_FALSE(zv_image_io::is_event("EVT_ID_DESTRO"));
    EXPECT_FALSE(zv_image_io::is_event(""));
}

TEST(EventTable, TheLoadedModuleHasNotedEveryPair)
{
    zv_test::LogCapture log;

    for (auto const& event : kEvents) {
        EXPECT_TRUE(event_debug_collisions(event.id, event.name)) << "a second time is no collision";
        EXPECT_FALSE(event_debug_collisions(event.id, "somebody else")) << event.name << " was not noted";
    }
    EXPECT_EQ(log.lines().size(), kEvents.size());
}

}  // namespace
