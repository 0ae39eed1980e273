// SPDX-License-Identifier: MIT
#include "data/xdata_fixture.h"
#include "support/counting_allocator.h"
#include "support/death.h"

using namespace xdata_test;

namespace {

xstring of(char *text, size_t len) {
    return {text, static_cast<uint32_t>(len)};
}

TEST(XstringCopy, AddsAZeroByteThatLenDoesNotCount) {
    const CountingAllocator allocator;
    char text[] = "abcdef";
    const xstring source = of(text, 3);
    xstring copy = {};
    EXPECT_EQ(xstring_copy(&copy, &source), &copy);
    EXPECT_EQ(copy.len, 3U);
    EXPECT_NE(copy.str, text);
    EXPECT_STREQ(copy.str, "abc");
    EXPECT_EQ(allocator.size_of(copy.str), 4U);
    _xfree(copy.str);
}

TEST(XstringCopy, CopiesZeroBytesInside) {
    char text[] = "a\0b";
    const xstring source = of(text, 3);
    xstring copy = {};
    EXPECT_EQ(xstring_copy(&copy, &source), &copy);
    EXPECT_EQ(memcmp(copy.str, "a\0b", 4), 0);
    _xfree(copy.str);
}

TEST(XstringCopy, NullsTouchNothing) {
    char text[] = "abc";
    xstring s = of(text, 4);
    EXPECT_EQ(xstring_copy(nullptr, &s), nullptr);
    EXPECT_EQ(xstring_copy(&s, nullptr), nullptr);
    EXPECT_EQ(xstring_copy(nullptr, nullptr), nullptr);
    EXPECT_EQ(s.str, text);
    EXPECT_EQ(s.len, 4U);
}

TEST(XstringCopy, ANullBufferCopiesAsZeros) {
    const CountingAllocator allocator;
    const xstring source = of(nullptr, 2);
    xstring copy = {};
    EXPECT_EQ(xstring_copy(&copy, &source), &copy);
    EXPECT_EQ(copy.len, 2U);
    EXPECT_EQ(memcmp(copy.str, "\0\0\0", 3), 0);
    _xfree(copy.str);
}

TEST(XstringCopy, DoesNotReleaseTheOldBuffer) {
    const CountingAllocator allocator;
    char text[] = "new";
    const xstring source = of(text, 4);
    xstring copy = of(xstrdup("old"), 4);
    char *const old = copy.str;
    EXPECT_EQ(xstring_copy(&copy, &source), &copy);
    EXPECT_TRUE(allocator.is_live(old));
    EXPECT_STREQ(copy.str, "new");
    _xfree(old);
    _xfree(copy.str);
}

TEST(XstringCopy, OntoItself) {
    const CountingAllocator allocator;
    xstring s = of(xstrdup("abc"), 4);
    char *const old = s.str;
    EXPECT_EQ(xstring_copy(&s, &s), &s);
    EXPECT_NE(s.str, old);
    EXPECT_STREQ(s.str, "abc");
    EXPECT_EQ(s.len, 4U);
    _xfree(old);
    _xfree(s.str);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XstringDup, HasExactlyLenBytes) {
    const CountingAllocator allocator;
    {
        char text[] = "abcdef";
        const xstring source = of(text, 3);
        const String copy(xstring_dup(&source));
        EXPECT_EQ(copy->len, 3U);
        EXPECT_EQ(memcmp(copy->str, "abc", 3), 0);
        EXPECT_EQ(allocator.size_of(copy->str), 3U);
        EXPECT_EQ(allocator.size_of(copy.get()), sizeof(xstring));
    }
    EXPECT_EQ(xstring_dup(nullptr), nullptr);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XstringDup, AnEmptyStringHasABuffer) {
    CountingAllocator allocator;
    allocator.null_for_empty(true);
    char text[] = "abc";
    for (char *const buffer : {text, static_cast<char *>(nullptr)}) {
        const xstring source = of(buffer, 0);
        const String copy(xstring_dup(&source));
        EXPECT_EQ(copy->len, 0U);
        EXPECT_NE(copy->str, nullptr);
    }
    const xstring no_buffer = of(nullptr, 3);
    const String zeros(xstring_dup(&no_buffer));
    EXPECT_EQ(zeros->len, 3U);
    EXPECT_EQ(memcmp(zeros->str, "\0\0\0", 3), 0);
}

TEST(XstringCompare, NullRecordsThenNullBuffersSortFirst) {
    char text[] = "abc";
    const xstring full = of(text, 4);
    const xstring no_buffer = of(nullptr, 4);
    const xstring no_buffer_longer = of(nullptr, 9);
    for (const int ignore_case : {0, 1}) {
        EXPECT_EQ(xstring_compare(nullptr, nullptr, ignore_case), 0);
        EXPECT_EQ(xstring_compare(nullptr, &full, ignore_case), -1);
        EXPECT_EQ(xstring_compare(&full, nullptr, ignore_case), 1);
        EXPECT_EQ(xstring_compare(nullptr, &no_buffer, ignore_case), -1);
        EXPECT_EQ(xstring_compare(&no_buffer, &no_buffer_longer, ignore_case), 0) << "lengths do not count then";
        EXPECT_EQ(xstring_compare(&no_buffer, &full, ignore_case), -1);
        EXPECT_EQ(xstring_compare(&full, &no_buffer, ignore_case), 1);
    }
}

struct CompareCase {
    const char *a;
    const char *b;
    int with_case;    // sign
    int without_case; // sign
};

TEST(XstringCompare, EqualLengthsCompareByContent) {
    constexpr CompareCase kCases[] = {{"abc", "abc", 0, 0},   {"ABC", "abc", -1, 0}, {"abc", "ABC", 1, 0},
                                      {"abc", "abd", -1, -1}, {"abd", "abc", 1, 1},  {"", "", 0, 0},
                                      {"\xff", "a", 1, 1}};
    const auto sign = [](int number) { return (number > 0) - (number < 0); };
    for (const CompareCase &row : kCases) {
        SCOPED_TRACE(testing::Message() << row.a << ' ' << row.b);
        const xstring a = of(const_cast<char *>(row.a), strlen(row.a) + 1);
        const xstring b = of(const_cast<char *>(row.b), strlen(row.b) + 1);
        EXPECT_EQ(sign(xstring_compare(&a, &b, 0)), row.with_case);
        for (const int ignore_case : {1, -1, 2})
            EXPECT_EQ(sign(xstring_compare(&a, &b, ignore_case)), row.without_case);
    }
}

TEST(XstringCompare, DifferentLengthsGiveTheirDifferenceAlone) {
    char a[] = "zz";
    char b[] = "abcde";
    const xstring shorter = of(a, 3);
    const xstring longer = of(b, 6);
    EXPECT_EQ(xstring_compare(&shorter, &longer, 0), -3);
    EXPECT_EQ(xstring_compare(&longer, &shorter, 1), 3);
    const xstring huge = of(b, UINT32_MAX);
    const xstring empty = of(b, 0);
    EXPECT_EQ(xstring_compare(&huge, &empty, 0), -1) << "the unsigned difference, as an int";
    EXPECT_EQ(xstring_compare(&empty, &huge, 0), 1);
}

TEST(XstringCompare, LooksAtLenBytesAtMostAndStopsAtAZeroByte) {
    char a[] = "abX";
    char b[] = "abY";
    const xstring two_a = of(a, 2);
    const xstring two_b = of(b, 2);
    EXPECT_EQ(xstring_compare(&two_a, &two_b, 0), 0);
    EXPECT_EQ(xstring_compare(&two_a, &two_b, 1), 0);
    char c[] = "ab\0X";
    char d[] = "ab\0Y";
    const xstring zero_c = of(c, 4);
    const xstring zero_d = of(d, 4);
    EXPECT_EQ(xstring_compare(&zero_c, &zero_d, 0), 0);
}

TEST(XstringIsempty, NullNoBufferOrNoLength) {
    char text[] = "abc";
    const xstring full = of(text, 1);
    const xstring no_buffer = of(nullptr, 4);
    const xstring no_length = of(text, 0);
    EXPECT_EQ(xstring_isempty(nullptr), 1);
    EXPECT_EQ(xstring_isempty(&no_buffer), 1);
    EXPECT_EQ(xstring_isempty(&no_length), 1);
    EXPECT_EQ(xstring_isempty(&full), 0);
}

TEST(XstringFree, TakesNullAndNoBuffer) {
    const CountingAllocator allocator;
    xstring_free(nullptr);
    auto *const s = static_cast<xstring *>(xmalloc0(sizeof(xstring)));
    s->len = 7;
    xstring_free(s);
    EXPECT_EQ(allocator.release_calls(), 1U);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XstringDeathTest, CopiesAbortWithoutMemory) {
    expect_abort_at_every_allocation([] {
        char text[] = "abc";
        const xstring source = of(text, 4);
        xstring copy = {};
        xstring_copy(&copy, &source);
        _xfree(copy.str);
    });
    expect_abort_at_every_allocation([] {
        char text[] = "abc";
        const xstring source = of(text, 4);
        xstring_free(xstring_dup(&source));
    });
}

TEST(XstringDeathTest, CopyAbortsWhenTheSizeWraps) {
    EXPECT_ABORT(
        {
            char text[] = "abc";
            const xstring source = of(text, UINT32_MAX);
            xstring copy = {};
            xstring_copy(&copy, &source);
        },
        "^$");
}

} // namespace
