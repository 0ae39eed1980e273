// SPDX-License-Identifier: MIT
// Whatever the bytes, the reader agrees with the reference reader and touches none outside them.
#include "reference_reader.h"
#include "support/counting_allocator.h"

#include <random>

namespace {

Bytes message(uint32_t count, const Bytes &entries) {
    return join(
        {{0x06, 0x72, 0, 3}, big_endian(static_cast<uint32_t>(12 + entries.size())), big_endian(count), entries});
}

Bytes message_of_all_types() {
    const Bytes entries = join({{0, 1, 0, 4, 'a', 'b', 'c', 0},
                                {0, 2, 0, 4, 1, 2, 3, 4},
                                {0, 3, 0, 4, 5, 6, 7, 8},
                                {0, 4, 0, 8, 1, 2, 3, 4, 5, 6, 7, 8},
                                {0, 1, 0, 0},
                                {0, 5, 0, 8, 9, 8, 7, 6, 5, 4, 3, 2},
                                {0, 6, 0, 4, 0x3F, 0x80, 0, 1},
                                {0, 7, 0, 8, 0x3F, 0xF0, 0, 0, 0, 0, 0, 1},
                                {0, 8, 0, 1, 1},
                                {0, 1, 0, 1, 0}});
    return join({message(10, entries), {0xEE}});
}

void expect_as_reference(const Bytes &bytes) {
    ASSERT_EQ(read_message(bytes), ReferenceReader(bytes).read());
}

} // namespace

TEST(HostileMessage, EveryTruncationIsRefused) {
    Bytes bytes = message_of_all_types();
    expect_as_reference(bytes);
    ASSERT_TRUE(read_message(bytes));
    while (!bytes.empty()) {
        bytes.pop_back();
        const CountingAllocator allocator;
        EXPECT_FALSE(read_message(bytes)) << bytes.size();
        EXPECT_EQ(allocator.live_blocks(), 0U);
        expect_as_reference(bytes);
    }
}

TEST(HostileMessage, EveryChangeOfOneByteIsReadAsTheRulesSay) {
    const Bytes good = message_of_all_types();
    const CountingAllocator allocator;
    for (size_t at = 0; at < good.size(); ++at) {
        Bytes bytes = good;
        for (int change = 1; change < 256; ++change) {
            bytes[at] = static_cast<uint8_t>(good[at] + change);
            ASSERT_NO_FATAL_FAILURE(expect_as_reference(bytes)) << "byte " << at << " = " << int{bytes[at]};
            ASSERT_EQ(allocator.live_blocks(), 0U);
        }
    }
}

TEST(HostileMessage, EveryChangeOfOneByteInATruncatedMessageToo) {
    const Bytes good = message_of_all_types();
    for (size_t size = 12; size < good.size(); size += 3) {
        for (size_t at = 8; at < size; ++at) {
            Bytes bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(size));
            for (const int value : {0, 1, 2, 4, 5, 8, 9, 0x7F, 0xFF}) {
                bytes[at] = static_cast<uint8_t>(value);
                ASSERT_NO_FATAL_FAILURE(expect_as_reference(bytes)) << size << " byte " << at << " = " << value;
            }
        }
    }
}

// An entry's size decides where the next one starts, its type how many bytes are read.
TEST(HostileMessage, ASizeThatIsNotTheTypesWidth) {
    for (uint32_t type = 2; type <= 8; ++type) {
        for (uint32_t size = 1; size <= 12; ++size) {
            Bytes payload;
            for (uint32_t i = 0; i < size; ++i)
                payload.push_back(static_cast<uint8_t>(0xA1 + i));
            const Bytes first =
                join({big_endian(static_cast<uint16_t>(type)), big_endian(static_cast<uint16_t>(size)), payload});
            const Bytes bytes = message(2, join({first, {0, 3, 0, 4, 0x31, 0x32, 0x33, 0x34}}));
            ASSERT_NO_FATAL_FAILURE(expect_as_reference(bytes)) << type << " size " << size;
            const auto decoded = read_message(bytes);
            ASSERT_TRUE(decoded);
            EXPECT_EQ(decoded->params[1], (ReferenceParam{3, join({host_order(0x31323334U), zeros(4)})}));
        }
    }
}

TEST(HostileMessage, AnInt32OfSizeTwoTakesTwoBytesOfTheNextEntry) {
    const auto decoded = read_message(message(2, {0, 2, 0, 2, 0xAA, 0xBB, 0, 3, 0, 4, 1, 2, 3, 4}));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->params[0], (ReferenceParam{2, join({host_order(0xAABB0003U), zeros(4)})}));
    EXPECT_EQ(decoded->params[1], (ReferenceParam{3, join({host_order(0x01020304U), zeros(4)})}));
}

TEST(HostileMessage, BytesBeyondTheBufferCountAsZero) {
    const struct {
        Bytes entry;
        Bytes value;
    } rows[] = {
        {{0, 2, 0, 2, 0xAA, 0xBB}, join({host_order(0xAABB0000U), zeros(4)})},
        {{0, 3, 0, 1, 0xAA, 0xBB}, join({host_order(0xAABB0000U), zeros(4)})},
        {{0, 3, 0, 1, 0xAA, 0xBB, 0xCC}, join({host_order(0xAABBCC00U), zeros(4)})},
        {{0, 4, 0, 2, 0xAA, 0xBB}, host_order(uint64_t{0xAABB000000000000})},
        {{0, 5, 0, 7, 1, 2, 3, 4, 5, 6, 7}, host_order(uint64_t{0x0102030405060700})},
        {{0, 6, 0, 2, 0xAA, 0xBB}, {0xAA, 0xBB, 0, 0, 0, 0, 0, 0}},
        {{0, 7, 0, 3, 0xAA, 0xBB, 0xCC}, {0xAA, 0xBB, 0xCC, 0, 0, 0, 0, 0}},
    };
    for (const auto &row : rows) {
        const auto decoded = read_message(message(1, row.entry));
        ASSERT_TRUE(decoded);
        EXPECT_EQ(decoded->params[0].value, row.value);
    }
}

TEST(HostileMessage, RandomBytesBehindAGoodHeader) {
    std::mt19937 random(20240607);
    const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
    for (int round = 0; round < 20000; ++round) {
        Bytes entries;
        const uint32_t count = below(6);
        for (uint32_t i = 0; i < count; ++i) {
            const Bytes head = {0, static_cast<uint8_t>(below(10)), 0, static_cast<uint8_t>(below(11))};
            entries.insert(entries.end(), head.begin(), head.end());
            for (uint32_t j = below(11); j > 0; --j)
                entries.push_back(below(3) == 0 ? uint8_t{0} : static_cast<uint8_t>(below(12)));
        }
        ASSERT_NO_FATAL_FAILURE(expect_as_reference(message(count, entries)));
    }
}
