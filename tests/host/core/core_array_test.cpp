#include "host/core/core_array.h"
#include "host/core/core_string.h"
#include "host/core/core_vector.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>
#include <vector>

namespace {

/// Counts the objects of its class that are alive.
struct Counted {
    explicit Counted(int number = 0)
        : value(number)
    {
        ++alive;
    }
    Counted(Counted const& other)
        : value(other.value)
    {
        ++alive;
    }
    Counted(Counted&& other) noexcept
        : value(std::exchange(other.value, -1))
    {
        ++alive;
    }
    Counted& operator=(Counted const&) = default;
    Counted& operator=(Counted&&) = default;
    ~Counted() { --alive; }

    int value;
    inline static int alive = 0;
};

/// A copy of it fails when the countdown reaches zero.
struct Fragile {
    Fragile() = default;
    Fragile(Fragile const&)
        : text("copy")
    {
        if (--copies_left < 0)
            throw std::runtime_error("no more copies");
    }
    Fragile& operator=(Fragile const&) = default;

    CoreString text{"a text that lies on the heap"};
    inline static int copies_left = 0;
};

TEST(CoreVector, GrowsFromOneByDoubling)
{
    CoreVector<int> numbers;
    std::vector<unsigned int> capacities{numbers.m_capacity};
    for (int i = 0; i < 9; ++i) {
        numbers.add(i);
        if (capacities.back() != numbers.m_capacity)
            capacities.push_back(numbers.m_capacity);
    }

    EXPECT_EQ(capacities, (std::vector<unsigned int>{0, 1, 2, 4, 8, 16}));
    EXPECT_EQ(numbers.get_count(), 9u);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(numbers[i], i);
}

TEST(CoreVector, AppendsItsOwnElement)
{
    CoreVector<CoreString> texts{"first", "second"};
    for (int i = 0; i < 20; ++i)
        texts.add(texts[0]);

    EXPECT_EQ(texts[21], "first");
    EXPECT_EQ(texts[0], "first");
}

TEST(CoreVector, ConstructsAndDestroysEachElementOnce)
{
    {
        CoreVector<Counted> objects;
        for (int i = 0; i < 100; ++i)
            objects.add(Counted(i));
        EXPECT_EQ(Counted::alive, 100);
        objects.remove_at(10);
        EXPECT_EQ(Counted::alive, 99);
        EXPECT_EQ(objects[10].value, 11);
        EXPECT_EQ(objects[98].value, 99);
        objects.resize(5);
        EXPECT_EQ(Counted::alive, 5);
        objects.resize(8);
        EXPECT_EQ(Counted::alive, 8);
        EXPECT_EQ(objects[7].value, 0);
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(CoreVector, CopiesDeeply)
{
    CoreVector<CoreString> first{"a", "b"};
    CoreVector<CoreString> const copy(first);
    CoreVector<CoreString> assigned{"x", "y", "z"};
    assigned = first;
    first[0] = "changed";

    EXPECT_EQ(copy, (CoreVector<CoreString>{"a", "b"}));
    EXPECT_EQ(assigned, copy);
    EXPECT_EQ(assigned.get_count(), 2u);
}

TEST(CoreVector, MoveEmptiesTheSource)
{
    CoreVector<CoreString> source{"a", "b"};
    CoreVector<CoreString> target(std::move(source));
    EXPECT_EQ(target.get_count(), 2u);
    EXPECT_EQ(source.m_data, nullptr);
    EXPECT_EQ(source.m_count, 0u);
    EXPECT_EQ(source.m_capacity, 0u);

    CoreVector<CoreString> assigned{"c"};
    assigned = std::move(target);
    EXPECT_EQ(assigned[1], "b");
    EXPECT_TRUE(target.is_empty());
    EXPECT_EQ(target.begin(), target.end());
}

TEST(CoreVector, ClearFreesTheBuffer)
{
    CoreVector<int> numbers{1, 2, 3};
    numbers.clear();

    EXPECT_EQ(numbers.m_data, nullptr);
    EXPECT_EQ(numbers.get_count(), 0u);
    EXPECT_EQ(numbers.get_capacity(), 0u);
}

TEST(CoreVector, ReserveNeverShrinks)
{
    CoreVector<int> numbers{1};
    numbers.reserve(10);
    EXPECT_EQ(numbers.get_capacity(), 10u);
    numbers.reserve(2);
    EXPECT_EQ(numbers.get_capacity(), 10u);
    EXPECT_EQ(numbers[0], 1);
}

TEST(CoreVector, FindsTheFirstEqualElement)
{
    CoreVector<CoreString> const names{"r", "g", "r"};

    EXPECT_EQ(names.find_index("r"), 0u);
    EXPECT_EQ(names.find_index("g"), 1u);
    EXPECT_EQ(names.find_index("b"), 0xFFFFFFFFu);
}

TEST(CoreVector, FailedCopyLeavesTheTargetAlone)
{
    CoreVector<Fragile> source;
    Fragile::copies_left = 1000;
    for (int i = 0; i < 4; ++i)
        source.add(Fragile());
    CoreVector<Fragile> target;
    target.add(Fragile());

    Fragile::copies_left = 2;
    EXPECT_THROW(target = source, std::runtime_error);

    EXPECT_EQ(target.get_count(), 1u);
    EXPECT_EQ(source.get_count(), 4u);
}

TEST(CoreVector, RefusesMoreElementsThanItCanCount)
{
    CoreVector<char> bytes;
    bytes.m_count = bytes.m_capacity = 0xFFFFFFFFu;
    EXPECT_THROW(bytes.add('x'), std::length_error);
    bytes.m_count = bytes.m_capacity = 0;
}

TEST(CoreArray, HasTheSizeThatItWasGiven)
{
    CoreArray<int> const numbers(5);

    EXPECT_EQ(numbers.get_count(), 5u);
    EXPECT_EQ(numbers.get_capacity(), 5u);
    for (int number : numbers)
        EXPECT_EQ(number, 0);
}

TEST(CoreArray, ResizeKeepsElementsAtTheirIndexes)
{
    CoreArray<CoreString> texts{"a", "b", "c"};
    texts.resize(5);
    EXPECT_EQ(texts, (CoreArray<CoreString>{"a", "b", "c", "", ""}));
    EXPECT_EQ(texts.get_capacity(), 5u);
    texts.resize(2);
    EXPECT_EQ(texts, (CoreArray<CoreString>{"a", "b"}));
    EXPECT_EQ(texts.get_capacity(), 2u);
    texts.resize(0);
    EXPECT_EQ(texts.m_data, nullptr);
}

TEST(CoreArray, AddMakesItOneLarger)
{
    CoreArray<CoreString> texts;
    texts.add("a");
    texts.add(texts[0]);

    EXPECT_EQ(texts, (CoreArray<CoreString>{"a", "a"}));
    EXPECT_EQ(texts.get_capacity(), 2u);
}

TEST(CoreArray, IsMadeFromAVector)
{
    CoreVector<CoreString> vector;
    for (int i = 0; i < 5; ++i)
        vector.add(CoreString() + i);
    CoreArray<CoreString> const array = vector;

    EXPECT_EQ(array.get_count(), 5u);
    EXPECT_EQ(array.get_capacity(), 5u);
    EXPECT_EQ(array[4], "4");
}

TEST(CoreArray, NestedArraysCopyDeeply)
{
    CoreArray<CoreArray<CoreString>> outer(2);
    outer[0] = {"x", "y"};
    CoreArray<CoreArray<CoreString>> const copy = outer;
    outer[0][0] = "changed";

    EXPECT_EQ(copy[0][0], "x");
    EXPECT_TRUE(copy[1].is_empty());
}

}  // namespace
