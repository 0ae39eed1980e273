// SPDX-License-Identifier: MIT
#include "data/xdata_fixture.h"
#include "support/counting_allocator.h"
#include "support/death.h"

using namespace xdata_test;

namespace {

TEST(XdataCopy, StringsHaveExactlyLenBytes) {
    const CountingAllocator allocator;
    {
        char text[] = "abcdef";
        xdata source = {};
        xdata_set_string(&source, text, 3);
        xdata copy = filled(0, 0xEE);
        EXPECT_EQ(xdata_copy(&copy, &source), &copy);
        EXPECT_EQ(copy.type, XDATA_STRING);
        EXPECT_EQ(copy.value.s.len, 3U);
        EXPECT_NE(copy.value.s.str, text);
        EXPECT_EQ(memcmp(copy.value.s.str, "abc", 3), 0);
        EXPECT_EQ(allocator.size_of(copy.value.s.str), 3U);
        _xfree(copy.value.s.str);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XdataCopy, StringsWithoutBufferOrLength) {
    CountingAllocator allocator;
    allocator.null_for_empty(true);
    xdata source = {};
    xdata_set_string(&source, nullptr, 3);
    xdata copy = {};
    ASSERT_EQ(xdata_copy(&copy, &source), &copy);
    EXPECT_EQ(copy.value.s.len, 3U);
    EXPECT_EQ(memcmp(copy.value.s.str, "\0\0\0", 3), 0);
    _xfree(copy.value.s.str);
    char text[] = "abc";
    for (char *const buffer : {text, static_cast<char *>(nullptr)}) {
        xdata_set_string(&source, buffer, 0);
        ASSERT_EQ(xdata_copy(&copy, &source), &copy);
        EXPECT_EQ(copy.value.s.len, 0U);
        EXPECT_NE(copy.value.s.str, nullptr);
        _xfree(copy.value.s.str);
    }
}

TEST(XdataCopy, ScalarsCopyTheirBytes) {
    const CountingAllocator allocator;
    for (const Width &row : kScalars) {
        SCOPED_TRACE(row.type);
        const xdata source = filled(row.type, 0x7F);
        xdata copy = filled(XDATA_TYPE_END, 0xEE);
        EXPECT_EQ(xdata_copy(&copy, &source), &copy);
        EXPECT_EQ(copy.type, row.type);
        EXPECT_EQ(memcmp(&copy.value, &source.value, row.bytes), 0);
    }
    EXPECT_EQ(allocator.allocations(), 0U);
}

TEST(XdataCopy, NoTypeZeroesTheDestination) {
    for (const xdata_type type : kNoTypes) {
        SCOPED_TRACE(type);
        const xdata source = filled(type, 0x7F);
        xdata copy = filled(XDATA_DOUBLE, 0xEE);
        EXPECT_EQ(xdata_copy(&copy, &source), nullptr);
        const char zeros[sizeof(xdata)] = {};
        EXPECT_EQ(memcmp(&copy, zeros, sizeof zeros), 0);
    }
}

TEST(XdataCopy, NullsTouchNothing) {
    const Value x = make<int32_t>(XDATA_INT32, 5);
    EXPECT_EQ(xdata_copy(nullptr, x.get()), nullptr);
    EXPECT_EQ(xdata_copy(x.get(), nullptr), nullptr);
    EXPECT_EQ(xdata_copy(nullptr, nullptr), nullptr);
    EXPECT_EQ(x->type, XDATA_INT32);
    EXPECT_EQ(x->value.i32, 5);
}

TEST(XdataCopy, DoesNotReleaseWhatTheDestinationHeld) {
    const CountingAllocator allocator;
    const Value destination = make_text("old");
    const Value source = make_text("new");
    char *const old = destination->value.s.str;
    EXPECT_EQ(xdata_copy(destination.get(), source.get()), destination.get());
    EXPECT_TRUE(allocator.is_live(old));
    EXPECT_EQ(allocator.release_calls(), 0U);
    _xfree(old);
}

TEST(XdataCopy, OntoItself) {
    const CountingAllocator allocator;
    const Value text = make_text("abc");
    char *const old = text->value.s.str;
    EXPECT_EQ(xdata_copy(text.get(), text.get()), text.get());
    EXPECT_NE(text->value.s.str, old);
    EXPECT_STREQ(text->value.s.str, "abc");
    EXPECT_EQ(text->value.s.len, 4U);
    _xfree(old);
    const Value number = make<int64_t>(XDATA_INT64, -7);
    EXPECT_EQ(xdata_copy(number.get(), number.get()), number.get());
    EXPECT_EQ(number->value.i64, -7);
}

TEST(XdataDup, IsADeepCopy) {
    const CountingAllocator allocator;
    {
        const Value text = make_text("abc");
        const Value copy(xdata_dup(text.get()));
        EXPECT_EQ(copy->type, XDATA_STRING);
        EXPECT_NE(copy->value.s.str, text->value.s.str);
        EXPECT_STREQ(copy->value.s.str, "abc");
        EXPECT_EQ(xdata_cmp(text.get(), copy.get()), 0);
        for (const Width &row : kScalars) {
            const xdata source = filled(row.type, 0x7F);
            const Value scalar(xdata_dup(&source));
            EXPECT_EQ(scalar->type, row.type);
            char expected[sizeof(xdata_value)] = {};
            memset(expected, 0x7F, row.bytes);
            EXPECT_EQ(memcmp(&scalar->value, expected, sizeof expected), 0) << "the rest is zero";
        }
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XdataDup, NullAndNoTypeGiveNullAndLeakNothing) {
    const CountingAllocator allocator;
    EXPECT_EQ(xdata_dup(nullptr), nullptr);
    for (const xdata_type type : kNoTypes) {
        const xdata source = filled(type, 0x7F);
        EXPECT_EQ(xdata_dup(&source), nullptr);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

// Bits that a trip through a floating-point register would change on some machines.
constexpr uint32_t kFloatBits[] = {0x7F800001, 0x7FA00000, 0xFF800001, 0xFFBFFFFF, 0x7FC00001, 0x80000000, 0x00000001};
constexpr uint64_t kDoubleBits[] = {0x7FF0000000000001, 0x7FF4000000000000, 0xFFF0000000000001, 0xFFF7FFFFFFFFFFFF,
                                    0x7FF8000000000001, 0x8000000000000000, 0x0000000000000001};

template <class Bits> void expect_bits_kept(xdata_type type, Bits bits) {
    SCOPED_TRACE(testing::Message() << type << ' ' << std::hex << bits);
    const Value made(xdata_new(type, &bits));
    EXPECT_EQ(memcmp(&made->value, &bits, sizeof bits), 0);
    const Value duplicate(xdata_dup(made.get()));
    EXPECT_EQ(memcmp(&duplicate->value, &bits, sizeof bits), 0);
    xdata copy = {};
    EXPECT_EQ(xdata_copy(&copy, made.get()), &copy);
    EXPECT_EQ(memcmp(&copy.value, &bits, sizeof bits), 0);
    EXPECT_EQ(xdata_cmp(made.get(), &copy), 0);
}

TEST(XdataBits, SignallingNansAreKept) {
    for (const uint32_t bits : kFloatBits)
        expect_bits_kept(XDATA_FLOAT, bits);
    for (const uint64_t bits : kDoubleBits)
        expect_bits_kept(XDATA_DOUBLE, bits);
}

TEST(XdataCopyDeathTest, AbortsWithoutMemory) {
    expect_abort_at_every_allocation([] {
        char text[] = "abc";
        xdata source = {};
        xdata_set_string(&source, text, 4);
        xdata copy = {};
        xdata_copy(&copy, &source);
        _xfree(copy.value.s.str);
    });
    expect_abort_at_every_allocation([] {
        char text[] = "abc";
        xdata source = {};
        xdata_set_string(&source, text, 4);
        xdata_free(xdata_dup(&source));
    });
}

} // namespace
