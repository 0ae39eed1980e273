// SPDX-License-Identifier: MIT
// xdictionary_del and xdictionary_dup.
#include "support/counting_allocator.h"
#include "tree_text.h"

#include <gtest/gtest.h>
#include <string>

namespace {

constexpr int kDeep = 20000;

// Groups named "g", one inside the other.
xdictionary *deep_tree(int levels) {
    xdictionary *const root = xdictionary_new(0);
    xdictionary *current = root;
    for (int i = 0; i < levels; ++i)
        current = add_group(current, "g");
    set_string(current, "bottom", "1");
    return root;
}

int depth_of(const xdictionary *d) {
    int levels = 0;
    while ((d = group_at(d, "g")) != nullptr)
        ++levels;
    return levels;
}

TEST(DictionaryDel, IgnoresNull) {
    xdictionary_del(nullptr);
}

TEST(DictionaryDel, ReleasesKeysStringsAndGroups) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(300);
    set_string(d, "a", "1");
    set_string(d, "null", nullptr);
    xdictionary *const group = add_group(d, "g");
    set_string(add_group(group, "inner"), "b", "2");
    xdictionary_set(d, "nothing", nullptr, 1);
    xdictionary_set(d, "other type", xdictionary_new(0), 9);
    xdictionary_del(d);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionaryDel, WithExtraOwnersOnlyDropsOne) {
    xdictionary *const d = xdictionary_new(0);
    set_string(d, "a", "1");
    d->ref_count = 2;
    xdictionary_del(d);
    EXPECT_EQ(d->ref_count, 1U);
    EXPECT_EQ(tree_text(d), "a=1;");
    xdictionary_del(d);
    EXPECT_EQ(d->ref_count, 0U);
    EXPECT_EQ(tree_text(d), "a=1;");
    xdictionary_del(d);
}

TEST(DictionaryDel, LeavesSharedGroupsToTheirOtherOwners) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    xdictionary *const shared = add_group(d, "shared");
    set_string(shared, "a", "1");
    shared->ref_count = 1;
    xdictionary_del(d);
    EXPECT_TRUE(allocator.is_live(shared));
    EXPECT_EQ(shared->ref_count, 0U);
    EXPECT_EQ(tree_text(shared), "a=1;");
    xdictionary_del(shared);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionaryDel, SkipsThePointerThatARemovedGroupLeaves) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    add_group(d, "g");
    add_group(d, "h");
    xdictionary_unset(d, "g");
    ASSERT_NE(d->values[0], nullptr);
    xdictionary_del(d);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionaryDup, OfNullIsNull) {
    EXPECT_EQ(xdictionary_dup(nullptr), nullptr);
}

TEST(DictionaryDup, IsDeep) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "a", "1");
    set_string(d.get(), "null", nullptr);
    xdictionary *const group = add_group(d.get(), "g");
    set_string(group, "b", "2");
    set_string(add_group(group, "inner"), "c", "3");
    const Tree copy(xdictionary_dup(d.get()));
    EXPECT_EQ(tree_text(copy), "a=1;null=NULL;g{b=2;inner{c=3;}}");
    EXPECT_NE(copy->keys[0], d->keys[0]);
    EXPECT_NE(copy->values[0], d->values[0]);
    EXPECT_NE(group_at(copy.get(), "g"), group);
    set_string(group, "b", "changed");
    set_string(d.get(), "a", "changed");
    EXPECT_EQ(tree_text(copy), "a=1;null=NULL;g{b=2;inner{c=3;}}");
}

TEST(DictionaryDup, GroupsOfTheCopyHaveTheCopyAsParent) {
    const Tree d(xdictionary_new(0));
    xdictionary *const group = xdictionary_new(0);
    xdictionary_set(d.get(), "g", group, 1); // its parent is NULL
    const Tree copy(xdictionary_dup(d.get()));
    EXPECT_EQ(group_at(copy.get(), "g")->parent, copy.get());
    EXPECT_EQ(group->parent, nullptr);
}

TEST(DictionaryDup, TopOfTheCopyHasNoParentAndNoExtraOwners) {
    const Tree d(xdictionary_new(0));
    xdictionary *const group = add_group(d.get(), "g");
    xdictionary *const inner = add_group(group, "inner");
    group->ref_count = 3;
    inner->ref_count = 2;
    const Tree copy(xdictionary_dup(group));
    EXPECT_EQ(copy->parent, nullptr);
    EXPECT_EQ(copy->ref_count, 0U);
    EXPECT_EQ(group_at(copy.get(), "inner")->ref_count, 0U);
    EXPECT_EQ(group->ref_count, 3U);
    group->ref_count = inner->ref_count = 0;
}

TEST(DictionaryDup, KeepsSizeCountAndLayoutHolesIncluded) {
    const Tree d(xdictionary_new(300));
    for (int i = 0; i < 10; ++i)
        set_string(d.get(), ("k" + std::to_string(i)).c_str(), "v");
    xdictionary_unset(d.get(), "k0");
    xdictionary_unset(d.get(), "k4");
    const Tree copy(xdictionary_dup(d.get()));
    EXPECT_EQ(copy->size, 300U);
    EXPECT_EQ(copy->count, 8U);
    EXPECT_EQ(copy->keys[0], nullptr);
    EXPECT_EQ(copy->keys[4], nullptr);
    for (uint32_t i = 0; i < 300; ++i) {
        EXPECT_EQ(copy->hashes[i], d->hashes[i]);
        EXPECT_EQ(copy->types[i], d->types[i]);
        EXPECT_EQ(copy->keys[i] == nullptr, d->keys[i] == nullptr);
    }
    EXPECT_EQ(tree_text(copy), tree_text(d));
}

TEST(DictionaryDup, KeepsOtherTypesAndNullGroups) {
    const Tree d(xdictionary_new(0));
    xdictionary *const group = xdictionary_new(0);
    set_string(group, "a", "1");
    xdictionary_set(d.get(), "seven", group, 7);
    xdictionary_set(d.get(), "nothing", nullptr, 1);
    const Tree copy(xdictionary_dup(d.get()));
    EXPECT_EQ(copy->types[0], 7U);
    EXPECT_NE(copy->values[0], d->values[0]);
    EXPECT_EQ(tree_text(copy), "seven{a=1;}nothing{NULL}");
}

TEST(DictionaryDup, SurvivesThePointerThatARemovedGroupLeaves) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    add_group(d, "g");
    set_string(d, "s", "1");
    xdictionary_unset(d, "g");
    xdictionary *const copy = xdictionary_dup(d);
    EXPECT_EQ(copy->count, 1U);
    EXPECT_EQ(tree_text(copy), "<1>s=1;") << "slot 1, after a hole";
    xdictionary_del(d);
    xdictionary_del(copy);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

// A group that a merge shares keeps the parent it had, which may be gone, and its record's address be in use again.
TEST(DictionaryDup, TrustsNoParentLink) {
    const Tree d(xdictionary_new(0));
    add_group(d.get(), "g");
    xdictionary *const source = xdictionary_new(0);
    set_string(add_group(source, "g"), "a", "1");
    xdictionary_merge(d.get(), source);
    xdictionary_del(source);
    const Tree copy(xdictionary_dup(d.get()));
    EXPECT_NE(group_at(copy.get(), "g"), group_at(d.get(), "g"));
    EXPECT_EQ(tree_text(copy), "g{a=1;}");
}

TEST(DictionaryDup, CopiesManyGroups) {
    const Tree d(xdictionary_new(0));
    for (int i = 0; i < 200; ++i)
        set_string(add_group(add_group(d.get(), ("g" + std::to_string(i)).c_str()), "x"), "a", "1");
    const Tree copy(xdictionary_dup(d.get()));
    EXPECT_EQ(tree_text(copy), tree_text(d));
    for (uint32_t i = 0; i < 200; ++i)
        EXPECT_NE(copy->values[i], d->values[i]);
}

TEST(DictionaryTree, DeepOnesAreCopiedAndReleased) {
    const Tree d(deep_tree(kDeep));
    const Tree copy(xdictionary_dup(d.get()));
    EXPECT_EQ(depth_of(copy.get()), kDeep);
}

} // namespace
