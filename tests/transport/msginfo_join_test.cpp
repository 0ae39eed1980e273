// SPDX-License-Identifier: MIT
#include "message.h"
#include "support/death.h"

namespace {

// What msginfo_get_data stores and returns.
struct Joined {
    explicit Joined(const msginfo *info) { length = msginfo_get_data(info, &data); }
    ~Joined() { _xfree(data); }
    Joined(const Joined &) = delete;
    Joined &operator=(const Joined &) = delete;

    uint8_t *data = &untouched;
    uint32_t length;
    static inline uint8_t untouched;
};

Bytes bytes(const Joined &joined) {
    return {joined.data, joined.data + joined.length};
}

} // namespace

TEST(MsginfoJoin, AnIncompleteMessageGivesNull) {
    const Message info(msginfo_new_by_packet(2));
    put(info, 2, {'b'});
    const Joined joined(info.get());
    EXPECT_EQ(joined.length, 0U);
    EXPECT_EQ(joined.data, nullptr);
    const Joined none(nullptr);
    EXPECT_EQ(none.length, 0U);
    EXPECT_EQ(none.data, nullptr);
}

TEST(MsginfoJoin, JoinsInPacketOrderWhateverTheOrderOfArrival) {
    const Bytes message = pattern(2500);
    const Bytes parts[] = {Bytes(message.begin(), message.begin() + 1002),
                           Bytes(message.begin() + 1002, message.begin() + 2004),
                           Bytes(message.begin() + 2004, message.end())};
    uint32_t order[] = {1, 2, 3};
    do {
        const Message info(msginfo_new_by_packet(3));
        for (const uint32_t index : order)
            EXPECT_EQ(put(info, index, parts[index - 1]), 1);
        EXPECT_EQ(bytes(Joined(info.get())), message);
        EXPECT_EQ(bytes(Joined(info.get())), message); // as often as one likes
    } while (std::next_permutation(std::begin(order), std::end(order)));
}

TEST(MsginfoJoin, PacketsInTheMiddleMayBeShort) {
    const Message info(msginfo_new_by_packet(3));
    set(info, 1, {'a'});
    set(info, 2, {'b', 'c'});
    set(info, 3, {'d'});
    EXPECT_EQ(bytes(Joined(info.get())), (Bytes{'a', 'b', 'c', 'd'}));
}

TEST(MsginfoJoin, AMessageMadeFromDataIsJoinedOnceAllIsFlagged) {
    const Bytes message = pattern(2005);
    const Message info(msginfo_new_by_data(message.data(), 2005));
    for (uint32_t index = 1; index <= 3; ++index) {
        EXPECT_EQ(Joined(info.get()).data, nullptr);
        msginfo_flag(info.get(), index);
    }
    EXPECT_EQ(bytes(Joined(info.get())), message);
}

TEST(MsginfoJoin, OvercountedDataLeavesZerosBehindTheMessage) {
    const CountingAllocator allocator;
    const Message info(msginfo_new_by_packet(1));
    set(info, 1, {'a', 'b', 'c'});
    set(info, 1, {'x', 'y'});
    EXPECT_EQ(msginfo_data_len(info.get()), 5U);
    const Joined joined(info.get());
    EXPECT_EQ(joined.length, 2U);
    EXPECT_EQ(allocator.size_of(joined.data), 5U);
    EXPECT_EQ(Bytes(joined.data, joined.data + 5), (Bytes{'x', 'y', 0, 0, 0}));
}

// data_len is a 32-bit sum of what a peer sent; when it has wrapped, the buffer is as long as the slots need.
TEST(MsginfoJoin, ACountThatWrappedDoesNotMakeTheBufferTooSmall) {
    const CountingAllocator allocator;
    const Message info(msginfo_new_by_packet(2));
    set(info, 1, pattern(1002));
    info->data_len = UINT32_MAX - 1;
    EXPECT_EQ(set(info, 2, pattern(700)), 700);
    EXPECT_EQ(msginfo_data_len(info.get()), 698U);
    const Joined joined(info.get());
    EXPECT_EQ(joined.length, 1702U);
    EXPECT_EQ(allocator.size_of(joined.data), 1702U);
    EXPECT_EQ(bytes(joined), join({pattern(1002), pattern(700)}));
}

TEST(MsginfoJoin, FlagsWithoutDataJoinToAnEmptyBuffer) {
    CountingAllocator allocator;
    allocator.null_for_empty(true);
    const Message info(msginfo_new_by_packet(2));
    msginfo_flag(info.get(), 1);
    msginfo_flag(info.get(), 2);
    const Joined joined(info.get());
    EXPECT_EQ(joined.length, 0U);
    EXPECT_NE(joined.data, nullptr);
}

TEST(MsginfoJoin, AMessageWithoutPacketsJoinsToAnEmptyBuffer) {
    const msginfo none = {};
    const Joined joined(&none);
    EXPECT_EQ(joined.length, 0U);
    EXPECT_NE(joined.data, nullptr);
}

TEST(MsginfoJoin, TakesOneBlockAndLeavesTheMessageAsItIs) {
    const CountingAllocator allocator;
    const Message info(msginfo_new_by_packet(1));
    set(info, 1, {'a'});
    const size_t before = allocator.live_blocks();
    {
        const Joined joined(info.get());
        EXPECT_EQ(allocator.live_blocks(), before + 1);
        EXPECT_TRUE(allocator.is_live(joined.data));
    }
    EXPECT_EQ(slot(info.get(), 1), Bytes{'a'});
    EXPECT_EQ(msginfo_check(info.get()), 1);
    EXPECT_EQ(msginfo_data_len(info.get()), 1U);
}

TEST(MsginfoJoinDeathTest, TheBufferCannotBeDoneWithout) {
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            const Message info(msginfo_new_by_packet(1));
            set(info, 1, {'a'});
            allocator.fail_at(1);
            const Joined joined(info.get());
        },
        "^$");
}
