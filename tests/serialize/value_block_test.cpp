// SPDX-License-Identifier: MIT
#include "support/counting_allocator.h"
#include "values.h"

#include <varnel/serialize.h>

#include <utility>

namespace {

struct ScalarRow {
    const char *name;
    xdata value;
    Bytes block;
};

std::vector<ScalarRow> scalar_rows() {
    const auto block = [](uint32_t type, const Bytes &payload) {
        return join({host_order(type), host_order(8U), payload, zeros(8 - payload.size())});
    };
    return {
        {"int32 5", scalar(XDATA_INT32, int32_t{5}), block(2, host_order(5U))},
        {"int32 -2", scalar(XDATA_INT32, int32_t{-2}), block(2, host_order(0xFFFFFFFEU))},
        {"uint32", scalar(XDATA_UINT32, 0x81020304U), block(3, host_order(0x81020304U))},
        {"int64", scalar(XDATA_INT64, int64_t{-3}), block(4, host_order(~uint64_t{2}))},
        {"uint64", scalar(XDATA_UINT64, uint64_t{0x8102030405060708}),
         block(5, host_order(uint64_t{0x8102030405060708}))},
        {"float 1", scalar(XDATA_FLOAT, 0x3F800000U), block(6, host_order(0x3F800000U))},
        {"float signalling NaN", scalar(XDATA_FLOAT, 0x7FA00001U), block(6, host_order(0x7FA00001U))},
        {"double 1", scalar(XDATA_DOUBLE, uint64_t{0x3FF0000000000000}),
         block(7, host_order(uint64_t{0x3FF0000000000000}))},
        {"double signalling NaN", scalar(XDATA_DOUBLE, uint64_t{0x7FF4000000000001}),
         block(7, host_order(uint64_t{0x7FF4000000000001}))},
        {"boolean true", scalar(XDATA_BOOLEAN, uint8_t{1}), block(8, {1})},
        {"boolean false", scalar(XDATA_BOOLEAN, uint8_t{0}), block(8, {0})},
        {"boolean byte as stored", scalar(XDATA_BOOLEAN, uint8_t{0xC8}), block(8, {0xC8})},
    };
}

Bytes serialized(const xdata &value) {
    uint8_t *block = nullptr;
    const uint32_t size = xserialize(&value, &block);
    Bytes bytes(block, block + size);
    _xfree(block);
    return bytes;
}

// A string's block, as it has to be.
Bytes string_block(const Bytes &bytes) {
    return join({host_order(1U), host_order(static_cast<uint32_t>(bytes.size())), bytes});
}

struct Decoded {
    explicit Decoded(const uint8_t *block, uint32_t size) : value(xdeserialize(block, size)) {}
    ~Decoded() { xdata_free(value); }
    Decoded(const Decoded &) = delete;
    Decoded &operator=(const Decoded &) = delete;
    xdata *value;
};

} // namespace

TEST(ValueBlock, ScalarsTakeSixteenBytesInHostOrder) {
    for (const ScalarRow &row : scalar_rows()) {
        EXPECT_EQ(row.block.size(), 16U);
        EXPECT_EQ(serialized(row.value), row.block) << row.name;
    }
}

TEST(ValueBlock, GoldenBytesOfBothByteOrders) {
    const bool little = std::endian::native == std::endian::little;
    const Bytes little_five = {2, 0, 0, 0, 8, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0};
    const Bytes big_five = {0, 0, 0, 2, 0, 0, 0, 8, 0, 0, 0, 5, 0, 0, 0, 0};
    EXPECT_EQ(serialized(scalar(XDATA_INT32, int32_t{5})), little ? little_five : big_five);
    const Bytes little_text = {1, 0, 0, 0, 3, 0, 0, 0, 'a', 'b', 0};
    const Bytes big_text = {0, 0, 0, 1, 0, 0, 0, 3, 'a', 'b', 0};
    Bytes ab = {'a', 'b', 0};
    EXPECT_EQ(serialized(string_value(ab)), little ? little_text : big_text);
}

TEST(ValueBlock, PaddingIsZeroWhateverTheRecordHoldsBehindTheValue) {
    xdata x = scalar(XDATA_BOOLEAN, uint64_t{0xEEEEEEEEEEEEEEEE});
    x.value.b = 1;
    EXPECT_EQ(serialized(x), join({host_order(8U), host_order(8U), {1}, zeros(7)}));
    x = scalar(XDATA_UINT32, uint64_t{0xEEEEEEEEEEEEEEEE});
    EXPECT_EQ(serialized(x), join({host_order(3U), host_order(8U), host_order(0xEEEEEEEEU), zeros(4)}));
}

TEST(ValueBlock, ScalarsComeBackBitForBitFromAnyAddress) {
    for (const ScalarRow &row : scalar_rows()) {
        for (size_t misalignment = 0; misalignment < 8; ++misalignment) {
            const ExactBlock block(row.block, misalignment);
            const Decoded decoded(block.data(), 16);
            ASSERT_NE(decoded.value, nullptr);
            EXPECT_EQ(decoded.value->type, row.value.type) << row.name;
            EXPECT_EQ(scalar_of<uint64_t>(*decoded.value), scalar_of<uint64_t>(row.value)) << row.name;
            EXPECT_EQ(xdata_cmp(decoded.value, &row.value), 0) << row.name;
        }
    }
}

TEST(ValueBlock, StringsAreCopiedAsTheyStandBothWays) {
    const Bytes rows[] = {{'a', 'b', 'c', 0}, {'a', 'b', 'c'}, {0}, {0, 0xFF, 0, 0x80, 'x'}, Bytes(70000, 0xC3), {}};
    for (Bytes bytes : rows) {
        const Bytes block_bytes = serialized(string_value(bytes));
        EXPECT_EQ(block_bytes, string_block(bytes));
        const ExactBlock block(block_bytes, 3);
        const Decoded decoded(block.data(), static_cast<uint32_t>(block_bytes.size()));
        EXPECT_EQ(decoded.value->type, static_cast<xdata_type>(XDATA_STRING));
        EXPECT_EQ(decoded.value->value.s.len, bytes.size());
        EXPECT_EQ(string_bytes(*decoded.value), bytes);
        EXPECT_NE(decoded.value->value.s.str, nullptr);
    }
}

TEST(ValueBlock, AnEmptyStringIsTheHeaderAlone) {
    Bytes empty;
    EXPECT_EQ(serialized(string_value(empty)), join({host_order(1U), host_order(0U)}));
}

TEST(ValueBlock, AStringWithoutBytesButWithALengthIsZeros) {
    xdata x = {};
    x.type = XDATA_STRING;
    x.value.s = {nullptr, 5};
    EXPECT_EQ(serialized(x), string_block(zeros(5)));
}

TEST(ValueBlock, StringsOfTheConstructorsCarryTheirTerminator) {
    xdata *const made = xdata_char("abc");
    EXPECT_EQ(serialized(*made), string_block({'a', 'b', 'c', 0}));
    xdata_free(made);
}

TEST(ValueBlock, TheSizeArgumentIsNotConsulted) {
    for (const uint32_t size : {0U, 1U, 15U, 16U, 17U, UINT32_MAX}) {
        const ExactBlock block(join({host_order(3U), host_order(8U), host_order(7U), zeros(4)}));
        const Decoded decoded(block.data(), size);
        EXPECT_EQ(decoded.value->value.u32, 7U);
    }
}

TEST(ValueBlock, TheTypeAndNotTheLengthSaysHowMuchOfAScalarIsRead) {
    const std::pair<uint32_t, size_t> widths[] = {{2, 4}, {3, 4}, {4, 8}, {5, 8}, {6, 4}, {7, 8}, {8, 1}};
    for (const auto &[type, width] : widths) {
        for (const uint32_t length : {0U, 1U, 8U, UINT32_MAX}) {
            const Bytes payload(width, 0x5A);
            const ExactBlock block(join({host_order(type), host_order(length), payload}));
            const Decoded decoded(block.data(), 16);
            uint8_t expected[8] = {};
            memset(expected, 0x5A, width);
            EXPECT_EQ(memcmp(&decoded.value->value, expected, sizeof expected), 0) << type << " length " << length;
        }
    }
}

TEST(ValueBlock, TheDecodedStringIsIndependentOfTheBlock) {
    Bytes block = string_block({'o', 'l', 'd', 0});
    const Decoded decoded(block.data(), static_cast<uint32_t>(block.size()));
    std::fill(block.begin(), block.end(), uint8_t{'#'});
    EXPECT_STREQ(decoded.value->value.s.str, "old");
}

TEST(ValueBlock, OneAllocationAWrittenBlockAndOneARecordAndOneAString) {
    Bytes text = {'a', 'b', 0};
    const xdata string = string_value(text);
    const xdata number = scalar(XDATA_INT32, int32_t{5});
    const CountingAllocator allocator;
    uint8_t *string_bytes_out = nullptr;
    uint8_t *number_bytes_out = nullptr;
    EXPECT_EQ(xserialize(&string, &string_bytes_out), 11U);
    EXPECT_EQ(xserialize(&number, &number_bytes_out), 16U);
    EXPECT_EQ(allocator.sizes(), (std::vector<size_t>{11, 16}));
    EXPECT_EQ(allocator.allocate_calls(), 2U);
    xdata *const decoded_string = xdeserialize(string_bytes_out, 11);
    EXPECT_EQ(allocator.allocate_calls(), 4U);
    EXPECT_EQ(allocator.size_of(decoded_string->value.s.str), 3U);
    xdata *const decoded_number = xdeserialize(number_bytes_out, 16);
    EXPECT_EQ(allocator.allocate_calls(), 5U);
    EXPECT_EQ(allocator.size_of(decoded_number), sizeof(xdata));
    EXPECT_EQ(allocator.allocations(), 5U);
    xdata_free(decoded_string);
    xdata_free(decoded_number);
    _xfree(string_bytes_out);
    _xfree(number_bytes_out);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(ValueBlock, AnEmptyStringNeedsNoBlockOfNoBytes) {
    CountingAllocator allocator;
    allocator.null_for_empty(true);
    Bytes empty;
    const Bytes block = serialized(string_value(empty));
    {
        const Decoded decoded(block.data(), 8);
        EXPECT_NE(decoded.value->value.s.str, nullptr);
        EXPECT_EQ(decoded.value->value.s.len, 0U);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}
