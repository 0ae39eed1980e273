// SPDX-License-Identifier: MIT
// xdictionary_merge.
#include "support/counting_allocator.h"
#include "tree_text.h"

#include <gtest/gtest.h>

namespace {

// Takes the group under a key away from one of the two trees that share it without a count.
void disown(xdictionary *d, const char *key) {
    for (uint32_t i = 0; i < d->size; ++i)
        if (d->keys[i] != nullptr && std::string(d->keys[i]) == key)
            d->values[i] = nullptr;
}

TEST(DictionaryMerge, MakesAMissingDestination) {
    const Tree made(xdictionary_merge(nullptr, nullptr));
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->size, 128U);
    EXPECT_EQ(made->count, 0U);

    const Tree source(xdictionary_new(300));
    set_string(source.get(), "a", "1");
    const Tree copy(xdictionary_merge(nullptr, source.get()));
    EXPECT_EQ(copy->size, 128U);
    EXPECT_EQ(tree_text(copy), "a=1;");
    EXPECT_NE(copy->values[0], source->values[0]);
}

TEST(DictionaryMerge, ReturnsTheDestination) {
    const Tree destination(xdictionary_new(0));
    set_string(destination.get(), "a", "1");
    EXPECT_EQ(xdictionary_merge(destination.get(), nullptr), destination.get());
    EXPECT_EQ(tree_text(destination), "a=1;");
    const Tree source(xdictionary_new(0));
    EXPECT_EQ(xdictionary_merge(destination.get(), source.get()), destination.get());
    EXPECT_EQ(tree_text(destination), "a=1;");
}

TEST(DictionaryMerge, SourceWinsAndNewKeysFollowInItsOrder) {
    const Tree destination(xdictionary_new(0));
    const Tree source(xdictionary_new(0));
    set_string(destination.get(), "a", "1");
    set_string(destination.get(), "b", "2");
    set_string(source.get(), "hole", "");
    set_string(source.get(), "d", "3");
    set_string(source.get(), "a", "4");
    set_string(source.get(), "c", "5");
    xdictionary_unset(source.get(), "hole");
    xdictionary_merge(destination.get(), source.get());
    EXPECT_EQ(tree_text(destination), "a=4;b=2;d=3;c=5;");
    EXPECT_EQ(tree_text(source), "<1>d=3;<2>a=4;<3>c=5;") << "the source stays as it was";
}

TEST(DictionaryMerge, GroupReplacesTheDestinationsWholeAndIsShared) {
    CountingAllocator allocator;
    xdictionary *const destination = xdictionary_new(0);
    xdictionary *const source = xdictionary_new(0);
    xdictionary *const replaced = add_group(destination, "g");
    set_string(replaced, "y", "1");
    xdictionary *const shared = add_group(source, "g");
    set_string(shared, "x", "2");
    xdictionary_merge(destination, source);
    EXPECT_EQ(group_at(destination, "g"), shared);
    EXPECT_EQ(shared->ref_count, 1U);
    EXPECT_EQ(shared->parent, source);
    EXPECT_EQ(tree_text(shared), "x=2;");
    EXPECT_FALSE(allocator.is_live(replaced));
    xdictionary_del(source);
    EXPECT_EQ(tree_text(shared), "x=2;") << "counted, so both trees can be released";
    xdictionary_del(destination);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionaryMerge, GroupUnderANewKeyIsSharedWithoutACount) {
    CountingAllocator allocator;
    xdictionary *const destination = xdictionary_new(0);
    xdictionary *const source = xdictionary_new(0);
    xdictionary *const shared = add_group(source, "g");
    xdictionary_merge(destination, source);
    EXPECT_EQ(group_at(destination, "g"), shared);
    EXPECT_EQ(shared->ref_count, 0U);
    disown(source, "g");
    xdictionary_del(source);
    xdictionary_del(destination);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(DictionaryMerge, TypeComesWithTheValue) {
    const Tree destination(xdictionary_new(0));
    const Tree source(xdictionary_new(0));
    add_group(destination.get(), "a");
    set_string(destination.get(), "b", "1");
    set_string(source.get(), "a", "2");
    xdictionary *const shared = xdictionary_new(0);
    xdictionary_set(source.get(), "b", shared, 7);
    xdictionary_merge(destination.get(), source.get());
    EXPECT_STREQ(string_at(destination.get(), "a"), "2");
    EXPECT_EQ(destination->types[1], 7U);
    EXPECT_EQ(destination->values[1], static_cast<void *>(shared));
    EXPECT_EQ(shared->ref_count, 1U);
}

TEST(DictionaryMerge, WithItselfChangesNothing) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "a", "1");
    set_string(add_group(d.get(), "g"), "b", "2");
    EXPECT_EQ(xdictionary_merge(d.get(), d.get()), d.get());
    EXPECT_EQ(tree_text(d), "a=1;g{b=2;}");
}

TEST(DictionaryMerge, GrowsTheDestination) {
    const Tree destination(xdictionary_new(0));
    const Tree source(xdictionary_new(300));
    for (int i = 0; i < 300; ++i)
        set_string(source.get(), std::to_string(i).c_str(), "v");
    xdictionary_merge(destination.get(), source.get());
    EXPECT_EQ(destination->size, 512U);
    EXPECT_EQ(tree_text(destination), tree_text(source));
}

} // namespace
