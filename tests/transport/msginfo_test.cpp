// SPDX-License-Identifier: MIT
#include "message.h"
#include "support/counting_allocator.h"

TEST(Msginfo, CutsDataIntoPacketsOf1002Bytes) {
    const struct {
        uint32_t length;
        uint32_t count;
        uint32_t last;
    } rows[] = {{1, 1, 1},       {1001, 1, 1001}, {1002, 1, 1002}, {1003, 2, 1},
                {2003, 2, 1001}, {2004, 2, 1002}, {2005, 3, 1},    {100200, 100, 1002}};
    for (const auto &row : rows) {
        const Bytes data = pattern(row.length);
        const ExactBlock block(data, 1);
        const Message info(msginfo_new_by_data(block.data(), row.length));
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(msginfo_packet_count(info.get()), row.count) << row.length;
        EXPECT_EQ(msginfo_data_len(info.get()), row.length);
        EXPECT_EQ(msginfo_check(info.get()), 0);
        Bytes joined;
        for (uint32_t index = 1; index <= row.count; ++index) {
            EXPECT_EQ(info->flags[index - 1], 0);
            EXPECT_EQ(msginfo_packet_len(info.get(), index), index == row.count ? row.last : 1002U);
            joined = join({joined, slot(info.get(), index)});
            for (uint32_t i = msginfo_packet_len(info.get(), index); i < 1024; ++i)
                ASSERT_EQ(info->packets[index - 1].data[i], 0);
        }
        EXPECT_EQ(joined, data);
    }
}

TEST(Msginfo, KeepsACopyOfTheData) {
    Bytes data = {'a', 'b'};
    const Message info(msginfo_new_by_data(data.data(), 2));
    data[0] = '#';
    EXPECT_EQ(slot(info.get(), 1), (Bytes{'a', 'b'}));
}

TEST(Msginfo, NeedsDataOrACount) {
    const uint8_t byte = 1;
    EXPECT_EQ(msginfo_new_by_data(nullptr, 1), nullptr);
    EXPECT_EQ(msginfo_new_by_data(nullptr, 0), nullptr);
    EXPECT_EQ(msginfo_new_by_data(&byte, 0), nullptr);
    for (const int32_t count : {0, -1, INT32_MIN})
        EXPECT_EQ(msginfo_new_by_packet(count), nullptr);
}

TEST(Msginfo, StartsEmptyForACount) {
    for (const int32_t count : {1, 2, 1000}) {
        const Message info(msginfo_new_by_packet(count));
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(msginfo_packet_count(info.get()), static_cast<uint32_t>(count));
        EXPECT_EQ(msginfo_data_len(info.get()), 0U);
        EXPECT_EQ(msginfo_check(info.get()), 0);
        for (uint32_t index = 1; index <= static_cast<uint32_t>(count); ++index) {
            EXPECT_EQ(info->flags[index - 1], 0);
            EXPECT_EQ(msginfo_packet_len(info.get(), index), 0U);
        }
    }
}

TEST(Msginfo, NullAndForeignIndexesAreRefusedByEveryAccessor) {
    const Message info(msginfo_new_by_packet(3));
    const uint8_t byte = 1;
    for (const uint32_t index : {0U, 4U, 5U, 0x80000001U, UINT32_MAX}) {
        EXPECT_EQ(msginfo_put_packet(info.get(), index, &byte, 1), 0) << index;
        EXPECT_EQ(msginfo_set_packet_data(info.get(), index, &byte, 1), -1);
        EXPECT_EQ(msginfo_flag(info.get(), index), 0);
        EXPECT_EQ(msginfo_packet_len(info.get(), index), 0U);
        EXPECT_EQ(msginfo_packet_data(info.get(), index), nullptr);
    }
    EXPECT_EQ(msginfo_put_packet(nullptr, 1, &byte, 1), 0);
    EXPECT_EQ(msginfo_set_packet_data(nullptr, 1, &byte, 1), -1);
    EXPECT_EQ(msginfo_check(nullptr), 0);
    EXPECT_EQ(msginfo_flag(nullptr, 1), 0);
    EXPECT_EQ(msginfo_packet_len(nullptr, 1), 0U);
    EXPECT_EQ(msginfo_packet_data(nullptr, 1), nullptr);
    EXPECT_EQ(msginfo_data_len(nullptr), 0U);
    EXPECT_EQ(msginfo_packet_count(nullptr), 0U);
    msginfo_free(nullptr);
    EXPECT_EQ(info->data_len, 0U);
    for (uint32_t index = 1; index <= 3; ++index)
        EXPECT_EQ(info->flags[index - 1], 0);
}

TEST(Msginfo, PacketsHave1To1002Bytes) {
    const Bytes data = pattern(1025);
    for (const uint32_t length : {0U, 1003U, 1024U, 1025U, 0x80000001U, UINT32_MAX}) {
        const Message info(msginfo_new_by_packet(1));
        EXPECT_EQ(msginfo_put_packet(info.get(), 1, data.data(), length), 0) << length;
        EXPECT_EQ(msginfo_set_packet_data(info.get(), 1, data.data(), length), -1);
        EXPECT_EQ(msginfo_put_packet(info.get(), 1, nullptr, 1), 0);
        EXPECT_EQ(msginfo_set_packet_data(info.get(), 1, nullptr, 1), -1);
        EXPECT_EQ(info->flags[0], 0);
        EXPECT_EQ(info->data_len, 0U);
        EXPECT_EQ(info->packets[0].length, 0U);
    }
    for (const uint32_t length : {1U, 2U, 1001U, 1002U}) {
        const ExactBlock block(pattern(length), 1);
        const Message put(msginfo_new_by_packet(2));
        EXPECT_EQ(msginfo_put_packet(put.get(), 2, block.data(), length), 1);
        const Message set(msginfo_new_by_packet(2));
        EXPECT_EQ(msginfo_set_packet_data(set.get(), 2, block.data(), length), static_cast<int32_t>(length));
        for (const Message *info : {&put, &set}) {
            EXPECT_EQ(slot(info->get(), 2), pattern(length));
            EXPECT_EQ((*info)->flags[0], 0);
            EXPECT_EQ((*info)->flags[1], 1);
            EXPECT_EQ(msginfo_data_len(info->get()), length);
        }
    }
}

TEST(Msginfo, PutRefusesAPacketThatIsThere) {
    const Message info(msginfo_new_by_packet(2));
    EXPECT_EQ(put(info, 1, {'a', 'b'}), 1);
    EXPECT_EQ(put(info, 1, {'x'}), 0);
    EXPECT_EQ(slot(info.get(), 1), (Bytes{'a', 'b'}));
    EXPECT_EQ(info->data_len, 2U);
    EXPECT_EQ(msginfo_flag(info.get(), 2), 1);
    EXPECT_EQ(put(info, 2, {'x'}), 0);
    EXPECT_EQ(msginfo_packet_len(info.get(), 2), 0U);
}

TEST(Msginfo, SetOverwritesAndCountsTwice) {
    const Message info(msginfo_new_by_packet(2));
    EXPECT_EQ(set(info, 1, {'a', 'b', 'c'}), 3);
    EXPECT_EQ(set(info, 1, {'x'}), 1);
    EXPECT_EQ(slot(info.get(), 1), Bytes{'x'});
    EXPECT_EQ(info->data_len, 4U);
    EXPECT_EQ(info->flags[0], 1);
    EXPECT_EQ(info->flags[1], 0);
}

TEST(Msginfo, IsCompleteWhenEveryFlagIsSet) {
    constexpr uint32_t kCount = 67;
    for (uint32_t missing = 1; missing <= kCount; ++missing) {
        const Message info(msginfo_new_by_packet(kCount));
        for (uint32_t index = 1; index <= kCount; ++index)
            EXPECT_EQ(index == missing || msginfo_flag(info.get(), index) == 1, true);
        EXPECT_EQ(msginfo_check(info.get()), 0) << missing;
        EXPECT_EQ(msginfo_flag(info.get(), missing), 1);
        EXPECT_EQ(msginfo_check(info.get()), 1);
        EXPECT_EQ(msginfo_flag(info.get(), missing), 1); // again
        EXPECT_EQ(msginfo_check(info.get()), 1);
    }
}

TEST(Msginfo, WithoutPacketsIsComplete) {
    const msginfo none = {};
    EXPECT_EQ(msginfo_check(&none), 1);
}

TEST(Msginfo, PacketDataIsTheMessagesOwn) {
    const Message info(msginfo_new_by_packet(2));
    EXPECT_EQ(msginfo_packet_data(info.get(), 1), info->packets[0].data);
    EXPECT_EQ(msginfo_packet_data(info.get(), 2), info->packets[1].data);
}

TEST(Msginfo, TakesThreeZeroedBlocksAndReleasesThem) {
    const CountingAllocator allocator;
    const Bytes data = pattern(2005);
    msginfo_free(msginfo_new_by_data(data.data(), 2005));
    msginfo_free(msginfo_new_by_packet(3));
    const std::vector<size_t> sizes = {sizeof(msginfo), 3, 3 * sizeof(msginfo_packet)};
    std::vector<size_t> expected = sizes;
    expected.insert(expected.end(), sizes.begin(), sizes.end());
    EXPECT_EQ(allocator.sizes(), expected);
    EXPECT_EQ(allocator.zeroed_calls(), 6U);
    EXPECT_EQ(allocator.allocate_calls() + allocator.reallocate_calls(), 0U);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(Msginfo, RefusedMemoryIsNoMessage) {
    const Bytes data = pattern(2005);
    for (size_t n = 1; n <= 3; ++n) {
        CountingAllocator allocator;
        allocator.fail_at(n);
        EXPECT_EQ(msginfo_new_by_data(data.data(), 2005), nullptr);
        allocator.fail_at(n);
        EXPECT_EQ(msginfo_new_by_packet(3), nullptr);
        EXPECT_EQ(allocator.live_blocks(), 0U);
    }
}

// 4,177,986 slots wrap a 32-bit size to a small one.
TEST(Msginfo, ACountWhoseSlotsDoNotFitIsRefused) {
    for (const int32_t count : {4177984, 4177986}) {
        CountingAllocator allocator;
        allocator.fail_from(3); // the slots
        EXPECT_EQ(msginfo_new_by_packet(count), nullptr);
        EXPECT_EQ(allocator.live_blocks(), 0U);
        const auto sizes = allocator.sizes();
        EXPECT_EQ(sizes[1], static_cast<size_t>(count));
        if (sizes.size() > 2) {
            EXPECT_EQ(uint64_t{sizes[2]}, static_cast<uint64_t>(count) * sizeof(msginfo_packet));
        }
    }
}
