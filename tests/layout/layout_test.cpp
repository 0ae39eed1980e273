// SPDX-License-Identifier: MIT
#include "layout/record_layout.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

using namespace layout;

// Where another host than those of the tables is to be added, take these three out for a while: the tests then name
// every row that differs.
static_assert(first_difference(kOffsets) == std::size(kOffsets));
static_assert(first_difference(kSizes) == std::size(kSizes));
static_assert(first_difference(kWidths) == std::size(kWidths));
static_assert(alignof(xdata) == 8);

namespace {

template <size_t count> void expect_rows(const Row (&rows)[count]) {
    for (const Row &row : rows)
        EXPECT_EQ(row.actual, expected_here(row.expected)) << row.what;
}

} // namespace

TEST(RecordLayout, FieldsLieAtTheOffsetsOfTheTable) {
    expect_rows(kOffsets);
}

TEST(RecordLayout, RecordsHaveTheSizesOfTheTable) {
    expect_rows(kSizes);
}

TEST(RecordLayout, FieldsHaveTheWidthsOfTheTable) {
    expect_rows(kWidths);
}

TEST(RecordLayout, BothTablesHaveEveryField) {
    std::set<std::string> offsets, widths;
    for (const Row &row : kOffsets)
        offsets.insert("sizeof " + std::string(row.what));
    for (const Row &row : kWidths)
        widths.insert(row.what);
    EXPECT_EQ(offsets, widths);
    EXPECT_EQ(offsets.size(), std::size(kOffsets));
}

TEST(RecordLayout, AValueStartsAtAMultipleOfEight) {
    struct Padded {
        char first;
        xdata value;
    };
    EXPECT_EQ(offsetof(Padded, value), 8U);
}

// The first four bytes of a 64-bit member are its low word where the host is little-endian.
TEST(RecordLayout, MembersOfAValueShareTheirFirstByte) {
    xdata_value value = {};
    value.u64 = UINT64_C(0x0102030405060708);
    const bool little = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
    EXPECT_EQ(value.u32, little ? 0x05060708U : 0x01020304U);
    EXPECT_EQ(value.b, little ? 8 : 1);
}

// Natural alignment, without gaps that are not padding: a field starts at most seven bytes behind the previous one.
TEST(RecordLayout, FieldsFollowOneAnotherInTheOrderOfTheTable) {
    const auto record = [](const Row &row) { return std::string(row.what).substr(0, std::string(row.what).find('.')); };
    for (size_t i = 1; i < std::size(kOffsets); ++i) {
        if (record(kOffsets[i]) != record(kOffsets[i - 1]) || record(kOffsets[i]) == "xdata_value")
            continue;
        const size_t end = kOffsets[i - 1].actual + kWidths[i - 1].actual;
        EXPECT_GE(kOffsets[i].actual, end) << kOffsets[i].what;
        EXPECT_LT(kOffsets[i].actual - end, 8U) << kOffsets[i].what;
    }
}
