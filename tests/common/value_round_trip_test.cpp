// SPDX-License-Identifier: MIT
// Every value comes back from its text bit for bit.
#include "common/value_text.h"
#include "config/random_source.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using varnel::identical;
using varnel::parse_value;
using varnel::print_value;
using varnel::Value;

constexpr int kRandomValues = 20000;

template <class Bits> Value make(xdata_type type, Bits bits) {
    return Value(xdata_new(type, &bits));
}

void expect_round_trip(const Value &value) {
    ASSERT_NE(value, nullptr);
    const std::string text = print_value(*value);
    std::string error;
    const Value again = parse_value(text, value->type, &error);
    ASSERT_NE(again, nullptr) << text << " of " << varnel::name_of_type(value->type) << ": " << error;
    EXPECT_TRUE(identical(*value, *again)) << text << " of " << varnel::name_of_type(value->type);
}

TEST(RoundTrip, OfStrings) {
    for (const char *const text : {"", "a", " a ", "0x1", "nan", "\n\t\"'\\", "\xff", "gr\xc3\xbcn"})
        expect_round_trip(varnel::make_string(text));
    expect_round_trip(varnel::make_string(std::string(70000, 'x')));
}

TEST(RoundTrip, OfBooleans) {
    expect_round_trip(varnel::make_boolean(true));
    expect_round_trip(varnel::make_boolean(false));
}

TEST(RoundTrip, OfIntegersAtTheirLimits) {
    for (const std::uint32_t bits : {0U, 1U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        expect_round_trip(make(XDATA_INT32, bits));
        expect_round_trip(make(XDATA_UINT32, bits));
    }
    for (const std::uint64_t bits :
         {std::uint64_t{0}, std::uint64_t{1}, UINT64_MAX, std::uint64_t{1} << 63, (std::uint64_t{1} << 63) - 1}) {
        expect_round_trip(make(XDATA_INT64, bits));
        expect_round_trip(make(XDATA_UINT64, bits));
    }
}

TEST(RoundTrip, OfOddFloats) {
    for (const std::uint32_t sign : {0U, 0x80000000U})
        for (const std::uint32_t bits : {0U, 1U, 2U, 0x7fffffU, 0x800000U, 0x3f800000U, 0x3f800001U, 0x7f7fffffU,
                                         0x7f800000U, 0x7f800001U, 0x7fbfffffU, 0x7fc00000U, 0x7fc00001U, 0x7fffffffU})
            expect_round_trip(make(XDATA_FLOAT, bits | sign));
}

TEST(RoundTrip, OfOddDoubles) {
    for (const std::uint64_t sign : {std::uint64_t{0}, std::uint64_t{1} << 63})
        for (const std::uint64_t bits :
             {0x0ULL, 0x1ULL, 0xfffffffffffffULL, 0x10000000000000ULL, 0x3ff0000000000000ULL, 0x3ff0000000000001ULL,
              0x7fefffffffffffffULL, 0x7ff0000000000000ULL, 0x7ff0000000000001ULL, 0x7ff7ffffffffffffULL,
              0x7ff8000000000000ULL, 0x7ff8000000000001ULL, 0x7fffffffffffffffULL, 0x4340000000000001ULL})
            expect_round_trip(make<std::uint64_t>(XDATA_DOUBLE, bits | sign));
}

TEST(RoundTrip, TextOfNans) {
    EXPECT_EQ(print_value(*make(XDATA_FLOAT, 0x7fc00000U)), "nan");
    EXPECT_EQ(print_value(*make(XDATA_FLOAT, 0xffc00000U)), "nan(0xffc00000)");
    EXPECT_EQ(print_value(*make(XDATA_FLOAT, 0x7f800001U)), "nan(0x7f800001)");
    EXPECT_EQ(print_value(*make<std::uint64_t>(XDATA_DOUBLE, 0x7ff8000000000000)), "nan");
    EXPECT_EQ(print_value(*make<std::uint64_t>(XDATA_DOUBLE, 0xfff0000000000001)), "nan(0xfff0000000000001)");
    const Value negative = parse_value("-nan", XDATA_FLOAT, nullptr);
    EXPECT_EQ(print_value(*negative), "nan(0xffc00000)");
    EXPECT_EQ(parse_value("nan(0x7f800000)", XDATA_FLOAT, nullptr), nullptr) << "infinity";
    EXPECT_EQ(parse_value("nan(0x3f800000)", XDATA_FLOAT, nullptr), nullptr) << "one";
    EXPECT_EQ(parse_value("nan(0x1ffc00000)", XDATA_FLOAT, nullptr), nullptr) << "33 bits";
    EXPECT_EQ(parse_value("nan(0x7fc00000)", XDATA_DOUBLE, nullptr), nullptr) << "a small double";
}

TEST(RoundTrip, ShortestText) {
    EXPECT_EQ(print_value(*parse_value("0.1", XDATA_FLOAT, nullptr)), "0.1");
    EXPECT_EQ(print_value(*parse_value("0.1", XDATA_DOUBLE, nullptr)), "0.1");
    EXPECT_EQ(print_value(*parse_value("1e22", XDATA_DOUBLE, nullptr)), "1e+22");
    EXPECT_EQ(print_value(*make(XDATA_FLOAT, 1U)), "1e-45");
    EXPECT_EQ(print_value(*make<std::uint64_t>(XDATA_DOUBLE, 1)), "5e-324");
}

std::uint32_t random_bits(RandomSource &random) {
    return static_cast<std::uint32_t>(random.below(0x10000) << 16 | random.below(0x10000));
}

TEST(RoundTrip, OfRandomBits) {
    RandomSource random;
    SCOPED_TRACE(random.seed());
    for (int i = 0; i < kRandomValues && !testing::Test::HasFailure(); ++i) {
        const std::uint32_t low = random_bits(random);
        const std::uint64_t bits = std::uint64_t{random_bits(random)} << 32 | low;
        for (const xdata_type type : {XDATA_INT32, XDATA_UINT32, XDATA_FLOAT})
            expect_round_trip(make(type, low));
        for (const xdata_type type : {XDATA_INT64, XDATA_UINT64, XDATA_DOUBLE})
            expect_round_trip(make(type, bits));
    }
}

} // namespace
