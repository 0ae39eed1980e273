// SPDX-License-Identifier: MIT
#include "reference_reader.h"
#include "support/death.h"
#include "support/log_capture.h"

#include <cerrno>

namespace {

// A scalar's bytes as read_message reports them.
template <class T> Bytes value(T bits) {
    const Bytes bytes = host_order(bits);
    return join({bytes, zeros(8 - bytes.size())});
}

struct Row {
    const char *name;
    Bytes entries;
    std::vector<ReferenceParam> params;
};

std::vector<Row> rows() {
    return {
        {"string", {0, 1, 0, 3, 'a', 'b', 0}, {{1, {'a', 'b', 0}}}},
        {"string of two bytes", {0, 1, 0, 2, 0xFF, 0}, {{1, {0xFF, 0}}}},
        {"string with a zero inside", {0, 1, 0, 3, 0, 'b', 0}, {{1, {0, 'b', 0}}}},
        {"int32", {0, 2, 0, 4, 0xFF, 0xFF, 0xFF, 0xFE}, {{2, value(0xFFFFFFFEU)}}},
        {"uint32", {0, 3, 0, 4, 0x81, 2, 3, 4}, {{3, value(0x81020304U)}}},
        {"int64", {0, 4, 0, 8, 0x80, 0, 0, 0, 0, 0, 0, 1}, {{4, value(uint64_t{0x8000000000000001})}}},
        {"uint64", {0, 5, 0, 8, 1, 2, 3, 4, 5, 6, 7, 8}, {{5, value(uint64_t{0x0102030405060708})}}},
        {"float", join({{0, 6, 0, 4}, host_order(0x7FA00001U)}), {{6, value(0x7FA00001U)}}},
        {"double",
         join({{0, 7, 0, 8}, host_order(uint64_t{0x7FF4000000000001})}),
         {{7, value(uint64_t{0x7FF4000000000001})}}},
        {"boolean and empty string",
         {0, 8, 0, 1, 1, 0, 1, 0, 0, 0, 8, 0, 1, 0xC8, 0, 1, 0, 2, 'x', 0},
         {{8, value(uint8_t{1})}, {1, {}}, {8, value(uint8_t{0xC8})}, {1, {'x', 0}}}},
    };
}

} // namespace

TEST(MessageReader, DecodesEveryTypeFromAnyAddress) {
    for (const Row &row : rows()) {
        const Bytes bytes = message(control_status, static_cast<uint32_t>(row.params.size()), row.entries);
        for (size_t misalignment = 0; misalignment < 8; ++misalignment)
            EXPECT_EQ(read_message(bytes, misalignment), (ReferenceMessage{control_status, row.params})) << row.name;
    }
}

TEST(MessageReader, DecodesWhatTheWriterWrites) {
    Params params;
    params.add_text("group:name").add(scalar(XDATA_INT32, int32_t{-5})).add(scalar(XDATA_UINT32, 5U));
    params.add(scalar(XDATA_INT64, INT64_MIN)).add(scalar(XDATA_UINT64, UINT64_MAX)).add_string({});
    params.add(scalar(XDATA_FLOAT, 0x40490FDBU)).add(scalar(XDATA_DOUBLE, uint64_t{0x400921FB54442D18}));
    params.add(scalar(XDATA_BOOLEAN, uint8_t{1})).add_string(join({Bytes(65534, 'x'), {0}}));
    for (uint32_t control = 1; control <= 16; ++control) {
        uint8_t *block = nullptr;
        const uint32_t length = xserialize_message(&block, control, params.array());
        uint32_t read_control = 0;
        xdata *records = nullptr;
        ASSERT_EQ(xdeserialize_message(block, length, &read_control, &records), 10);
        EXPECT_EQ(read_control, control);
        for (size_t i = 0; i < 10; ++i) {
            EXPECT_EQ(xdata_cmp(&records[i], &params.values()[i]), 0) << i;
            if (records[i].type == XDATA_STRING)
                _xfree(records[i].value.s.str);
        }
        _xfree(records);
        _xfree(block);
    }
}

TEST(MessageReader, AMessageWithoutParametersHasNoRecordsAndNoAllocation) {
    const Bytes bytes = message(control_sync, 0, {});
    const CountingAllocator allocator;
    EXPECT_EQ(read_message(bytes), (ReferenceMessage{control_sync, {}}));
    EXPECT_EQ(allocator.allocations(), 0U);
}

TEST(MessageReader, HeadersThatAreRefused) {
    const Bytes good = message(control_get, 0, {});
    for (size_t size = 0; size < 12; ++size)
        EXPECT_FALSE(read_message(Bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(size)))) << size;
    for (const uint32_t control : {0U, 17U, 18U, 256U, 0xFFFFU})
        EXPECT_FALSE(read_message(message(static_cast<uint16_t>(control), 0, {}))) << control;
    for (const uint32_t count : {4097U, 65536U, 0x80000000U, UINT32_MAX})
        EXPECT_FALSE(read_message(message(control_get, count, zeros(40000)))) << count;
    for (const size_t at : {size_t{0}, size_t{1}}) {
        Bytes bad = good;
        bad[at] = static_cast<uint8_t>(bad[at] + 1);
        EXPECT_FALSE(read_message(bad));
    }
    Bytes swapped = good;
    std::swap(swapped[0], swapped[1]);
    EXPECT_FALSE(read_message(swapped));
}

TEST(MessageReader, NoBufferIsMalformed) {
    uint32_t control = 0;
    xdata *params = nullptr;
    errno = 0;
    EXPECT_EQ(xdeserialize_message(nullptr, 0, &control, &params), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(MessageReader, TheTotalLengthIsNotComparedWithTheSize) {
    for (const uint32_t total : {0U, 11U, 12U, 18U, 19U, 20U, UINT32_MAX}) {
        Bytes bytes = message(control_get, 1, {0, 1, 0, 3, 'a', 'b', 0});
        const Bytes field = big_endian(total);
        std::copy(field.begin(), field.end(), bytes.begin() + 4);
        EXPECT_EQ(read_message(bytes), (ReferenceMessage{control_get, {{1, {'a', 'b', 0}}}})) << total;
    }
}

TEST(MessageReader, BytesBehindTheLastParameterAreIgnored) {
    const Bytes bytes = message(control_get, 1, {0, 1, 0, 3, 'a', 'b', 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(read_message(bytes), (ReferenceMessage{control_get, {{1, {'a', 'b', 0}}}}));
}

// Six bytes must remain from the start of an entry, though the smallest entries are shorter.
TEST(MessageReader, ShortLastEntriesNeedSpareBytes) {
    const struct {
        Bytes entry;
        size_t spare_needed;
    } short_entries[] = {
        {{0, 1, 0, 0}, 2},         {{0, 8, 0, 1, 1}, 1},    {{0, 1, 0, 1, 0}, 1},
        {{0, 1, 0, 2, 'a', 0}, 0}, {{0, 8, 0, 2, 1, 1}, 0},
    };
    for (const auto &row : short_entries)
        for (size_t spare = 0; spare < 4; ++spare)
            for (const bool after_another : {false, true}) {
                const Bytes before = after_another ? Bytes{0, 1, 0, 2, 'a', 0} : Bytes{};
                const Bytes bytes = message(1, after_another ? 2 : 1, join({before, row.entry, Bytes(spare, 0xEE)}));
                EXPECT_EQ(read_message(bytes).has_value(), spare >= row.spare_needed) << spare;
            }
}

TEST(MessageReader, TypesOutside1To8AreRefused) {
    for (const uint32_t type : {0U, 9U, 10U, 0x0100U, 0x0801U, 0xFFFFU})
        for (const uint32_t size : {0U, 1U, 4U, 8U})
            EXPECT_FALSE(read_message(message(
                1, 1,
                join({big_endian(static_cast<uint16_t>(type)), big_endian(static_cast<uint16_t>(size)), zeros(8)}))))
                << type;
}

TEST(MessageReader, OnlyStringsMayHaveNoBytes) {
    for (uint8_t type = 1; type <= 8; ++type)
        EXPECT_EQ(read_message(message(1, 1, {0, type, 0, 0, 0, 0, 0, 0})).has_value(), type == 1) << int{type};
}

TEST(MessageReader, AStringEndsWithAZeroByte) {
    EXPECT_FALSE(read_message(message(1, 1, {0, 1, 0, 2, 'a', 'b', 0})));
    EXPECT_FALSE(read_message(message(1, 1, {0, 1, 0, 1, 'a', 0})));
    EXPECT_TRUE(read_message(message(1, 1, {0, 1, 0, 1, 0, 'a'})));
    Params params; // as a writer that does not count the terminator produces it
    params.add_string({'a', 'b', 'c'});
    uint8_t *block = nullptr;
    const uint32_t length = xserialize_message(&block, control_set, params.array());
    EXPECT_FALSE(read_message(Bytes(block, block + length)));
    _xfree(block);
}

TEST(MessageReader, AnEntryMayEndWithTheBufferButNotBehindIt) {
    for (const size_t size : {size_t{2}, size_t{3}, size_t{255}, size_t{256}, size_t{65535}}) {
        Bytes bytes = message(1, 1, join({{0, 1}, big_endian(static_cast<uint16_t>(size)), zeros(size)}));
        EXPECT_TRUE(read_message(bytes)) << size;
        bytes.pop_back();
        EXPECT_FALSE(read_message(bytes)) << size;
    }
}

TEST(MessageReader, Takes4096Parameters) {
    Bytes entries;
    for (uint32_t i = 0; i < 4097; ++i) {
        const Bytes entry = join({{0, 3, 0, 4}, big_endian(i)});
        entries.insert(entries.end(), entry.begin(), entry.end());
    }
    const auto decoded = read_message(message(control_list, 4096, entries));
    ASSERT_TRUE(decoded);
    ASSERT_EQ(decoded->params.size(), 4096U);
    for (uint32_t i = 0; i < 4096; ++i)
        ASSERT_EQ(decoded->params[i].value, value(i));
    EXPECT_FALSE(read_message(message(control_list, 4097, entries)));
}

TEST(MessageReader, StringRecordsAreIndependentOfTheBuffer) {
    Bytes bytes = message(1, 1, {0, 1, 0, 3, 'a', 'b', 0});
    uint32_t control = 0;
    xdata *params = nullptr;
    ASSERT_EQ(xdeserialize_message(bytes.data(), static_cast<uint32_t>(bytes.size()), &control, &params), 1);
    std::fill(bytes.begin(), bytes.end(), uint8_t{'#'});
    EXPECT_STREQ(params[0].value.s.str, "ab");
    _xfree(params[0].value.s.str);
    _xfree(params);
}

TEST(MessageReader, OneAllocationForTheRecordsAndOneAString) {
    const Bytes bytes =
        message(1, 4, {0, 1, 0, 3, 'a', 'b', 0, 0, 1, 0, 0, 0, 2, 0, 4, 0, 0, 0, 1, 0, 1, 0, 2, 'c', 0});
    const CountingAllocator allocator;
    EXPECT_TRUE(read_message(bytes));
    EXPECT_EQ(allocator.sizes(), (std::vector<size_t>{4 * sizeof(xdata), 3, 2}));
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(MessageReader, WhatWasDecodedBeforeAFaultIsReleased) {
    const Bytes strings = {0, 1, 0, 3, 'a', 'b', 0, 0, 1, 0, 0, 0, 1, 0, 2, 'c', 0, 0, 3, 0, 4, 'd', 'e', 'f', 'g'};
    const Bytes faults[] = {{0, 0, 0, 1, 0, 0}, {0, 9, 0, 2, 0, 0},   {0, 2, 0, 0, 0, 0},
                            {0, 1, 0, 9, 0, 0}, {0, 1, 0, 2, 0, 'x'}, {0, 8, 0, 1, 1}};
    for (const Bytes &fault : faults) {
        const CountingAllocator allocator;
        EXPECT_FALSE(read_message(message(1, 5, join({strings, fault}))));
        EXPECT_EQ(allocator.live_blocks(), 0U);
    }
}

TEST(MessageReader, NothingIsLogged) {
    const LogCapture capture;
    EXPECT_FALSE(read_message(message(0, 0, {})));
    EXPECT_FALSE(read_message(message(1, 1, {0, 9, 0, 4, 0, 0, 0, 0})));
    EXPECT_TRUE(read_message(message(1, 0, {})));
    EXPECT_TRUE(capture.lines().empty());
}

// An entry of two bytes, one that is not terminated included: its bytes are copied before they are looked at.
TEST(MessageReader, RefusedStringIsNoMemory) {
    for (const uint8_t last : {uint8_t{0}, uint8_t{'d'}}) {
        const Bytes bytes = message(1, 2, {0, 1, 0, 3, 'a', 'b', 0, 0, 1, 0, 2, 'c', last});
        for (const size_t n : {2U, 3U}) {
            CountingAllocator allocator;
            allocator.fail_at(n);
            uint32_t control = 77;
            xdata *params = nullptr;
            errno = 0;
            EXPECT_EQ(xdeserialize_message(bytes.data(), static_cast<uint32_t>(bytes.size()), &control, &params), -1);
            EXPECT_EQ(errno, ENOMEM);
            EXPECT_EQ(control, 77U);
            EXPECT_EQ(params, nullptr);
            EXPECT_EQ(allocator.live_blocks(), 0U);
        }
    }
}

TEST(MessageReader, AStringThatIsRefusedMemoryGivesENOMEMAndLeavesNothing) {
    const Bytes bytes = message(1, 4, {0, 1, 0, 3, 'a', 'b', 0, 0, 1, 0, 0, 0, 1, 0, 2, 'c', 0, 0, 1, 0, 2, 'd', 0});
    for (size_t n = 2; n <= 4; ++n) { // after the records
        CountingAllocator allocator;
        allocator.fail_at(n);
        uint32_t control = 77;
        xdata untouched = {};
        xdata *params = &untouched;
        errno = 0;
        EXPECT_EQ(xdeserialize_message(bytes.data(), static_cast<uint32_t>(bytes.size()), &control, &params), -1);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_EQ(control, 77U);
        EXPECT_EQ(params, &untouched);
        EXPECT_EQ(allocator.allocations(), n);
        EXPECT_EQ(allocator.live_blocks(), 0U);
    }
}

TEST(MessageReaderDeathTest, TheRecordsCannotBeDoneWithout) {
    const Bytes bytes = message(1, 1, {0, 2, 0, 4, 0, 0, 0, 1});
    expect_abort_at_every_allocation([&] { read_message(bytes); });
}

TEST(MessageSize, IsTheHeadersTotalLength) {
    for (const uint32_t total : {12U, 13U, 65536U, 0x80000000U, UINT32_MAX}) {
        const ExactBlock block(join({{0x06, 0x72, 0, 1}, big_endian(total), zeros(4)}), 1);
        EXPECT_EQ(get_xmessage_size(block.data(), 12), total);
        EXPECT_EQ(get_xmessage_size(block.data(), UINT32_MAX), total);
    }
}

TEST(MessageSize, IsZeroWithoutAWholeHeader) {
    const Bytes header = message(1, 0, {});
    for (uint32_t size = 0; size < 12; ++size) {
        const ExactBlock block(Bytes(header.begin(), header.begin() + static_cast<ptrdiff_t>(size)));
        EXPECT_EQ(get_xmessage_size(block.data(), size), 0U);
    }
    EXPECT_EQ(get_xmessage_size(nullptr, 0), 0U);
}

TEST(MessageSize, IsZeroBelowTwelve) {
    for (uint32_t total = 0; total < 12; ++total) {
        const Bytes header = join({{0x06, 0x72, 0, 1}, big_endian(total), zeros(4)});
        EXPECT_EQ(get_xmessage_size(header.data(), 12), 0U);
    }
}

TEST(MessageSize, LooksAtNothingElse) {
    const Bytes header = join({Bytes(4, 0xFF), big_endian(77U), Bytes(4, 0xFF)});
    EXPECT_EQ(get_xmessage_size(header.data(), 12), 77U);
}
