// SPDX-License-Identifier: MIT
#include <varnel/hashmap.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

struct TextHash {
    const char *text;
    uint32_t hash;
};

TEST(StringHash, KnownValues) {
    constexpr TextHash kCases[] = {
        {"", 5381},
        {"a", 177670},
        {"ab", 5863208},
        {"default", 142955658},
        {"\x7f", 5381 * 33 + 127},
        {"\x80", 5381 * 33 - 128},
        {"\xff", 5381 * 33 - 1},
        {"\xc3\xa4", (5381U * 33 - 61) * 33 - 92},
    };
    for (const TextHash &row : kCases)
        EXPECT_EQ(string_hash_func(row.text), row.hash) << row.text;
}

TEST(StringHash, WrapsAt32Bits) {
    uint64_t hash = 5381;
    char text[65] = {};
    for (size_t i = 0; i < 64; ++i) {
        text[i] = static_cast<char>('A' + i % 26);
        hash = (hash * 33 + static_cast<uint64_t>('A' + i % 26)) & 0xFFFFFFFF;
    }
    EXPECT_EQ(string_hash_func(text), hash);
}

int sign(int value) {
    return (value > 0) - (value < 0);
}

TEST(StringCompare, IsStrcmp) {
    EXPECT_EQ(string_compare_func("abc", "abc"), 0);
    EXPECT_LT(string_compare_func("abc", "abd"), 0);
    EXPECT_GT(string_compare_func("abd", "abc"), 0);
    EXPECT_GT(string_compare_func("abc", "ab"), 0);
    EXPECT_GT(string_compare_func("\x80", "\x7f"), 0) << "bytes compare as unsigned";
    EXPECT_NE(string_compare_func("ABC", "abc"), 0);
}

char neighbours[3];

TEST(Trivial, HashesThePointerValue) {
    EXPECT_EQ(trivial_hash_func(nullptr), 0U);
    EXPECT_EQ(trivial_hash_func(&neighbours[1]), static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&neighbours[1])));
    EXPECT_EQ(trivial_hash_func(&neighbours[1]) - trivial_hash_func(&neighbours[0]), 1U);
}

TEST(Trivial, ComparesPointersUnsigned) {
    EXPECT_EQ(trivial_compare_func(&neighbours[0], &neighbours[1]), -1);
    EXPECT_EQ(trivial_compare_func(&neighbours[1], &neighbours[1]), 0);
    EXPECT_EQ(trivial_compare_func(&neighbours[2], &neighbours[1]), 1);
    EXPECT_EQ(trivial_compare_func(nullptr, &neighbours[0]), -1);
    EXPECT_EQ(trivial_compare_func(nullptr, nullptr), 0);
    char *highest = nullptr;
    memset(&highest, 0xFF, sizeof highest);
    EXPECT_EQ(trivial_compare_func(highest, &neighbours[0]), 1) << "the highest bit is no sign";
}

TEST(Uint64, HashesHighWordXorLowWord) {
    constexpr uint64_t kCases[][2] = {{0, 0},
                                      {1, 1},
                                      {0x100000000, 1},
                                      {0xFFFFFFFFFFFFFFFF, 0},
                                      {0x123456789ABCDEF0, 0x12345678 ^ 0x9ABCDEF0},
                                      {0xFFFFFFFF, 0xFFFFFFFF}};
    for (const auto &row : kCases)
        EXPECT_EQ(uint64_hash_func(&row[0]), row[1]) << row[0];
}

TEST(Uint64, ComparesUnsigned) {
    // Ascending, so the comparison of any two is that of their places.
    constexpr uint64_t kAscending[] = {0,           1,           0x7FFFFFFF,         0xFFFFFFFF,         0x100000000,
                                       0x1FFFFFFFF, 0x200000000, 0x7FFFFFFFFFFFFFFF, 0x8000000000000000, UINT64_MAX};
    for (const uint64_t &a : kAscending)
        for (const uint64_t &b : kAscending)
            EXPECT_EQ(uint64_compare_func(&a, &b), sign(static_cast<int>(&a - &b))) << a << ' ' << b;
}

TEST(Uint32, HashesTheValue) {
    for (const uint32_t number : {0U, 1U, 0x80000000U, UINT32_MAX})
        EXPECT_EQ(uint32_hash_func(&number), number);
}

TEST(Uint32, ComparesUnsigned) {
    constexpr uint32_t kAscending[] = {0, 1, 0x7FFFFFFF, 0x80000000, UINT32_MAX};
    for (const uint32_t &a : kAscending)
        for (const uint32_t &b : kAscending)
            EXPECT_EQ(uint32_compare_func(&a, &b), sign(static_cast<int>(&a - &b))) << a << ' ' << b;
}

TEST(IntegerKeys, MayLieAtOddAddresses) {
    alignas(8) char bytes[17] = {};
    const uint64_t wide = 0x0123456789ABCDEF;
    const uint32_t narrow = 0x89ABCDEF;
    memcpy(bytes + 1, &wide, sizeof wide);
    EXPECT_EQ(uint64_hash_func(bytes + 1), uint64_hash_func(&wide));
    EXPECT_EQ(uint64_compare_func(bytes + 1, &wide), 0);
    memcpy(bytes + 9, &narrow, sizeof narrow);
    EXPECT_EQ(uint32_hash_func(bytes + 9), narrow);
    EXPECT_EQ(uint32_compare_func(bytes + 9, &narrow), 0);
}

} // namespace
