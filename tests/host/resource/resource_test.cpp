#include "host/core/core_class_info.h"
#include "host/resource/resource_data.h"
#include "host/resource/resource_user.h"

#include <gtest/gtest.h>

namespace {

class Picture : public ResourceData {
public:
    Core128BitHashKey get_hash_key() const override { return {1, 2}; }
    bool is_serializable() const override { return true; }
};

class Light : public ResourceUser {
public:
    void on_resource_file_changed() override { ++changes; }
    int changes = 0;
};

TEST(ResourceData, HasNoKeyAndNoBytesByItself)
{
    ResourceData data;
    unsigned long long size = 5;

    EXPECT_EQ(data.get_hash_key(), Core128BitHashKey{});
    EXPECT_FALSE(data.is_serializable());
    EXPECT_EQ(data.serialize(size), nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_FALSE(data.deserialize(nullptr, 0));
    EXPECT_TRUE(data.is_kindof(EventObject::class_info()));
}

TEST(ResourceData, OperationsAreVirtual)
{
    Picture const picture;
    ResourceData const& data = picture;

    EXPECT_EQ(data.get_hash_key(), (Core128BitHashKey{1, 2}));
    EXPECT_TRUE(data.is_serializable());
    EXPECT_TRUE(data.is_kindof(ResourceData::class_info()));
}

TEST(ResourceUser, IsToldOfAChangedFile)
{
    Light light;
    ResourceUser& user = light;
    user.on_resource_file_changed();
    ResourceUser plain;
    plain.on_resource_file_changed();

    EXPECT_EQ(light.changes, 1);
    EXPECT_TRUE(user.is_kindof(ResourceUser::class_info()));
    EXPECT_FALSE(user.is_kindof(ResourceData::class_info()));
}

}  // namespace
