// SPDX-License-Identifier: MIT
// xdictionary_set: what is copied, taken over or shared, which slot an entry lands in, growth.
#include "support/counting_allocator.h"
#include "tree_text.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

std::string key_of(uint32_t number) {
    return "k" + std::to_string(number);
}

// Keys k0, k1, ... in slots 0, 1, ...
void fill(xdictionary *d, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        ASSERT_EQ(set_string(d, key_of(i).c_str(), "v"), 0);
}

uint32_t slot_of(const xdictionary *d, const char *key) {
    for (uint32_t i = 0; i < d->size; ++i)
        if (d->keys[i] != nullptr && strcmp(d->keys[i], key) == 0)
            return i;
    return UINT32_MAX;
}

TEST(DictionarySet, CopiesKeyAndString) {
    const Tree d(xdictionary_new(0));
    char key[] = "key";
    char value[] = "value";
    EXPECT_EQ(xdictionary_set(d.get(), key, value, 0), 0);
    key[0] = value[0] = '!';
    EXPECT_EQ(tree_text(d), "key=value;");
}

TEST(DictionarySet, StoresNullStringsAndEmptyOnes) {
    const Tree d(xdictionary_new(0));
    EXPECT_EQ(set_string(d.get(), "null", nullptr), 0);
    EXPECT_EQ(set_string(d.get(), "empty", ""), 0);
    uint32_t type = 77;
    EXPECT_EQ(xdictionary_get(d.get(), "null", &type), nullptr);
    EXPECT_EQ(type, 0U) << "the entry is there";
    EXPECT_EQ(tree_text(d), "null=NULL;empty=;");
    EXPECT_EQ(set_string(d.get(), "empty", nullptr), 0);
    EXPECT_EQ(set_string(d.get(), "null", "x"), 0);
    EXPECT_EQ(tree_text(d), "null=x;empty=NULL;");
}

TEST(DictionarySet, RefusesANullDictionaryOrKey) {
    const Tree d(xdictionary_new(0));
    EXPECT_EQ(set_string(nullptr, "a", "1"), -1);
    EXPECT_EQ(set_string(d.get(), nullptr, "1"), -1);
    EXPECT_EQ(d->count, 0U);
}

TEST(DictionarySet, ReplacesInPlace) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    set_string(d, "a", "1");
    set_string(d, "b", "2");
    const char *const key = d->keys[0];
    const size_t blocks = allocator.live_blocks();
    EXPECT_EQ(set_string(d, "a", "3"), 0);
    EXPECT_EQ(tree_text(d), "a=3;b=2;");
    EXPECT_EQ(d->keys[0], key) << "the key is kept";
    EXPECT_EQ(allocator.live_blocks(), blocks) << "the old value is released";
    xdictionary_del(d);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionarySet, SurvivesItsOwnValue) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "a", "text");
    EXPECT_EQ(set_string(d.get(), "a", string_at(d.get(), "a")), 0);
    EXPECT_STREQ(string_at(d.get(), "a"), "text");
    EXPECT_EQ(set_string(d.get(), "a", string_at(d.get(), "a") + 2), 0);
    EXPECT_STREQ(string_at(d.get(), "a"), "xt");
    xdictionary *const group = add_group(d.get(), "g");
    set_string(group, "x", "1");
    EXPECT_EQ(xdictionary_set(d.get(), "g", group, 1), 0);
    EXPECT_EQ(tree_text(d), "a=xt;g{x=1;}") << "one owner more, one owner less";
}

TEST(DictionarySet, TakesOverAGroupUnderANewKey) {
    const Tree d(xdictionary_new(0));
    xdictionary *const group = xdictionary_new(0);
    EXPECT_EQ(xdictionary_set(d.get(), "g", group, 1), 0);
    EXPECT_EQ(xdictionary_get(d.get(), "g", nullptr), group);
    EXPECT_EQ(group->ref_count, 0U);
    EXPECT_EQ(group->parent, nullptr) << "the parent is the caller's to set";
}

TEST(DictionarySet, GivesAGroupOverAnExistingKeyOneOwnerMore) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    set_string(d, "s", "1");
    xdictionary *const old_group = add_group(d, "g");
    xdictionary *const first = xdictionary_new(0);
    xdictionary *const second = xdictionary_new(0);
    EXPECT_EQ(xdictionary_set(d, "s", first, 1), 0);
    EXPECT_EQ(xdictionary_set(d, "g", second, 1), 0);
    EXPECT_EQ(first->ref_count, 1U);
    EXPECT_EQ(second->ref_count, 1U);
    EXPECT_FALSE(allocator.is_live(old_group));
    EXPECT_EQ(d->count, 2U);
    xdictionary_del(d);
    EXPECT_EQ(first->ref_count, 0U) << "the caller's own share is left";
    EXPECT_EQ(second->ref_count, 0U);
    xdictionary_del(first);
    xdictionary_del(second);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionarySet, ReplacesAGroupByAString) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    xdictionary *const group = add_group(d, "g");
    EXPECT_EQ(set_string(d, "g", "1"), 0);
    EXPECT_FALSE(allocator.is_live(group));
    EXPECT_EQ(tree_text(d), "g=1;");
    xdictionary_del(d);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionarySet, ReplacingASharedGroupOnlyDropsAnOwner) {
    const Tree d(xdictionary_new(0));
    const Tree group(xdictionary_new(0));
    group->ref_count = 1;
    xdictionary_set(d.get(), "g", group.get(), 1);
    EXPECT_EQ(set_string(d.get(), "g", "1"), 0);
    EXPECT_EQ(group->ref_count, 0U);
}

TEST(DictionarySet, KeepsTheTypeAsGiven) {
    const Tree d(xdictionary_new(0));
    const Tree group(xdictionary_new(0));
    EXPECT_EQ(xdictionary_set(d.get(), "g", group.get(), 7), 0);
    EXPECT_EQ(d->types[0], 7U);
    EXPECT_EQ(d->values[0], static_cast<void *>(group.get()));
    group->ref_count = 1;
    EXPECT_EQ(xdictionary_set(d.get(), "g", group.get(), 0x80000000U), 0);
    EXPECT_EQ(d->types[0], 0x80000000U);
    EXPECT_EQ(group->ref_count, 1U);
}

TEST(DictionarySet, HoldsANullGroup) {
    const Tree d(xdictionary_new(0));
    EXPECT_EQ(xdictionary_set(d.get(), "g", nullptr, 1), 0);
    set_string(d.get(), "s", "1");
    EXPECT_EQ(xdictionary_set(d.get(), "s", nullptr, 1), 0);
    EXPECT_EQ(tree_text(d), "g{NULL}s{NULL}");
}

TEST(DictionarySlots, EntriesStandInTheOrderTheyCameIn) {
    const Tree d(xdictionary_new(0));
    fill(d.get(), 128);
    EXPECT_EQ(d->count, 128U);
    EXPECT_EQ(d->size, 128U);
    for (uint32_t i = 0; i < 128; ++i)
        EXPECT_STREQ(d->keys[i], key_of(i).c_str());
}

TEST(DictionarySlots, EntryNumber129DoublesAndLandsInSlot128) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    fill(d, 128);
    const size_t blocks = allocator.live_blocks();
    EXPECT_EQ(set_string(d, "new", "v"), 0);
    EXPECT_EQ(d->size, 256U);
    EXPECT_EQ(d->count, 129U);
    EXPECT_EQ(slot_of(d, "new"), 128U);
    EXPECT_EQ(allocator.live_blocks(), blocks + 2) << "the old arrays are released";
    for (uint32_t i = 0; i < 128; ++i)
        EXPECT_STREQ(string_at(d, key_of(i).c_str()), "v");
    for (uint32_t i = 129; i < 256; ++i) {
        EXPECT_EQ(d->keys[i], nullptr);
        EXPECT_EQ(d->values[i], nullptr);
        EXPECT_EQ(d->hashes[i], 0U);
        EXPECT_EQ(d->types[i], 0U);
    }
    xdictionary_del(d);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionarySlots, GrowsAgainAndFromOddSizes) {
    const Tree d(xdictionary_new(0));
    fill(d.get(), 1000);
    EXPECT_EQ(d->size, 1024U);
    const Tree odd(xdictionary_new(131));
    fill(odd.get(), 132);
    EXPECT_EQ(odd->size, 262U);
    EXPECT_EQ(slot_of(odd.get(), "k131"), 131U);
}

TEST(DictionarySlots, FullDictionaryReplacesWithoutGrowing) {
    const Tree d(xdictionary_new(0));
    fill(d.get(), 128);
    EXPECT_EQ(set_string(d.get(), "k5", "other"), 0);
    EXPECT_EQ(d->size, 128U);
    EXPECT_STREQ(string_at(d.get(), "k5"), "other");
}

TEST(DictionarySlots, SearchForAFreeSlotStartsAtTheCount) {
    const Tree d(xdictionary_new(0));
    fill(d.get(), 10);
    xdictionary_unset(d.get(), "k3");
    set_string(d.get(), "new", "v");
    EXPECT_EQ(slot_of(d.get(), "new"), 10U) << "slot 9 is taken, slot 10 is the next";
    EXPECT_EQ(d->keys[3], nullptr);
    xdictionary_unset(d.get(), "k9");
    xdictionary_unset(d.get(), "k8");
    set_string(d.get(), "newer", "v");
    EXPECT_EQ(slot_of(d.get(), "newer"), 8U);
}

TEST(DictionarySlots, SearchForAFreeSlotWraps) {
    const Tree d(xdictionary_new(0));
    fill(d.get(), 128);
    xdictionary_unset(d.get(), "k3");
    set_string(d.get(), "new", "v");
    EXPECT_EQ(slot_of(d.get(), "new"), 3U);
    xdictionary_unset(d.get(), "k0");
    xdictionary_unset(d.get(), "k127");
    set_string(d.get(), "a", "v");
    set_string(d.get(), "b", "v");
    EXPECT_EQ(slot_of(d.get(), "a"), 127U);
    EXPECT_EQ(slot_of(d.get(), "b"), 0U);
    EXPECT_EQ(d->size, 128U);
}

TEST(DictionarySlots, HoleOfAGroupTakesAString) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    add_group(d, "g");
    xdictionary_unset(d, "g");
    EXPECT_EQ(set_string(d, "s", "1"), 0);
    EXPECT_EQ(tree_text(d), "s=1;");
    EXPECT_EQ(d->types[0], 0U);
    xdictionary_del(d);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionarySlots, NewKeyOverAnEmptiedDictionaryIsTakenOver) {
    const Tree d(xdictionary_new(0));
    add_group(d.get(), "g");
    xdictionary_unset(d.get(), "g");
    xdictionary *const group = xdictionary_new(0);
    EXPECT_EQ(xdictionary_set(d.get(), "g", group, 1), 0);
    EXPECT_EQ(group->ref_count, 0U);
}

} // namespace
