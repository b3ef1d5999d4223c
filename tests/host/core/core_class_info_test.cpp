#include "host/core/core_class_info.h"

#include "host/core/core_base_object.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

namespace {

int init_calls = 0;
CoreString init_name;

void note_init(CoreClassInfo const& record)
{
    ++init_calls;
    init_name = record.get_name();
}

bool free_object(void* object, bool const& flag)
{
    delete static_cast<int*>(object);
    return flag;
}

TEST(CoreClassInfo, KeepsNameAndBase)
{
    CoreClassInfo const& base = CoreBaseType::class_info();
    CoreClassInfo const& record = CoreClassInfo::new_class("TestImage", nullptr, &base, nullptr);

    EXPECT_EQ(record.get_name(), "TestImage");
    EXPECT_EQ(record.get_base(), &base);
    EXPECT_EQ(CoreClassInfo::find_class("TestImage"), &record);
    EXPECT_EQ(CoreClassInfo::find_class("NobodyIsCalledThis"), nullptr);
}

TEST(CoreClassInfo, KnowsItsBases)
{
    CoreClassInfo const& middle =
        CoreClassInfo::new_class("TestMiddle", nullptr, &CoreBaseType::class_info(), nullptr);
    CoreClassInfo const& leaf = CoreClassInfo::new_class("TestLeaf", nullptr, &middle, nullptr);

    EXPECT_TRUE(leaf.is_kindof(leaf));
    EXPECT_TRUE(leaf.is_kindof(middle));
    EXPECT_TRUE(leaf.is_kindof(CoreBaseType::class_info()));
    EXPECT_FALSE(middle.is_kindof(leaf));
}

TEST(CoreClassInfo, RunsInitOnceOnTheFinishedRecord)
{
    init_calls = 0;
    CoreClassInfo::new_class("TestWithInit", nullptr, nullptr, note_init);

    EXPECT_EQ(init_calls, 1);
    EXPECT_EQ(init_name, "TestWithInit");
}

TEST(CoreClassInfo, DestroyCallsTheDestructorFunction)
{
    CoreClassInfo const& record = CoreClassInfo::new_class("TestFreed", free_object, nullptr, nullptr);
    CoreClassInfo const& without = CoreClassInfo::new_class("TestNotFreed", nullptr, nullptr, nullptr);
    int kept = 0;

    EXPECT_TRUE(record.destroy(new int(1), true));
    EXPECT_FALSE(record.destroy(new int(1), false));
    EXPECT_FALSE(without.destroy(&kept, true));
}

TEST(CoreClassInfo, TheNewestRecordOfANameIsFound)
{
    CoreClassInfo const& first = CoreClassInfo::new_class("TestTwice", nullptr, nullptr, nullptr);
    CoreClassInfo const& second = CoreClassInfo::new_class("TestTwice", nullptr, nullptr, nullptr);

    EXPECT_NE(&first, &second);
    EXPECT_EQ(CoreClassInfo::find_class("TestTwice"), &second);
    EXPECT_FALSE(first.is_kindof(second));
}

TEST(CoreClassInfo, TheRootIsOneRecordFromAnyThread)
{
    std::vector<CoreClassInfo const*> seen(8);
    std::vector<std::thread> threads;
    for (auto& place : seen)
        threads.emplace_back([&place] { place = &CoreBaseType::class_info(); });
    for (auto& thread : threads)
        thread.join();

    EXPECT_EQ(std::set<CoreClassInfo const*>(seen.begin(), seen.end()).size(), 1u);
    EXPECT_EQ(CoreBaseType::class_info().get_base(), nullptr);
}

TEST(CoreBaseObject, IsKindOfItselfAndTheRoot)
{
    CoreBaseObject const object;

    EXPECT_TRUE(object.is_kindof(CoreBaseObject::class_info()));
    EXPECT_TRUE(object.is_kindof(CoreBaseType::class_info()));
    EXPECT_FALSE(object.is_kindof(CoreClassInfo::new_class("TestStranger", nullptr, nullptr, nullptr)));
}

}  // namespace
