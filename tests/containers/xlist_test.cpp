// SPDX-License-Identifier: MIT
#include "items.h"
#include "support/counting_allocator.h"
#include "support/death.h"

#include <varnel/collections.h>
#include <varnel/memory.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<void *> items_of(const xlist *list) {
    std::vector<void *> items;
    for (const xlist *node = list; node != nullptr; node = node->next)
        items.push_back(node->data);
    return items;
}

class Xlist : public testing::Test {
protected:
    ~Xlist() override {
        xlist_free(&list);
        EXPECT_EQ(allocator.live_blocks(), 0U);
    }

    void append(size_t first, size_t last) {
        for (size_t n = first; n < last; ++n)
            ASSERT_EQ(xlist_append(&list, item(n)), 1);
    }

    // The list holds these items, and its head says so.
    void expect(const std::vector<void *> &items) const {
        EXPECT_EQ(items_of(list), items);
        if (list == nullptr)
            return;
        EXPECT_EQ(list->count, items.size());
        const xlist *last = list;
        while (last->next != nullptr)
            last = last->next;
        EXPECT_EQ(list->tail, last);
    }

    CountingAllocator allocator;
    xlist *list = nullptr;
};

TEST_F(Xlist, AppendAddsAtTheEnd) {
    append(0, 1);
    expect({item(0)});
    EXPECT_EQ(list->tail, list);
    append(1, 4);
    expect({item(0), item(1), item(2), item(3)});
    EXPECT_EQ(allocator.allocations(), 4U);
    EXPECT_EQ(allocator.allocate_calls(), 4U);
    EXPECT_EQ(allocator.size_of(list), sizeof(xlist));
}

TEST_F(Xlist, AppendedNodesDescribeNoList) {
    append(0, 3);
    for (const xlist *node = list->next; node != nullptr; node = node->next) {
        EXPECT_EQ(node->tail, nullptr);
        EXPECT_EQ(node->count, 0U);
    }
}

TEST_F(Xlist, PrependHandsTheHeadsBookkeepingOver) {
    append(0, 3);
    xlist *const old_head = list;
    xlist *const tail = list->tail;
    EXPECT_EQ(xlist_prepend(&list, item(9)), 1);
    expect({item(9), item(0), item(1), item(2)});
    EXPECT_EQ(list->next, old_head);
    EXPECT_EQ(list->tail, tail);
    EXPECT_EQ(old_head->count, 0U);
    EXPECT_EQ(old_head->tail, nullptr);
    append(4, 5);
    expect({item(9), item(0), item(1), item(2), item(4)});
}

TEST_F(Xlist, PrependToAnEmptyListIsAppend) {
    EXPECT_EQ(xlist_prepend(&list, item(0)), 1);
    expect({item(0)});
    EXPECT_EQ(xlist_prepend(&list, item(1)), 1);
    expect({item(1), item(0)});
}

TEST_F(Xlist, StoresNullItems) {
    append(0, 1);
    EXPECT_EQ(xlist_append(&list, nullptr), 1);
    EXPECT_EQ(xlist_prepend(&list, nullptr), 1);
    expect({nullptr, item(0), nullptr});
    EXPECT_EQ(xlist_remove(&list, nullptr, 1), 1);
    expect({item(0), nullptr});
}

TEST_F(Xlist, RemoveTakesTheFirstNodeWithThisPointer) {
    append(0, 3);
    append(1, 2);
    expect({item(0), item(1), item(2), item(1)});
    EXPECT_EQ(xlist_remove(&list, item(1), 0), 1);
    expect({item(0), item(2), item(1)});
    EXPECT_EQ(xlist_remove(&list, item(1), 0), 1);
    expect({item(0), item(2)});
    EXPECT_EQ(xlist_remove(&list, item(1), 0), 0);
    expect({item(0), item(2)});
}

TEST_F(Xlist, RemoveWorksAtEveryPlaceAndAppendsFollow) {
    for (size_t length = 1; length <= 4; ++length)
        for (size_t removed = 0; removed < length; ++removed) {
            SCOPED_TRACE(testing::Message() << removed << " of " << length);
            append(0, length);
            EXPECT_EQ(xlist_remove(&list, item(removed), 0), 1);
            std::vector<void *> expected;
            for (size_t n = 0; n < length; ++n)
                if (n != removed)
                    expected.push_back(item(n));
            expect(expected);
            append(7, 8);
            expected.push_back(item(7));
            expect(expected);
            xlist_free(&list);
        }
}

TEST_F(Xlist, RemovingTheOnlyNodeLeavesNull) {
    append(0, 1);
    EXPECT_EQ(xlist_remove(&list, item(0), 0), 1);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST_F(Xlist, RemoveFindsNothingInEmptyListsAndComparesPointersOnly) {
    EXPECT_EQ(xlist_remove(&list, item(0), 0), 0);
    EXPECT_EQ(xlist_remove(&list, nullptr, 1), 0);
    char a[] = "same";
    char b[] = "same";
    ASSERT_EQ(xlist_append(&list, a), 1);
    EXPECT_EQ(xlist_remove(&list, b, 0), 0);
    expect({a});
}

TEST_F(Xlist, RemoveFreesTheItemWhenAsked) {
    for (const unsigned char free_data : std::initializer_list<unsigned char>{0, 1, 2, 255}) {
        SCOPED_TRACE(static_cast<int>(free_data));
        void *const owned = xmalloc(1);
        ASSERT_EQ(xlist_append(&list, owned), 1);
        EXPECT_EQ(xlist_remove(&list, owned, free_data), 1);
        EXPECT_EQ(allocator.live_blocks(), free_data != 0 ? 0U : 1U);
        if (free_data == 0)
            _xfree(owned);
    }
}

TEST_F(Xlist, FreeLeavesTheItems) {
    void *const owned = xmalloc(1);
    ASSERT_EQ(xlist_append(&list, owned), 1);
    ASSERT_EQ(xlist_append(&list, item(1)), 1);
    xlist_free(&list);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(allocator.live_blocks(), 1U);
    _xfree(owned);
}

TEST_F(Xlist, FreeAllFreesTheItemsToo) {
    for (int n = 0; n < 3; ++n)
        ASSERT_EQ(xlist_append(&list, xmalloc(1)), 1);
    ASSERT_EQ(xlist_append(&list, nullptr), 1);
    xlist_free_all(&list);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST_F(Xlist, MergeLinksTheSourcesNodesBehind) {
    append(0, 2);
    xlist *source = nullptr;
    ASSERT_EQ(xlist_append(&source, item(5)), 1);
    ASSERT_EQ(xlist_append(&source, item(6)), 1);
    xlist_merge(&list, source);
    expect({item(0), item(1), item(5), item(6)});
    EXPECT_EQ(source->count, 2U) << "stale, as it was";
    EXPECT_EQ(source->tail, list->tail);
    append(7, 8);
    expect({item(0), item(1), item(5), item(6), item(7)});
    EXPECT_EQ(source->tail->data, item(6));
}

TEST_F(Xlist, AStaleHeadDoesNotMatterLater) {
    append(0, 1);
    xlist *source = nullptr;
    ASSERT_EQ(xlist_append(&source, item(5)), 1);
    ASSERT_EQ(xlist_append(&source, item(6)), 1);
    xlist_merge(&list, source);
    EXPECT_EQ(xlist_remove(&list, item(0), 0), 1);
    expect({item(5), item(6)});
    EXPECT_EQ(xlist_remove(&list, item(6), 0), 1);
    expect({item(5)});
}

TEST_F(Xlist, MergeOfEmptyLists) {
    xlist *source = nullptr;
    ASSERT_EQ(xlist_append(&source, item(5)), 1);
    xlist_merge(&list, source);
    EXPECT_EQ(list, source) << "an empty destination becomes the source itself";
    xlist_merge(&list, nullptr);
    expect({item(5)});
    xlist *none = nullptr;
    xlist_merge(&none, nullptr);
    EXPECT_EQ(none, nullptr);
}

TEST_F(Xlist, CountsIn64Bits) {
    append(0, 1);
    list->count = UINT32_MAX;
    append(1, 2);
    EXPECT_EQ(list->count, uint64_t{UINT32_MAX} + 1);
    EXPECT_EQ(xlist_prepend(&list, item(2)), 1);
    EXPECT_EQ(list->count, uint64_t{UINT32_MAX} + 2);
    EXPECT_EQ(xlist_remove(&list, item(2), 0), 1);
    EXPECT_EQ(xlist_remove(&list, item(1), 0), 1);
    EXPECT_EQ(list->count, UINT32_MAX);
}

TEST_F(Xlist, ANullAddressDoesNothing) {
    EXPECT_EQ(xlist_append(nullptr, item(0)), 0);
    EXPECT_EQ(xlist_prepend(nullptr, item(0)), 0);
    EXPECT_EQ(xlist_remove(nullptr, item(0), 1), 0);
    xlist_free(nullptr);
    xlist_free_all(nullptr);
    append(0, 1);
    xlist_merge(nullptr, list);
    xlist_merge(nullptr, nullptr);
    EXPECT_EQ(allocator.live_blocks(), 1U);
    xlist *none = nullptr;
    xlist_free(&none);
    xlist_free_all(&none);
    EXPECT_EQ(none, nullptr);
}

TEST(XlistDeathTest, NodesAbortWithoutMemory) {
    for (int (*const add)(xlist **, void *) : {xlist_append, xlist_prepend})
        expect_abort_at_every_allocation([add] {
            xlist *list = nullptr;
            add(&list, item(0));
            add(&list, item(1));
            xlist_free(&list);
        });
}

} // namespace
