// SPDX-License-Identifier: MIT
#include "data/xdata_fixture.h"
#include "support/death.h"
#include "support/log_capture.h"

using namespace xdata_test;

namespace {

int cmp(const Value &a, const Value &b) {
    return xdata_cmp(a.get(), b.get());
}

TEST(XdataCmp, ANullSideGivesTheOthersType) {
    EXPECT_EQ(xdata_cmp(nullptr, nullptr), 0);
    for (xdata_type type = 0; type <= 10; ++type) {
        const xdata x = filled(type, 0);
        EXPECT_EQ(xdata_cmp(nullptr, &x), static_cast<int>(type));
        EXPECT_EQ(xdata_cmp(&x, nullptr), static_cast<int>(type));
    }
}

TEST(XdataCmp, DifferentTypesGiveTheDifferenceOfTheCodes) {
    for (xdata_type a = 0; a <= 10; ++a)
        for (xdata_type b = 0; b <= 10; ++b) {
            if (a == b)
                continue;
            const xdata left = filled(a, 0);
            const xdata right = filled(b, 0);
            EXPECT_EQ(xdata_cmp(&left, &right), static_cast<int>(a) - static_cast<int>(b));
        }
}

TEST(XdataCmp, StringsCompareWithCase) {
    EXPECT_EQ(cmp(make_text("abc"), make_text("abc")), 0);
    EXPECT_EQ(cmp(make_text("ab"), make_text("abc")), -1) << "by the lengths alone";
    EXPECT_EQ(cmp(make_text("zzz"), make_text("abcde")), -2);
    EXPECT_NE(cmp(make_text("ABC"), make_text("abc")), 0);
    EXPECT_LT(cmp(make_text("abc"), make_text("abd")), 0);
    EXPECT_GT(cmp(make_text("abd"), make_text("abc")), 0);
}

TEST(XdataCmp, Integers32GiveTheWrappedDifference) {
    EXPECT_EQ(cmp(make<int32_t>(XDATA_INT32, 5), make<int32_t>(XDATA_INT32, 3)), 2);
    EXPECT_EQ(cmp(make<int32_t>(XDATA_INT32, -5), make<int32_t>(XDATA_INT32, 3)), -8);
    EXPECT_EQ(cmp(make<int32_t>(XDATA_INT32, INT32_MIN), make<int32_t>(XDATA_INT32, INT32_MAX)), 1);
    EXPECT_EQ(cmp(make<uint32_t>(XDATA_UINT32, UINT32_MAX), make<uint32_t>(XDATA_UINT32, 0)), -1);
    EXPECT_EQ(cmp(make<uint32_t>(XDATA_UINT32, 7), make<uint32_t>(XDATA_UINT32, 7)), 0);
}

// Values whose first four bytes in memory are low and whose other four are high, whatever the byte order.
uint64_t words(uint32_t first, uint32_t second) {
    const uint32_t both[] = {first, second};
    uint64_t value;
    memcpy(&value, both, sizeof value);
    return value;
}

TEST(XdataCmp, Integers64CompareByTheirFirstFourBytesOnly) {
    for (const xdata_type type : {XDATA_INT64, XDATA_UINT64}) {
        EXPECT_EQ(cmp(make(type, words(1, 1)), make(type, words(1, 2))), 0);
        EXPECT_EQ(cmp(make(type, words(9, 0)), make(type, words(4, 7))), 5);
        EXPECT_EQ(cmp(make(type, words(4, 7)), make(type, words(9, 0))), -5);
    }
    if (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__) {
        const int64_t a = (int64_t{1} << 32) + 1;
        const int64_t b = (int64_t{1} << 33) + 1;
        EXPECT_EQ(cmp(make(XDATA_INT64, a), make(XDATA_INT64, b)), 0);
    }
}

int sign(int number) {
    return (number > 0) - (number < 0);
}

TEST(XdataCmp, FloatsCompareAsBytes) {
    EXPECT_EQ(cmp(make(XDATA_FLOAT, 1.5F), make(XDATA_FLOAT, 1.5F)), 0);
    EXPECT_NE(cmp(make(XDATA_FLOAT, 0.0F), make(XDATA_FLOAT, -0.0F)), 0) << "equal numbers, other bytes";
    const uint32_t nan = 0x7FC00000;
    EXPECT_EQ(cmp(make(XDATA_FLOAT, nan), make(XDATA_FLOAT, nan)), 0);
    const float small = 1.5F;
    const float large = 2.75F;
    EXPECT_EQ(sign(cmp(make(XDATA_FLOAT, small), make(XDATA_FLOAT, large))), sign(memcmp(&small, &large, 4)));
}

TEST(XdataCmp, DoublesCompareByTheirFirstFourBytesOnly) {
    EXPECT_EQ(cmp(make(XDATA_DOUBLE, words(5, 1)), make(XDATA_DOUBLE, words(5, 2))), 0);
    EXPECT_GT(cmp(make(XDATA_DOUBLE, words(0x02020202, 1)), make(XDATA_DOUBLE, words(0x01010101, 2))), 0);
    EXPECT_LT(cmp(make(XDATA_DOUBLE, words(0x01010101, 2)), make(XDATA_DOUBLE, words(0x02020202, 1))), 0);
    if (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__) {
        EXPECT_EQ(cmp(make(XDATA_DOUBLE, 1.0), make(XDATA_DOUBLE, 2.0)), 0);
    }
}

TEST(XdataCmp, BooleansAreOneWhenTheBytesDiffer) {
    const auto boolean = [](uint8_t flag) { return make(XDATA_BOOLEAN, flag); };
    EXPECT_EQ(cmp(boolean(1), boolean(1)), 0);
    EXPECT_EQ(cmp(boolean(0), boolean(1)), 1);
    EXPECT_EQ(cmp(boolean(1), boolean(0)), 1);
    EXPECT_EQ(cmp(boolean(1), boolean(2)), 1) << "both true, but other bytes";
}

TEST(XdataCmpDeathTest, TwoValuesOfOneUnknownTypeAbort) {
    for (const xdata_type type : kNoTypes) {
        const xdata x = filled(type, 0);
        EXPECT_ABORT(xdata_cmp(&x, &x), "^_varnel: not find the type.\n$");
    }
}

} // namespace
