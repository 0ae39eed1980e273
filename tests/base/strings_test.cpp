// SPDX-License-Identifier: MIT
#include "support/counting_allocator.h"
#include "support/death.h"

#include <varnel/memory.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

TEST(Xstrdup, CopiesWithTerminator) {
    const CountingAllocator allocator;
    for (const char *const text : {"", "a", "hello", "\xff\x80 bytes"}) {
        char *const copy = xstrdup(text);
        EXPECT_STREQ(copy, text);
        EXPECT_NE(copy, text);
        EXPECT_EQ(allocator.size_of(copy), strlen(text) + 1);
        _xfree(copy);
    }
    EXPECT_EQ(allocator.allocations(), allocator.allocate_calls());
}

TEST(Xstrdup, NullGivesNullWithoutACall) {
    const CountingAllocator allocator;
    EXPECT_EQ(xstrdup(nullptr), nullptr);
    EXPECT_EQ(xstrndup(nullptr, 5), nullptr);
    EXPECT_EQ(xstrlwc(nullptr), nullptr);
    EXPECT_EQ(allocator.allocations(), 0U);
}

struct NdupCase {
    const char *text;
    size_t n;
    const char *copy;
};

TEST(Xstrndup, CopiesAtMostNIntoAZeroedBlockOfNPlusOne) {
    constexpr NdupCase kCases[] = {{"abcdef", 3, "abc"}, {"ab", 5, "ab"},   {"abc", 3, "abc"},
                                   {"abc", 0, ""},       {"", 4, ""},       {"", 0, ""},
                                   {"abc", 4, "abc"},    {"ab", 100, "ab"}, {"abcdef", 6, "abcdef"}};
    for (const NdupCase &row : kCases) {
        SCOPED_TRACE(testing::Message() << '"' << row.text << "\", " << row.n);
        const CountingAllocator allocator;
        char *const copy = xstrndup(row.text, row.n);
        std::string expected(row.copy);
        expected.resize(row.n + 1);
        EXPECT_EQ(allocator.size_of(copy), row.n + 1);
        EXPECT_EQ(memcmp(copy, expected.data(), row.n + 1), 0);
        _xfree(copy);
    }
}

TEST(Xstrncpy, IsStrncpy) {
    char buffer[8];
    memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(xstrncpy(buffer, "ab", 4), buffer);
    EXPECT_EQ(memcmp(buffer, "ab\0\0xxxx", 8), 0) << "padded with zeros up to n";
    memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(xstrncpy(buffer, "abcdef", 3), buffer);
    EXPECT_EQ(memcmp(buffer, "abcxxxxx", 8), 0) << "no terminator";
    EXPECT_EQ(xstrncpy(buffer, "123", 3), buffer);
    EXPECT_EQ(memcmp(buffer, "123xxxxx", 8), 0) << "no terminator for exactly n characters";
}

TEST(Xstrncpy, InvalidArgumentsTouchNothing) {
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(xstrncpy(nullptr, "ab", 2), nullptr);
    EXPECT_EQ(xstrncpy(buffer, nullptr, 2), nullptr);
    EXPECT_EQ(xstrncpy(buffer, "ab", 0), nullptr);
    EXPECT_EQ(xstrncpy(nullptr, nullptr, 0), nullptr);
    EXPECT_EQ(memcmp(buffer, "xxxx", 4), 0);
}

TEST(Xstrcpy, LeavesTheLastByteAlone) {
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(xstrcpy(buffer, 4, "abcdef"), buffer);
    EXPECT_EQ(memcmp(buffer, "abcx", 4), 0);
}

TEST(Xstrcpy, PadsShorterSourcesUpToSizeMinusOne) {
    char buffer[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
    EXPECT_EQ(xstrcpy(buffer, 5, "ab"), buffer);
    EXPECT_EQ(memcmp(buffer, "ab\0\0xx", 6), 0);
    EXPECT_EQ(xstrcpy(buffer, 1, "cd"), buffer) << "size 1 copies nothing";
    EXPECT_EQ(memcmp(buffer, "ab\0\0xx", 6), 0);
}

TEST(Xstrcpy, NullArgumentsTouchNothing) {
    char buffer[2] = {'x', 'x'};
    EXPECT_EQ(xstrcpy(nullptr, 2, "ab"), nullptr);
    EXPECT_EQ(xstrcpy(buffer, 2, nullptr), nullptr);
    EXPECT_EQ(xstrcpy(nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(memcmp(buffer, "xx", 2), 0);
}

TEST(Xstrlen, CountsAndTakesNullForEmpty) {
    EXPECT_EQ(xstrlen("hello"), 5U);
    EXPECT_EQ(xstrlen(""), 0U);
    EXPECT_EQ(xstrlen(nullptr), 0U);
}

TEST(XstrlenMax, IsTheSmallerOfLengthAndMax) {
    EXPECT_EQ(xstrlen_max("hello", 3), 3U);
    EXPECT_EQ(xstrlen_max("hello", 5), 5U);
    EXPECT_EQ(xstrlen_max("hello", 6), 5U);
    EXPECT_EQ(xstrlen_max("hello", 0), 0U);
    EXPECT_EQ(xstrlen_max("hello", SIZE_MAX), 5U);
    EXPECT_EQ(xstrlen_max(nullptr, 3), 0U);
}

TEST(Xstrlwc, LowersACopy) {
    const CountingAllocator allocator;
    const char text[] = "AbC-Z@[z 9";
    char *const lower = xstrlwc(text);
    EXPECT_STREQ(lower, "abc-z@[z 9");
    EXPECT_STREQ(text, "AbC-Z@[z 9");
    EXPECT_EQ(allocator.size_of(lower), sizeof text);
    _xfree(lower);
}

TEST(Xstrlwc, EmptyGivesNull) {
    const CountingAllocator allocator;
    EXPECT_EQ(xstrlwc(""), nullptr);
    EXPECT_EQ(allocator.allocations(), 0U);
}

TEST(Xstrlwc, EveryByteInTheCLocale) {
    char text[256];
    char expected[256];
    for (int i = 0; i < 255; ++i) {
        const int byte = i + 1;
        text[i] = static_cast<char>(byte);
        expected[i] = static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte);
    }
    text[255] = expected[255] = '\0';
    char *const lower = xstrlwc(text);
    EXPECT_EQ(memcmp(lower, expected, sizeof expected), 0);
    _xfree(lower);
}

TEST(StringsDeathTest, CopiesAbortWithoutMemory) {
    expect_abort_at_every_allocation([] { _xfree(xstrdup("abc")); });
    expect_abort_at_every_allocation([] { _xfree(xstrndup("abc", 2)); });
    expect_abort_at_every_allocation([] { _xfree(xstrlwc("abc")); });
}

TEST(StringsDeathTest, XstrndupAbortsWhenTheSizeWraps) {
    EXPECT_ABORT(xstrndup("abc", SIZE_MAX), "^$");
}

} // namespace
