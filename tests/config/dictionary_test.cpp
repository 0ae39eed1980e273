// SPDX-License-Identifier: MIT
// xdictionary_new, _get, _unset, and how keys are matched.
#include "support/counting_allocator.h"
#include "tree_text.h"

#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>

namespace {

// The hash written out by hand, with the bytes signed.
uint32_t hash_of(const char *key) {
    uint32_t hash = 5381;
    for (; *key != '\0'; ++key)
        hash = hash * 33U + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*key)));
    return hash;
}

// Two spellings of one word whose hashes are equal, which makes them one key.
constexpr char kSpelling[] = "AbcdeFGHijklmNOp";
constexpr char kOtherSpelling[] = "aBCdefghIJKlmnoP";

TEST(DictionaryRecord, FieldsStandInTheGivenOrder) {
    EXPECT_EQ(offsetof(xdictionary, ref_count), 0U);
    EXPECT_EQ(offsetof(xdictionary, count), 4U);
    EXPECT_EQ(offsetof(xdictionary, size), 8U);
    EXPECT_LT(offsetof(xdictionary, size), offsetof(xdictionary, values));
    EXPECT_EQ(offsetof(xdictionary, keys), offsetof(xdictionary, values) + sizeof(void *));
    EXPECT_EQ(offsetof(xdictionary, hashes), offsetof(xdictionary, values) + 2 * sizeof(void *));
    EXPECT_EQ(offsetof(xdictionary, types), offsetof(xdictionary, values) + 3 * sizeof(void *));
    EXPECT_EQ(offsetof(xdictionary, parent), offsetof(xdictionary, values) + 4 * sizeof(void *));
}

TEST(DictionaryNew, HasAtLeast128Slots) {
    const struct {
        uint32_t wanted;
        uint32_t size;
    } rows[] = {{0, 128}, {1, 128}, {5, 128}, {127, 128}, {128, 128}, {129, 129}, {300, 300}};
    for (const auto &row : rows) {
        const Tree d(xdictionary_new(row.wanted));
        EXPECT_EQ(d->size, row.size) << row.wanted;
    }
}

TEST(DictionaryNew, IsEmptyAndBelongsToItsHolder) {
    const Tree d(xdictionary_new(0));
    EXPECT_EQ(d->ref_count, 0U);
    EXPECT_EQ(d->count, 0U);
    EXPECT_EQ(d->parent, nullptr);
    for (uint32_t i = 0; i < d->size; ++i) {
        EXPECT_EQ(d->values[i], nullptr);
        EXPECT_EQ(d->keys[i], nullptr);
        EXPECT_EQ(d->hashes[i], 0U);
        EXPECT_EQ(d->types[i], 0U);
    }
}

TEST(DictionaryNew, TakesARecordAndFourArraysAndDelReleasesThem) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    EXPECT_EQ(allocator.allocations(), 5U);
    EXPECT_EQ(allocator.live_blocks(), 5U);
    EXPECT_TRUE(allocator.is_live(d));
    EXPECT_TRUE(allocator.is_live(d->values));
    EXPECT_TRUE(allocator.is_live(d->keys));
    EXPECT_TRUE(allocator.is_live(d->hashes));
    EXPECT_TRUE(allocator.is_live(d->types));
    xdictionary_del(d);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionaryHash, IsTimes33PlusEachByteAsSignedChar) {
    const struct {
        const char *key;
        uint32_t hash;
    } rows[] = {
        {"", 5381U},
        {"a", 5381U * 33U + 97U},
        {"ab", (5381U * 33U + 97U) * 33U + 98U},
        {"\x80", 5381U * 33U - 128U},
        {"\xff", 5381U * 33U - 1U},
        {"\xc3\xa9", (5381U * 33U - 61U) * 33U - 87U},
    };
    const Tree d(xdictionary_new(0));
    uint32_t slot = 0;
    for (const auto &row : rows) {
        ASSERT_EQ(set_string(d.get(), row.key, "x"), 0);
        EXPECT_EQ(d->hashes[slot], row.hash) << "slot " << slot;
        EXPECT_EQ(d->hashes[slot], hash_of(row.key)) << "slot " << slot;
        EXPECT_STREQ(string_at(d.get(), row.key), "x") << "slot " << slot;
        ++slot;
    }
}

TEST(DictionaryHash, WrapsAt32Bits) {
    const Tree d(xdictionary_new(0));
    ASSERT_EQ(set_string(d.get(), "a rather long key, long enough to wrap", "x"), 0);
    EXPECT_EQ(d->hashes[0], hash_of("a rather long key, long enough to wrap"));
}

TEST(DictionaryMatch, KeyInAnotherCaseIsAnotherKey) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "port", "1");
    EXPECT_EQ(xdictionary_get(d.get(), "Port", nullptr), nullptr);
    EXPECT_EQ(set_string(d.get(), "Port", "2"), 0);
    EXPECT_EQ(tree_text(d), "port=1;Port=2;");
}

TEST(DictionaryMatch, SpellingsWithOneHashAreOneKey) {
    ASSERT_EQ(hash_of(kSpelling), hash_of(kOtherSpelling));
    const Tree d(xdictionary_new(0));
    set_string(d.get(), kSpelling, "1");
    EXPECT_STREQ(string_at(d.get(), kOtherSpelling), "1");
    EXPECT_EQ(set_string(d.get(), kOtherSpelling, "2"), 0);
    EXPECT_EQ(d->count, 1U);
    EXPECT_STREQ(d->keys[0], kSpelling) << "the key stays as it was first stored";
    EXPECT_STREQ(string_at(d.get(), kSpelling), "2");
    xdictionary_unset(d.get(), kOtherSpelling);
    EXPECT_EQ(d->count, 0U);
}

TEST(DictionaryMatch, DifferentKeysWithOneHashAreKeptApart) {
    ASSERT_EQ(hash_of("ab"), hash_of("bA"));
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "ab", "1");
    set_string(d.get(), "bA", "2");
    EXPECT_EQ(tree_text(d), "ab=1;bA=2;");
    EXPECT_STREQ(string_at(d.get(), "ab"), "1");
    EXPECT_STREQ(string_at(d.get(), "bA"), "2");
}

TEST(DictionaryMatch, FirstMatchingSlotWins) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "a", "1");
    set_string(d.get(), "b", "2");
    strcpy(d->keys[1], "a"); // no call makes a second slot with one key: force it
    d->hashes[1] = d->hashes[0];
    EXPECT_STREQ(string_at(d.get(), "a"), "1");
    set_string(d.get(), "a", "3");
    EXPECT_EQ(tree_text(d), "a=3;a=2;");
    xdictionary_unset(d.get(), "a");
    EXPECT_STREQ(string_at(d.get(), "a"), "2");
}

TEST(DictionaryMatch, LooksIntoTheLastSlot) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "a", "1");
    std::swap(d->keys[0], d->keys[127]);
    std::swap(d->values[0], d->values[127]);
    std::swap(d->hashes[0], d->hashes[127]);
    EXPECT_STREQ(string_at(d.get(), "a"), "1");
    EXPECT_EQ(set_string(d.get(), "a", "2"), 0);
    EXPECT_EQ(d->count, 1U);
    EXPECT_STREQ(static_cast<char *>(d->values[127]), "2");
}

TEST(DictionaryGet, GivesTheStoredPointerAndType) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "a", "1");
    xdictionary *const group = add_group(d.get(), "g");
    uint32_t type = 77;
    EXPECT_EQ(xdictionary_get(d.get(), "a", &type), d->values[0]);
    EXPECT_EQ(type, 0U);
    EXPECT_EQ(xdictionary_get(d.get(), "g", &type), group);
    EXPECT_EQ(type, 1U);
    EXPECT_EQ(xdictionary_get(d.get(), "g", nullptr), group);
}

TEST(DictionaryGet, LeavesTheTypeAloneWhenThereIsNothing) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "a", "1");
    uint32_t type = 77;
    EXPECT_EQ(xdictionary_get(d.get(), "b", &type), nullptr);
    EXPECT_EQ(xdictionary_get(d.get(), "", &type), nullptr);
    EXPECT_EQ(xdictionary_get(d.get(), nullptr, &type), nullptr);
    EXPECT_EQ(xdictionary_get(nullptr, "a", &type), nullptr);
    EXPECT_EQ(xdictionary_get(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(type, 77U);
}

TEST(DictionaryGet, FindsTheEmptyKey) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "", "1");
    EXPECT_STREQ(string_at(d.get(), ""), "1");
}

TEST(DictionaryUnset, ClearsTheSlotOfAString) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "a", "1");
    set_string(d.get(), "b", "2");
    CountingAllocator allocator; // blocks of before are foreign to it: look only at slots here
    set_string(d.get(), "c", "3");
    EXPECT_EQ(allocator.live_blocks(), 2U);
    xdictionary_unset(d.get(), "c");
    EXPECT_EQ(allocator.live_blocks(), 0U);
    EXPECT_EQ(d->count, 2U);
    EXPECT_EQ(d->keys[2], nullptr);
    EXPECT_EQ(d->values[2], nullptr);
    EXPECT_EQ(d->hashes[2], 0U);
    EXPECT_EQ(xdictionary_get(d.get(), "c", nullptr), nullptr);
}

TEST(DictionaryUnset, ReleasesAGroupAndLeavesPointerAndTypeInTheHole) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    xdictionary *const group = add_group(d, "g");
    set_string(group, "x", "1");
    xdictionary_unset(d, "g");
    EXPECT_FALSE(allocator.is_live(group));
    EXPECT_EQ(d->count, 0U);
    EXPECT_EQ(d->keys[0], nullptr);
    EXPECT_EQ(d->hashes[0], 0U);
    EXPECT_EQ(d->types[0], 1U);
    EXPECT_EQ(d->values[0], static_cast<void *>(group));
    xdictionary_del(d);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionaryUnset, DropsOneOwnerOfASharedGroup) {
    const Tree d(xdictionary_new(0));
    const Tree group(xdictionary_new(0));
    group->ref_count = 1;
    xdictionary_set(d.get(), "g", group.get(), XDICTIONARY_GROUP);
    xdictionary_unset(d.get(), "g");
    EXPECT_EQ(group->ref_count, 0U);
    EXPECT_EQ(xdictionary_get(d.get(), "g", nullptr), nullptr);
}

TEST(DictionaryUnset, TakesAnyNonZeroTypeForAGroup) {
    CountingAllocator allocator;
    xdictionary *const d = xdictionary_new(0);
    xdictionary *const group = xdictionary_new(0);
    xdictionary_set(d, "g", group, 7);
    xdictionary_unset(d, "g");
    EXPECT_FALSE(allocator.is_live(group));
    EXPECT_EQ(d->types[0], 7U);
    xdictionary_del(d);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionaryUnset, IgnoresWhatIsNotThere) {
    const Tree d(xdictionary_new(0));
    xdictionary_unset(d.get(), "a");
    set_string(d.get(), "a", "1");
    xdictionary_unset(d.get(), "b");
    xdictionary_unset(d.get(), "A");
    xdictionary_unset(d.get(), nullptr);
    xdictionary_unset(nullptr, "a");
    xdictionary_unset(nullptr, nullptr);
    EXPECT_EQ(tree_text(d), "a=1;");
}

} // namespace
