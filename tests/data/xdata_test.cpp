// SPDX-License-Identifier: MIT
// Making, setting and releasing values. Copying and comparing have files of their own.
#include "data/xdata_fixture.h"
#include "support/counting_allocator.h"
#include "support/death.h"
#include "support/log_capture.h"

#include <limits>

using namespace xdata_test;

namespace {

TEST(XdataNew, StringCopiesTheTextWithItsTerminator) {
    const CountingAllocator allocator;
    {
        char text[] = "abc";
        const Value x(xdata_new(XDATA_STRING, text));
        EXPECT_EQ(x->type, XDATA_STRING);
        EXPECT_EQ(x->value.s.len, 4U);
        EXPECT_NE(x->value.s.str, text);
        EXPECT_EQ(memcmp(x->value.s.str, "abc", 4), 0);
        EXPECT_EQ(allocator.size_of(x->value.s.str), 4U);
        EXPECT_EQ(allocator.size_of(x.get()), sizeof(xdata));
        const Value empty(xdata_new(XDATA_STRING, ""));
        EXPECT_EQ(empty->value.s.len, 1U);
        EXPECT_STREQ(empty->value.s.str, "");
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XdataNew, ScalarsCopyTheirNativeForm) {
    const CountingAllocator allocator;
    EXPECT_EQ(make<int32_t>(XDATA_INT32, INT32_MIN)->value.i32, INT32_MIN);
    EXPECT_EQ(make<uint32_t>(XDATA_UINT32, UINT32_MAX)->value.u32, UINT32_MAX);
    EXPECT_EQ(make<int64_t>(XDATA_INT64, INT64_MIN)->value.i64, INT64_MIN);
    EXPECT_EQ(make<uint64_t>(XDATA_UINT64, UINT64_MAX)->value.u64, UINT64_MAX);
    EXPECT_EQ(make<float>(XDATA_FLOAT, 1.5F)->value.f, 1.5F);
    EXPECT_EQ(make<double>(XDATA_DOUBLE, -0.1)->value.d, -0.1);
    for (const uint8_t flag : std::initializer_list<uint8_t>{0, 1, 2, 255})
        EXPECT_EQ(make<uint8_t>(XDATA_BOOLEAN, flag)->value.b, flag);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XdataNew, TakesExactlyTheBytesOfTheTypeAndLeavesTheRestZero) {
    std::vector<Width> rows(std::begin(kScalars), std::end(kScalars));
    rows.push_back({XDATA_TYPE_END, 0});
    for (const Width &row : rows) {
        SCOPED_TRACE(row.type);
        // An odd address, and nothing behind the value's own bytes.
        const std::unique_ptr<char[]> block(new char[1 + row.bytes]);
        memset(block.get(), 0xEE, 1 + row.bytes);
        const Value x(xdata_new(row.type, block.get() + 1));
        EXPECT_EQ(x->type, row.type);
        char expected[sizeof(xdata_value)] = {};
        memset(expected, 0xEE, row.bytes);
        EXPECT_EQ(memcmp(&x->value, expected, sizeof expected), 0);
    }
}

TEST(XdataNew, Type9IsARecordOfZeros) {
    const Value x(xdata_new(9, "ignored"));
    EXPECT_EQ(x->type, 9U);
    const xdata_value zero = {};
    EXPECT_EQ(memcmp(&x->value, &zero, sizeof zero), 0);
}

TEST(XdataNew, RefusesNullAndOtherTypesWithoutACall) {
    const CountingAllocator allocator;
    const uint64_t number = 0;
    for (xdata_type type = 0; type <= 10; ++type)
        EXPECT_EQ(xdata_new(type, nullptr), nullptr);
    for (const xdata_type type : {0U, 10U, 11U, 256U + 1U, 0x80000001U, UINT32_MAX})
        EXPECT_EQ(xdata_new(type, &number), nullptr) << type;
    EXPECT_EQ(allocator.allocations(), 0U);
}

TEST(XdataChar, CopiesTheText) {
    const CountingAllocator allocator;
    {
        const Value x = make_text("hello");
        EXPECT_EQ(x->type, XDATA_STRING);
        EXPECT_EQ(x->value.s.len, 6U);
        EXPECT_STREQ(x->value.s.str, "hello");
        EXPECT_EQ(make_text("")->value.s.len, 1U);
    }
    EXPECT_EQ(xdata_char(nullptr), nullptr);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XdataString, CopiesExactlyLenBytes) {
    CountingAllocator allocator;
    char text[] = "abcdef";
    const xstring s = {text, 3};
    xdata *const x = xdata_string(&s);
    EXPECT_EQ(x->type, XDATA_STRING);
    EXPECT_EQ(x->value.s.len, 3U);
    EXPECT_EQ(allocator.size_of(x->value.s.str), 3U);
    EXPECT_EQ(memcmp(x->value.s.str, "abc", 3), 0);
    xdata_free(x);
    allocator.release_live();
    EXPECT_EQ(xdata_string(nullptr), nullptr);
}

TEST(XdataString, LosesOneHolderRecordACall) {
    CountingAllocator allocator;
    char text[] = "abc";
    const xstring s = {text, 4};
    for (size_t calls = 1; calls <= 3; ++calls) {
        xdata_free(xdata_string(&s));
        EXPECT_EQ(allocator.live_blocks(), calls);
        EXPECT_EQ(allocator.live_bytes(), calls * sizeof(xstring));
    }
    EXPECT_EQ(allocator.release_live(), 3U);
}

TEST(XdataString, ANullOrEmptyBuffer) {
    CountingAllocator allocator;
    allocator.null_for_empty(true);
    const xstring no_buffer = {nullptr, 2};
    xdata *const zeros = xdata_string(&no_buffer);
    EXPECT_EQ(zeros->value.s.len, 2U);
    EXPECT_EQ(memcmp(zeros->value.s.str, "\0\0", 2), 0);
    char text[] = "abc";
    const xstring no_length = {text, 0};
    xdata *const empty = xdata_string(&no_length);
    EXPECT_EQ(empty->value.s.len, 0U);
    EXPECT_NE(empty->value.s.str, nullptr);
    xdata_free(zeros);
    xdata_free(empty);
    allocator.release_live();
}

TEST(XdataSet, StoresTypeAndValueOverWhateverWasThere) {
    xdata x = filled(XDATA_BOOLEAN, 0xEE);
    xdata_set_int32(&x, -5);
    EXPECT_EQ(x.type, XDATA_INT32);
    EXPECT_EQ(x.value.i32, -5);
    xdata_set_uint32(&x, UINT32_MAX);
    EXPECT_EQ(x.type, XDATA_UINT32);
    EXPECT_EQ(x.value.u32, UINT32_MAX);
    xdata_set_int64(&x, INT64_MIN);
    EXPECT_EQ(x.type, XDATA_INT64);
    EXPECT_EQ(x.value.i64, INT64_MIN);
    xdata_set_uint64(&x, UINT64_MAX);
    EXPECT_EQ(x.type, XDATA_UINT64);
    EXPECT_EQ(x.value.u64, UINT64_MAX);
    xdata_set_float(&x, -2.25F);
    EXPECT_EQ(x.type, XDATA_FLOAT);
    EXPECT_EQ(x.value.f, -2.25F);
    xdata_set_double(&x, 1e300);
    EXPECT_EQ(x.type, XDATA_DOUBLE);
    EXPECT_EQ(x.value.d, 1e300);
}

TEST(XdataSet, StringTakesTheBufferOverWithTheLengthAsPassed) {
    const CountingAllocator allocator;
    auto *const x = static_cast<xdata *>(xmalloc0(sizeof(xdata)));
    char *const text = xstrdup("abc");
    xdata_set_string(x, text, 77);
    EXPECT_EQ(x->type, XDATA_STRING);
    EXPECT_EQ(x->value.s.str, text);
    EXPECT_EQ(x->value.s.len, 77U);
    EXPECT_EQ(allocator.allocations(), 2U);
    xdata_free(x);
    EXPECT_EQ(allocator.live_blocks(), 0U) << "the value owns it now";
    xdata none = filled(XDATA_INT32, 0xEE);
    xdata_set_string(&none, nullptr, 5);
    EXPECT_EQ(none.value.s.str, nullptr);
    EXPECT_EQ(none.value.s.len, 5U);
}

TEST(XdataSet, DoesNotReleaseAnEarlierString) {
    const CountingAllocator allocator;
    const Value x = make_text("abc");
    char *const earlier = x->value.s.str;
    xdata_set_int32(x.get(), 1);
    EXPECT_TRUE(allocator.is_live(earlier));
    EXPECT_EQ(allocator.release_calls(), 0U);
    _xfree(earlier);
}

TEST(XdataSetBoolean, StoresADoubleOverTheWholeValue) {
    for (const unsigned char flag : std::initializer_list<unsigned char>{0, 1}) {
        xdata x = filled(XDATA_INT32, 0xEE);
        xdata_set_boolean(&x, flag);
        EXPECT_EQ(x.type, XDATA_BOOLEAN);
        const double stored = flag;
        EXPECT_EQ(memcmp(&x.value, &stored, sizeof stored), 0);
    }
}

TEST(XdataSetBoolean, ReadsAsFalseOnLittleEndianMachines) {
    xdata x = filled(XDATA_INT32, 0xEE);
    xdata_set_boolean(&x, 1);
    if (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__) {
        EXPECT_EQ(x.value.b, 0);
        EXPECT_EQ(text_of(&x), "false");
        const uint8_t no = 0;
        const Value made(xdata_new(XDATA_BOOLEAN, &no));
        EXPECT_EQ(xdata_cmp(&x, made.get()), 0);
    } else {
        EXPECT_EQ(text_of(&x), "true");
    }
    xdata_set_boolean(&x, 0);
    EXPECT_EQ(text_of(&x), "false");
}

TEST(XdataFree, TakesNullAndStringsWithoutBuffer) {
    const CountingAllocator allocator;
    xdata_free(nullptr);
    auto *const x = static_cast<xdata *>(xmalloc0(sizeof(xdata)));
    x->type = XDATA_STRING;
    x->value.s.len = 5;
    xdata_free(x);
    EXPECT_EQ(allocator.live_blocks(), 0U);
    EXPECT_EQ(allocator.release_calls(), 1U);
}

TEST(XdataFree, TakesScalarsForNoPointers) {
    const CountingAllocator allocator;
    for (xdata_type type = 2; type <= 9; ++type) {
        auto *const x = static_cast<xdata *>(xmalloc(sizeof(xdata)));
        *x = filled(type, 0xEE);
        xdata_free(x);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
    EXPECT_EQ(allocator.release_calls(), 8U);
}

TEST(XdataDeathTest, MakingValuesAbortsWithoutMemory) {
    expect_abort_at_every_allocation([] { xdata_free(xdata_new(XDATA_STRING, "abc")); });
    expect_abort_at_every_allocation([] {
        const int32_t number = 4;
        xdata_free(xdata_new(XDATA_INT32, &number));
    });
    expect_abort_at_every_allocation([] { xdata_free(xdata_char("abc")); });
    expect_abort_at_every_allocation([] {
        char text[] = "abc";
        const xstring s = {text, 4};
        xdata_free(xdata_string(&s));
    });
}

TEST(XdataNew, AllocationCounts) {
    EXPECT_EQ(count_allocations([] { xdata_free(xdata_new(XDATA_STRING, "abc")); }), 2U);
    EXPECT_EQ(count_allocations([] { xdata_free(xdata_char("abc")); }), 2U);
    EXPECT_EQ(count_allocations([] { make<double>(XDATA_DOUBLE, 1); }), 1U);
}

} // namespace
