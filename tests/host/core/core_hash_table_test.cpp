#include "host/core/core_hash_table.h"

#include "host/core/core_string.h"
#include "tests/host/core/reference_table.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Table = CoreHashTable<CoreString, int>;
using Entries = std::vector<std::pair<std::string, int>>;
using zv_test::ReferenceTable;

Entries walk(Table const& table)
{
    Entries entries;
    table.for_each([&entries](CoreString const& key, int value) {
        entries.emplace_back(std::string(key.view()), value);
    });
    return entries;
}

CoreString key_of(int number)
{
    return CoreString("key") + number;
}

Table filled(int count)
{
    Table table;
    for (int i = 0; i < count; ++i)
        table.insert(key_of(i), i);
    return table;
}

ReferenceTable filled_reference(int count)
{
    ReferenceTable table;
    for (int i = 0; i < count; ++i)
        table.insert("key" + std::to_string(i), i);
    return table;
}

void expect_same(Table const& table, ReferenceTable const& reference)
{
    ASSERT_EQ(table.get_mode(), reference.mode);
    ASSERT_EQ(walk(table), reference.walk());
    ASSERT_EQ(table.get_count(), reference.walk().size());
    if (reference.mode != 2)
        return;
    auto const& sparse = *table.get_sparse();
    ASSERT_EQ(sparse.m_capacity, reference.slots.size());
    ASSERT_EQ(sparse.m_live_count, reference.live);
    ASSERT_EQ(sparse.m_tombstone_count, reference.dead);
    ASSERT_EQ(sparse.m_old_capacity, reference.old_capacity);
    ASSERT_EQ(sparse.m_grow_threshold, reference.grow_at);
    ASSERT_EQ(sparse.m_shrink_threshold, reference.shrink_at);
}

/// Inserts and removes at random among `key_count` keys, and compares everything with the reference as it
/// goes.
void compare_random_run(unsigned int seed, int steps, int key_count, int removals_in_ten)
{
    std::mt19937 random(seed);
    Table table;
    ReferenceTable reference;
    for (int i = 0; i < steps; ++i) {
        std::string const key = "k" + std::to_string(random() % static_cast<unsigned int>(key_count));
        if (static_cast<int>(random() % 10) < removals_in_ten) {
            table.remove(key.c_str());
            reference.remove(key);
        } else {
            table.insert(key.c_str(), i);
            reference.insert(key, i);
        }
        if (i % 61 == 0)
            expect_same(table, reference);
        if (testing::Test::HasFatalFailure())
            return;
    }
    expect_same(table, reference);
}

TEST(CoreHashTable, StartsWithoutATableObject)
{
    Table const table;

    EXPECT_EQ(table.get_mode(), 0);
    EXPECT_EQ(table.get_count(), 0u);
    EXPECT_EQ(table.find("a"), nullptr);
    EXPECT_EQ(table.get_dense(), nullptr);
    EXPECT_EQ(table.get_sparse(), nullptr);
    EXPECT_TRUE(walk(table).empty());
}

TEST(CoreHashTable, TheFirstInsertionMakesTheDenseForm)
{
    Table table;
    table.insert("a", 1);

    EXPECT_EQ(table.get_mode(), 1);
    ASSERT_NE(table.get_dense(), nullptr);
    EXPECT_EQ(table.get_dense()->m_pairs.get_capacity(), 1u);
    EXPECT_EQ(*table.find("a"), 1);
}

TEST(CoreHashTable, DenseWalksInOrderOfInsertion)
{
    Table table;
    table.insert("z", 1);
    table.insert("a", 2);
    table.insert("m", 3);
    table.insert("a", 4);

    EXPECT_EQ(walk(table), (Entries{{"z", 1}, {"a", 4}, {"m", 3}}));
    EXPECT_EQ(table.get_dense()->m_pairs.get_capacity(), 4u);
}

TEST(CoreHashTable, DenseRemovalMovesTheLastPairIntoTheGap)
{
    Table table;
    for (char const* key : {"a", "b", "c", "d"})
        table.insert(key, key[0]);

    EXPECT_TRUE(table.remove("b"));
    EXPECT_EQ(walk(table), (Entries{{"a", 'a'}, {"d", 'd'}, {"c", 'c'}}));
    EXPECT_TRUE(table.remove("c"));
    EXPECT_EQ(walk(table), (Entries{{"a", 'a'}, {"d", 'd'}}));
    EXPECT_FALSE(table.remove("c"));
}

TEST(CoreHashTable, TheLastDenseRemovalDeletesTheTableObject)
{
    Table table;
    table.insert("a", 1);
    table.remove("a");

    EXPECT_EQ(table.get_mode(), 0);
    EXPECT_EQ(table.get_dense(), nullptr);
}

TEST(CoreHashTable, KeysMayHoldAnyBytesAndBeEmpty)
{
    Table table;
    table.insert("", 1);
    table.insert(CoreString(std::string_view("a\0b", 3)), 2);
    table.insert("a", 3);

    EXPECT_EQ(*table.find(""), 1);
    EXPECT_EQ(*table.find(CoreString(std::string_view("a\0b", 3))), 2);
    EXPECT_EQ(*table.find("a"), 3);
}

TEST(CoreHashTable, StaysDenseAt256Entries)
{
    Table const table = filled(256);

    EXPECT_EQ(table.get_mode(), 1);
    EXPECT_EQ(table.get_count(), 256u);
}

TEST(CoreHashTable, TheEntry257TurnsItSparse)
{
    Table const table = filled(257);

    EXPECT_EQ(table.get_mode(), 2);
    EXPECT_EQ(table.get_dense(), nullptr);
    expect_same(table, filled_reference(257));
}

TEST(CoreHashTable, ReplacingAt256EntriesConvertsNothing)
{
    Table table = filled(256);
    table.insert(key_of(17), -1);

    EXPECT_EQ(table.get_mode(), 1);
    EXPECT_EQ(*table.find(key_of(17)), -1);
}

TEST(CoreHashTable, FieldsOfTheSparseFormKeepTheirOrder)
{
    auto const table = filled(257);
    auto const& sparse = *table.get_sparse();
    auto const place = [&sparse](auto const& field) {
        return reinterpret_cast<char const*>(&field) - reinterpret_cast<char const*>(&sparse);
    };

    EXPECT_EQ(sizeof table, 2 * sizeof(void*));  // a pointer and the mode
    EXPECT_EQ(place(sparse.m_slots), 0);
    EXPECT_EQ(place(sparse.m_capacity), 8);
    EXPECT_EQ(place(sparse.m_live_count), 12);
    EXPECT_EQ(place(sparse.m_tombstone_count), 16);
    EXPECT_EQ(place(sparse.m_old_capacity), 20);
    EXPECT_EQ(place(sparse.m_grow_threshold), 24);
    EXPECT_EQ(place(sparse.m_shrink_threshold), 28);
}

TEST(CoreHashTable, ConversionGrowsOnceOnTheWay)
{
    // 257 slots take 205 entries; the 206th makes 257 + trunc(257 * 1.8) = 719 of them.
    auto const table = filled(257);
    auto const& sparse = *table.get_sparse();

    EXPECT_EQ(sparse.m_capacity, 719u);
    EXPECT_EQ(sparse.m_old_capacity, 257u);
    EXPECT_EQ(sparse.m_grow_threshold, 575u);
    EXPECT_EQ(sparse.m_shrink_threshold, 205u);
    EXPECT_EQ(sparse.m_live_count, 257u);
    EXPECT_EQ(sparse.m_tombstone_count, 0u);
}

TEST(CoreHashTable, GrowsAboveTheThresholdOnly)
{
    Table table = filled(575);
    EXPECT_EQ(table.get_sparse()->m_capacity, 719u);

    table.insert(key_of(575), 575);
    EXPECT_EQ(table.get_sparse()->m_capacity, 2013u);
    EXPECT_EQ(table.get_sparse()->m_old_capacity, 719u);
    EXPECT_EQ(table.get_sparse()->m_grow_threshold, 1610u);
    EXPECT_EQ(table.get_sparse()->m_shrink_threshold, 575u);
    expect_same(table, filled_reference(576));
}

TEST(CoreHashTable, WalksInSlotOrderAbove256)
{
    Table const table = filled(300);
    Entries const entries = walk(table);
    ASSERT_EQ(entries.size(), 300u);
    EXPECT_NE(entries.front().first, "key0");
    EXPECT_EQ(entries, filled_reference(300).walk());

    std::size_t next = 0;
    auto const& sparse = *table.get_sparse();
    for (unsigned int i = 0; i < sparse.m_capacity; ++i)
        if (sparse.m_slots[i].hash < 0xFFFFFFFE) {
            EXPECT_EQ(entries[next++].first, std::string(sparse.m_slots[i].key.view()));
        }
    EXPECT_EQ(next, 300u);
}

TEST(CoreHashTable, RemovingTo256StaysSparseAnd255ComesBack)
{
    Table table = filled(257);
    Entries const order = walk(table);

    EXPECT_TRUE(table.remove(key_of(0)));
    EXPECT_EQ(table.get_mode(), 2);
    EXPECT_TRUE(table.remove(key_of(1)));
    EXPECT_EQ(table.get_mode(), 1);
    EXPECT_EQ(table.get_count(), 255u);

    Entries expected;
    for (auto const& entry : order)
        if (entry.first != "key0" && entry.first != "key1")
            expected.push_back(entry);
    EXPECT_EQ(walk(table), expected);
}

TEST(CoreHashTable, SparseRemovalLeavesATombstoneWithItsKey)
{
    Table table = filled(300);
    unsigned int place = 0;
    auto const& sparse = *table.get_sparse();
    while (sparse.m_slots[place].key != key_of(42))
        ++place;
    EXPECT_TRUE(table.remove(key_of(42)));

    EXPECT_EQ(sparse.m_slots[place].hash, 0xFFFFFFFEu);
    EXPECT_EQ(sparse.m_slots[place].key, "key42");
    EXPECT_EQ(sparse.m_tombstone_count, 1u);
    EXPECT_EQ(sparse.m_live_count, 299u);
    EXPECT_EQ(table.find(key_of(42)), nullptr);
    EXPECT_FALSE(table.remove(key_of(42)));
    EXPECT_EQ(sparse.m_tombstone_count, 1u);
}

TEST(CoreHashTable, AKeyComesBackIntoItsOwnTombstone)
{
    Table table = filled(300);
    Entries before = walk(table);
    table.remove(key_of(42));
    table.insert(key_of(42), 42);

    EXPECT_EQ(walk(table), before);
    EXPECT_EQ(table.get_sparse()->m_tombstone_count, 0u);
    EXPECT_EQ(table.get_sparse()->m_live_count, 300u);
}

TEST(CoreHashTable, AnotherKeyDoesNotTakeATombstone)
{
    Table table = filled(300);
    table.remove(key_of(42));
    table.insert("a new key", 1);

    EXPECT_EQ(table.get_sparse()->m_tombstone_count, 1u);
    EXPECT_EQ(*table.find("a new key"), 1);
}

TEST(CoreHashTable, ATableFullOfTombstonesIsRebuilt)
{
    Table table = filled(257);
    ReferenceTable reference = filled_reference(257);
    bool was_rebuilt = false;
    for (int i = 257; i < 3000 && !was_rebuilt; ++i) {
        table.remove(key_of(i - 1));
        reference.remove("key" + std::to_string(i - 1));
        unsigned int const tombstones = table.get_sparse()->m_tombstone_count;
        table.insert(key_of(i), i);
        reference.insert("key" + std::to_string(i), i);
        was_rebuilt = tombstones > 0 && table.get_sparse()->m_tombstone_count == 0;
        expect_same(table, reference);
    }

    EXPECT_TRUE(was_rebuilt);
    EXPECT_EQ(table.get_sparse()->m_capacity, 719u);
    EXPECT_EQ(table.get_count(), 257u);
}

TEST(CoreHashTable, AMissingKeyIsNotFoundInATableWithoutFreeSlots)
{
    Table table = filled(257);
    auto const& sparse = *table.get_sparse();
    for (int i = 257; sparse.m_live_count + sparse.m_tombstone_count < sparse.m_capacity; ++i) {
        table.insert(key_of(i), i);
        table.remove(key_of(i));
        ASSERT_LT(i, 3000);
    }

    EXPECT_EQ(table.find("nobody"), nullptr);
    EXPECT_FALSE(table.remove("nobody"));
    EXPECT_EQ(*table.find(key_of(3)), 3);
}

TEST(CoreHashTable, HashesThatLookLikeMarksAreDoubled)
{
    using Sparse = Table::Sparse;

    EXPECT_EQ(Sparse::slot_hash(0xFFFFFFFDu), 0xFFFFFFFDu);
    EXPECT_EQ(Sparse::slot_hash(0xFFFFFFFEu), 0xFFFFFFFCu);
    EXPECT_EQ(Sparse::slot_hash(0xFFFFFFFFu), 0xFFFFFFFCu);
    EXPECT_EQ(Sparse::slot_hash(0u), 0u);
    // Keys found by trying, with the hashes 0xFFFFFFFF, 0xFFFFFFFE and 0xFFFFFFFD.
    EXPECT_EQ(Sparse::hash_of("ai3exnk"), 0xFFFFFFFCu);
    EXPECT_EQ(Sparse::hash_of("ecnu36x"), 0xFFFFFFFCu);
    EXPECT_EQ(Sparse::hash_of("aja79go"), 0xFFFFFFFDu);
}

TEST(CoreHashTable, KeysWithMarkHashesLiveInTheTable)
{
    Table table = filled(300);
    ReferenceTable reference = filled_reference(300);
    for (char const* key : {"ai3exnk", "ecnu36x", "cyoua9c", "aja79go"}) {
        table.insert(key, 7);
        reference.insert(key, 7);
    }
    expect_same(table, reference);
    EXPECT_EQ(table.get_count(), 304u);

    EXPECT_TRUE(table.remove("ecnu36x"));
    reference.remove("ecnu36x");
    expect_same(table, reference);
    EXPECT_EQ(*table.find("ai3exnk"), 7);
    EXPECT_EQ(*table.find("cyoua9c"), 7);
    EXPECT_EQ(table.find("ecnu36x"), nullptr);
}

struct RandomRun {
    char const* name;
    unsigned int seed;
    int steps, key_count, removals_in_ten;
};

class CoreHashTableAgainstReference : public testing::TestWithParam<RandomRun> {};

TEST_P(CoreHashTableAgainstReference, AgreesAfterRandomOperations)
{
    RandomRun const& run = GetParam();

    compare_random_run(run.seed, run.steps, run.key_count, run.removals_in_ten);
}

INSTANTIATE_TEST_SUITE_P(Runs, CoreHashTableAgainstReference,
                         testing::Values(RandomRun{"small_dense", 1, 2000, 20, 5},
                                         RandomRun{"around_the_limit", 2, 6000, 520, 5},
                                         RandomRun{"above_the_limit", 3, 6000, 700, 4},
                                         RandomRun{"growing", 4, 4000, 3000, 1},
                                         RandomRun{"many_tombstones", 5, 8000, 560, 5},
                                         RandomRun{"shrinking_back", 6, 5000, 600, 6}),
                         [](auto const& run) { return run.param.name; });

TEST(CoreHashTable, GrowsAndEmptiesAgain)
{
    Table table;
    ReferenceTable reference;
    for (int i = 0; i < 1500; ++i) {
        table.insert(key_of(i), i);
        reference.insert("key" + std::to_string(i), i);
    }
    expect_same(table, reference);
    for (int i = 0; i < 1500; ++i) {
        EXPECT_TRUE(table.remove(key_of(i)));
        reference.remove("key" + std::to_string(i));
        if (i % 97 == 0 || i > 1240)
            expect_same(table, reference);
    }

    EXPECT_EQ(table.get_mode(), 0);
}

TEST(CoreHashTable, CopiesKeepModeAndSlots)
{
    for (int count : {0, 3, 300}) {
        Table const original = filled(count);
        Table copy(original);
        Table assigned = filled(10);
        assigned = original;

        EXPECT_EQ(copy.get_mode(), original.get_mode());
        EXPECT_EQ(walk(copy), walk(original));
        EXPECT_EQ(walk(assigned), walk(original));
        copy.insert(key_of(0), -5);
        EXPECT_EQ(walk(assigned), walk(original));
    }
}

TEST(CoreHashTable, CopiesKeepTombstones)
{
    Table table = filled(300);
    table.remove(key_of(42));
    Table copy(table);
    copy.insert(key_of(42), 42);

    EXPECT_EQ(copy.get_sparse()->m_capacity, table.get_sparse()->m_capacity);
    EXPECT_EQ(copy.get_sparse()->m_tombstone_count, 0u);
    EXPECT_EQ(walk(copy), walk(filled(300)));
}

TEST(CoreHashTable, OwnsItsValuesDeeply)
{
    CoreHashTable<CoreString, CoreVector<int*>> table;
    int pixel = 0;
    table.insert("rgba", {});
    table.find("rgba")->add(&pixel);
    auto const copy = table;
    table.find("rgba")->add(&pixel);

    EXPECT_EQ(copy.find("rgba")->get_count(), 1u);
    EXPECT_EQ(table.find("rgba")->get_count(), 2u);
    EXPECT_EQ((*copy.find("rgba"))[0], &pixel);
}

TEST(CoreHashTable, ReleasesTheValueOfATombstone)
{
    CoreHashTable<CoreString, CoreVector<int>> table;
    for (int i = 0; i < 300; ++i)
        table.insert(key_of(i), {1, 2, 3});
    table.remove(key_of(42));

    auto const& sparse = *table.get_sparse();
    for (unsigned int i = 0; i < sparse.m_capacity; ++i)
        if (sparse.m_slots[i].hash == 0xFFFFFFFE) {
            EXPECT_EQ(sparse.m_slots[i].value.m_data, nullptr);
        }
    EXPECT_EQ(sparse.m_tombstone_count, 1u);
}

TEST(CoreHashTable, MoveEmptiesTheSource)
{
    for (int count : {3, 300}) {
        Table source = filled(count);
        Entries const entries = walk(source);
        Table target(std::move(source));
        EXPECT_EQ(source.get_mode(), 0);
        EXPECT_EQ(walk(target), entries);

        Table assigned = filled(1);
        assigned = std::move(target);
        EXPECT_EQ(target.get_count(), 0u);
        EXPECT_EQ(walk(assigned), entries);
    }
}

TEST(CoreHashTable, VisitorMayChangeValues)
{
    for (int count : {3, 300}) {
        Table table = filled(count);
        table.for_each([](CoreString const&, int& value) { value += 1000; });

        EXPECT_EQ(*table.find(key_of(2)), 1002);
    }
}

TEST(CoreHashTable, ClearGivesModeZero)
{
    for (int count : {0, 3, 300}) {
        Table table = filled(count);
        table.clear();

        EXPECT_EQ(table.get_mode(), 0);
        EXPECT_TRUE(table.is_empty());
    }
}

TEST(CoreHashTable, SparseFormHasAtLeast16Slots)
{
    Table::Sparse const small(3);
    Table::Sparse const large(17);

    EXPECT_EQ(small.m_capacity, 16u);
    EXPECT_EQ(small.m_grow_threshold, 12u);
    EXPECT_EQ(small.m_shrink_threshold, 12u);
    EXPECT_EQ(large.m_capacity, 17u);
    for (unsigned int i = 0; i < small.m_capacity; ++i)
        EXPECT_EQ(small.m_slots[i].hash, 0xFFFFFFFFu);
}

}  // namespace
