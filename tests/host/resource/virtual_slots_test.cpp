#include "host/image/image_canvas.h"
#include "host/resource/resource_data.h"
#include "host/resource/resource_user.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace {

/// The place of a virtual operation among those of its class, the destructor being the first: modules that
/// were built apart find them by it. A pointer to a virtual member holds the offset in the table plus one, and
/// the destructor takes two entries of the table.
template <class Operation>
std::ptrdiff_t slot(Operation operation)
{
    std::ptrdiff_t word = 0;
    static_assert(sizeof operation >= sizeof word);
    std::memcpy(&word, &operation, sizeof word);
    if (word % 2 == 0)
        return -1;  // not virtual
    return (word - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)) - 1;
}

TEST(VirtualSlots, OfEventObjects)
{
    EXPECT_EQ(slot(&EventObject::is_kindof), 1);
    EXPECT_EQ(slot(&EventObject::get_memory_size), 2);
    EXPECT_EQ(slot(&EventObject::get_class_info), 3);
}

TEST(VirtualSlots, OfResourceData)
{
    EXPECT_EQ(slot(&ResourceData::is_kindof), 1);
    EXPECT_EQ(slot(&ResourceData::get_memory_size), 2);
    EXPECT_EQ(slot(&ResourceData::get_class_info), 3);
    EXPECT_EQ(slot(&ResourceData::get_hash_key), 4);
    EXPECT_EQ(slot(&ResourceData::is_serializable), 5);
    EXPECT_EQ(slot(&ResourceData::serialize), 6);
    EXPECT_EQ(slot(&ResourceData::deserialize), 7);
}

TEST(VirtualSlots, OfCanvases)
{
    EXPECT_EQ(slot(&ImageCanvas::is_kindof), 1);
    EXPECT_EQ(slot(&ImageCanvas::get_memory_size), 2);
    EXPECT_EQ(slot(&ImageCanvas::get_class_info), 3);
    EXPECT_EQ(slot(&ImageCanvas::get_hash_key), 4);
    EXPECT_EQ(slot(&ImageCanvas::is_serializable), 5);
    EXPECT_EQ(slot(&ImageCanvas::serialize), 6);
    EXPECT_EQ(slot(&ImageCanvas::deserialize), 7);
}

TEST(VirtualSlots, OfResourceUsers)
{
    EXPECT_EQ(slot(&ResourceUser::is_kindof), 1);
    EXPECT_EQ(slot(&ResourceUser::get_memory_size), 2);
    EXPECT_EQ(slot(&ResourceUser::get_class_info), 3);
    EXPECT_EQ(slot(&ResourceUser::on_resource_file_changed), 4);
}

}  // namespace
