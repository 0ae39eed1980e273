// SPDX-License-Identifier: MIT
#include "data/xkey_fixture.h"
#include "support/counting_allocator.h"
#include "support/death.h"

using namespace xkey_test;

namespace {

void release_fields(const xkey &key) {
    _xfree(key.layer.str);
    _xfree(key.group.str);
    _xfree(key.name.str);
}

TEST(XkeyCopy, CopiesThePresentFieldsWithASpareByte) {
    const CountingAllocator allocator;
    {
        const Key source(xkey_new("user", "net", "ip"));
        xkey copy = {};
        EXPECT_EQ(xkey_copy(&copy, source.get()), &copy);
        EXPECT_STREQ(copy.layer.str, "user");
        EXPECT_STREQ(copy.group.str, "net");
        EXPECT_STREQ(copy.name.str, "ip");
        EXPECT_EQ(copy.layer.len, 5U);
        EXPECT_EQ(copy.group.len, 4U);
        EXPECT_EQ(copy.name.len, 3U);
        EXPECT_EQ(allocator.size_of(copy.layer.str), 6U);
        EXPECT_NE(copy.layer.str, source->layer.str);
        release_fields(copy);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XkeyCopy, CopiesGroupNameLayerInThisOrder) {
    const Key source(xkey_new("user", "net", "ip"));
    const CountingAllocator allocator;
    xkey copy = {};
    EXPECT_EQ(xkey_copy(&copy, source.get()), &copy);
    EXPECT_EQ(allocator.sizes(), (std::vector<size_t>{5, 4, 6}));
    release_fields(copy);
}

TEST(XkeyCopy, AbsentFieldsLeaveTheDestinations) {
    const CountingAllocator allocator;
    {
        const Key source(xkey_new("user", nullptr, nullptr));
        const Key copy(xkey_new("x", "group", "name"));
        char *const old_layer = copy->layer.str;
        EXPECT_EQ(xkey_copy(copy.get(), source.get()), copy.get());
        EXPECT_EQ(text_of(copy.get()), "user:group:name");
        EXPECT_TRUE(allocator.is_live(old_layer)) << "not released";
        _xfree(old_layer);
        xkey fresh = {};
        EXPECT_EQ(xkey_copy(&fresh, source.get()), &fresh);
        EXPECT_EQ(fresh.group.str, nullptr);
        EXPECT_EQ(fresh.group.len, 0U);
        EXPECT_EQ(fresh.name.len, 0U);
        release_fields(fresh);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XkeyCopy, NullsTouchNothing) {
    const Key key(xkey_new("user", "net", "ip"));
    EXPECT_EQ(xkey_copy(nullptr, key.get()), nullptr);
    EXPECT_EQ(xkey_copy(key.get(), nullptr), nullptr);
    EXPECT_EQ(xkey_copy(nullptr, nullptr), nullptr);
    EXPECT_EQ(xkey_copy_group(nullptr, key.get()), nullptr);
    EXPECT_EQ(xkey_copy_group(key.get(), nullptr), nullptr);
    EXPECT_EQ(xkey_copy_group(nullptr, nullptr), nullptr);
    EXPECT_EQ(text_of(key.get()), "user:net:ip");
}

TEST(XkeyCopy, OntoItself) {
    const CountingAllocator allocator;
    {
        const Key key(xkey_new("user", "net", "ip"));
        const xkey old = *key;
        EXPECT_EQ(xkey_copy(key.get(), key.get()), key.get());
        EXPECT_EQ(text_of(key.get()), "user:net:ip");
        EXPECT_NE(key->layer.str, old.layer.str);
        release_fields(old);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XkeyDup, IsADeepCopy) {
    const CountingAllocator allocator;
    {
        const Key source(xkey_new("user", "net", "ip"));
        const Key copy(xkey_dup(source.get()));
        EXPECT_EQ(text_of(copy.get()), "user:net:ip");
        EXPECT_EQ(xkey_cmp(copy.get(), source.get()), 0);
        EXPECT_NE(copy->name.str, source->name.str);
        const Key layer_only(xkey_new(nullptr, nullptr, nullptr));
        const Key short_copy(xkey_dup(layer_only.get()));
        EXPECT_EQ(text_of(short_copy.get()), "default");
        EXPECT_EQ(short_copy->group.len, 0U) << "zero in a fresh record, not the original's 1";
    }
    EXPECT_EQ(xkey_dup(nullptr), nullptr);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XkeyCopyGroup, MakesTheNameAbsentWithoutReleasingIt) {
    const CountingAllocator allocator;
    {
        const Key source(xkey_new("user", "net", "ip"));
        const Key copy(xkey_new("x", "y", "z"));
        const xkey old = *copy;
        EXPECT_EQ(xkey_copy_group(copy.get(), source.get()), copy.get());
        EXPECT_EQ(text_of(copy.get()), "user:net");
        EXPECT_EQ(copy->name.str, nullptr);
        EXPECT_EQ(copy->name.len, 0U);
        EXPECT_TRUE(allocator.is_live(old.name.str));
        release_fields(old);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XkeyCopyGroup, CopiesGroupThenLayerAndLeavesAbsentOnes) {
    const Key source(xkey_new("user", "net", "ip"));
    const CountingAllocator allocator;
    xkey copy = {};
    EXPECT_EQ(xkey_copy_group(&copy, source.get()), &copy);
    EXPECT_EQ(allocator.sizes(), (std::vector<size_t>{5, 6}));
    char *const group = copy.group.str;
    char *const layer = copy.layer.str;
    const xkey absent = {};
    EXPECT_EQ(xkey_copy_group(&copy, &absent), &copy);
    EXPECT_EQ(copy.group.str, group);
    EXPECT_EQ(copy.layer.str, layer);
    release_fields(copy);
}

TEST(XkeyCopyDeathTest, AbortsWithoutMemory) {
    static char text[] = "net";
    static const xkey source = {{text, 4}, {text, 4}, {text, 4}};
    expect_abort_at_every_allocation([] {
        xkey copy = {};
        xkey_copy(&copy, &source);
        release_fields(copy);
    });
    expect_abort_at_every_allocation([] {
        xkey copy = {};
        xkey_copy_group(&copy, &source);
        release_fields(copy);
    });
    expect_abort_at_every_allocation([] { xkey_free(xkey_dup(&source)); });
}

} // namespace
