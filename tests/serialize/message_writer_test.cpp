// SPDX-License-Identifier: MIT
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "values.h"

#include <varnel/serialize.h>

namespace {

Bytes written(uint32_t control, const Params &params) {
    uint8_t *block = nullptr;
    const uint32_t length = xserialize_message(&block, control, params.array());
    Bytes bytes(block, block + length);
    _xfree(block);
    return bytes;
}

struct EntryRow {
    const char *name;
    xdata value;
    Bytes entry;
};

std::vector<EntryRow> scalar_entries() {
    return {
        {"int32", scalar(XDATA_INT32, int32_t{-2}), {0, 2, 0, 4, 0xFF, 0xFF, 0xFF, 0xFE}},
        {"uint32", scalar(XDATA_UINT32, 0x81020304U), {0, 3, 0, 4, 0x81, 2, 3, 4}},
        {"int64", scalar(XDATA_INT64, int64_t{-2}), {0, 4, 0, 8, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}},
        {"uint64", scalar(XDATA_UINT64, uint64_t{0x0102030405060708}), {0, 5, 0, 8, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"float", scalar(XDATA_FLOAT, 0x3F800000U), join({{0, 6, 0, 4}, host_order(0x3F800000U)})},
        {"float signalling NaN", scalar(XDATA_FLOAT, 0x7FA00001U), join({{0, 6, 0, 4}, host_order(0x7FA00001U)})},
        {"double", scalar(XDATA_DOUBLE, uint64_t{0x3FF8000000000001}),
         join({{0, 7, 0, 8}, host_order(uint64_t{0x3FF8000000000001})})},
        {"double signalling NaN", scalar(XDATA_DOUBLE, uint64_t{0x7FF4000000000001}),
         join({{0, 7, 0, 8}, host_order(uint64_t{0x7FF4000000000001})})},
        {"boolean", scalar(XDATA_BOOLEAN, uint8_t{1}), {0, 8, 0, 1, 1}},
        {"boolean byte as stored", scalar(XDATA_BOOLEAN, uint8_t{0xC8}), {0, 8, 0, 1, 0xC8}},
    };
}

} // namespace

TEST(MessageWriter, AMessageWithoutParametersIsTwelveBytes) {
    EXPECT_EQ(written(control_get, {}),
              (Bytes{0x06, 0x72, 0x00, 0x04, 0x00, 0x00, 0x00, 0x0C, 0x00, 0x00, 0x00, 0x00}));
}

TEST(MessageWriter, WritesEveryControlCodeFrom1To16) {
    for (uint16_t control = 1; control <= 16; ++control)
        EXPECT_EQ(written(control, {}), message(control, 0, {}));
}

TEST(MessageWriter, WritesEveryScalarType) {
    for (const EntryRow &row : scalar_entries()) {
        Params params;
        params.add(row.value);
        EXPECT_EQ(written(control_set, params), message(3, 1, row.entry)) << row.name;
    }
}

TEST(MessageWriter, FloatsTravelInTheWritersOrder) {
    const Bytes little = {0x00, 0x06, 0x00, 0x04, 0x00, 0x00, 0x80, 0x3F};
    const Bytes big = {0x00, 0x06, 0x00, 0x04, 0x3F, 0x80, 0x00, 0x00};
    Params params;
    params.add(scalar(XDATA_FLOAT, 0x3F800000U));
    EXPECT_EQ(written(control_set, params), message(3, 1, std::endian::native == std::endian::little ? little : big));
}

TEST(MessageWriter, WritesStringsAsStored) {
    const Bytes rows[] = {{'a', 'b', 0}, {'a', 'b'}, {}, {0}, {0x80, 0, 0xFF, 0}, Bytes(65534, 'x'), Bytes(65535, 'y')};
    for (const Bytes &bytes : rows) {
        Params params;
        params.add_string(bytes);
        const Bytes entry = join({{0, 1}, big_endian(static_cast<uint16_t>(bytes.size())), bytes});
        EXPECT_EQ(written(control_set, params), message(3, 1, entry)) << bytes.size();
    }
}

TEST(MessageWriter, OnlyTheLow16BitsOfALongStringsLengthReachItsSizeButAllItsBytesTheMessage) {
    for (const size_t length : {size_t{65536}, size_t{65537}, size_t{65536 + 500}, size_t{200000}}) {
        const Bytes bytes(length, 'z');
        Params params;
        params.add_string(bytes).add(scalar(XDATA_BOOLEAN, uint8_t{1}));
        const Bytes entries =
            join({{0, 1}, big_endian(static_cast<uint16_t>(length & 0xFFFF)), bytes, {0, 8, 0, 1, 1}});
        EXPECT_EQ(written(control_set, params), message(3, 2, entries)) << length;
    }
}

TEST(MessageWriter, AStringWithoutBytesButWithALengthIsZeros) {
    xdata x = {};
    x.type = XDATA_STRING;
    x.value.s = {nullptr, 3};
    Params params;
    params.add(x).add_text("b");
    EXPECT_EQ(written(control_set, params), message(3, 2, {0, 1, 0, 3, 0, 0, 0, 0, 1, 0, 2, 'b', 0}));
}

TEST(MessageWriter, WritesParametersBackToBackInOrder) {
    Params params;
    params.add_text("group").add(scalar(XDATA_BOOLEAN, uint8_t{0})).add(scalar(XDATA_INT32, int32_t{7})).add_string({});
    const Bytes entries = {0, 1, 0, 6, 'g', 'r', 'o', 'u', 'p', 0, 0, 8, 0, 1, 0, 0, 2, 0, 4, 0, 0, 0, 7, 0, 1, 0, 0};
    EXPECT_EQ(written(control_other, params), message(16, 4, entries));
}

TEST(MessageWriter, ReturnsTheTotalLengthItWrote) {
    Params params;
    for (const EntryRow &row : scalar_entries())
        params.add(row.value);
    uint8_t *block = nullptr;
    const uint32_t length = xserialize_message(&block, control_list, params.array());
    EXPECT_EQ(length, 12U + 8 + 8 + 12 + 12 + 8 + 8 + 12 + 12 + 5 + 5);
    EXPECT_EQ(get_xmessage_size(block, length), length);
    _xfree(block);
}

TEST(MessageWriter, ReadsTheParametersWithoutConsumingThem) {
    Params params;
    params.add_text("name").add(scalar(XDATA_UINT64, uint64_t{9}));
    const Bytes first = written(control_set, params);
    EXPECT_EQ(written(control_set, params), first);
    EXPECT_EQ(params.array()->count, 2);
    EXPECT_STREQ(params.values()[0].value.s.str, "name");
    EXPECT_EQ(params.values()[1].value.u64, 9U);
}

TEST(MessageWriter, TakesAtMost4096Parameters) {
    Params params;
    for (int i = 0; i < 4096; ++i)
        params.add(scalar(XDATA_BOOLEAN, static_cast<uint8_t>(i & 1)));
    Bytes entries;
    for (int i = 0; i < 4096; ++i)
        entries.insert(entries.end(), {0, 8, 0, 1, static_cast<uint8_t>(i & 1)});
    EXPECT_EQ(written(control_set, params), message(3, 4096, entries));

    params.add(scalar(XDATA_BOOLEAN, uint8_t{0}));
    uint8_t sentinel = 0;
    uint8_t *block = &sentinel;
    errno = 0;
    const CountingAllocator allocator;
    EXPECT_EQ(xserialize_message(&block, control_set, params.array()), 0U);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(block, &sentinel);
    EXPECT_EQ(allocator.allocations(), 0U);
}

// The block starts with 12 bytes that the writer's capacity leaves out; growths ask for twice the bytes needed, and for
// 512 at least.
TEST(MessageWriter, GrowsItsBlockByTheStatedRule) {
    Params params;
    params.add(scalar(XDATA_INT32, int32_t{1}))
        .add_string(Bytes(488, 'a'))  // needs exactly 512
        .add_string({})               // 516
        .add_string(Bytes(512, 'b'))  // 1032, exactly what the last growth gave
        .add_string(Bytes(1000, 'c')) // 2036
        .add(scalar(XDATA_BOOLEAN, uint8_t{1}));
    const CountingAllocator allocator;
    uint8_t *block = nullptr;
    EXPECT_EQ(xserialize_message(&block, control_set, params.array()), 2041U);
    EXPECT_EQ(allocator.sizes(), (std::vector<size_t>{12, 512, 1032, 4072}));
    EXPECT_EQ(allocator.allocate_calls(), 1U);
    EXPECT_EQ(allocator.reallocate_calls(), 3U);
    EXPECT_TRUE(allocator.is_live(block));
    EXPECT_EQ(allocator.live_blocks(), 1U);
    _xfree(block);
}

TEST(MessageWriter, AMessageWithoutParametersIsOneAllocationOfItsSize) {
    const Params params;
    const CountingAllocator allocator;
    uint8_t *block = nullptr;
    EXPECT_EQ(xserialize_message(&block, control_sync, params.array()), 12U);
    EXPECT_EQ(allocator.sizes(), std::vector<size_t>{12});
    _xfree(block);
}
