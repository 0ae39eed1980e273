// SPDX-License-Identifier: MIT
#include "ctl/value_json.h"

#include "ctl/failure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace varnel::ctl {

namespace {

template <class Native> Value value_of(xdata_type type, Native native) {
    return Value(xdata_new(type, &native));
}

Json written(const xdata &value) {
    Json json;
    put_value(json, value);
    return json;
}

std::string text_of(const xdata &value) {
    return written(value).dump();
}

// The value is the same after a way through JSON text.
testing::AssertionResult survives(const Value &value) {
    const std::string text = text_of(*value);
    const Value back = value_of_json(Json::parse(text), "test");
    if (identical(*value, *back))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << text << " became " << text_of(*back);
}

Value real(double number) {
    return value_of(XDATA_DOUBLE, number);
}

Value single(float number) {
    return value_of(XDATA_FLOAT, number);
}

template <class Real, class Bits> Real from_bits(Bits bits) {
    Real number;
    static_assert(sizeof number == sizeof bits);
    std::memcpy(&number, &bits, sizeof number);
    return number;
}

Value read(const char *json) {
    return value_of_json(Json::parse(json), "test");
}

std::string described(const char *json) {
    return text_of(*read(json));
}

} // namespace

TEST(ValueJson, WritesEveryType) {
    EXPECT_EQ(text_of(*varnel::make_string("on")), R"({"type":"string","value":"on"})");
    EXPECT_EQ(text_of(*varnel::make_int32(-5)), R"({"type":"int32","value":-5})");
    EXPECT_EQ(text_of(*varnel::make_uint32(4294967295U)), R"({"type":"uint32","value":4294967295})");
    EXPECT_EQ(text_of(*value_of(XDATA_INT64, std::numeric_limits<std::int64_t>::min())),
              R"({"type":"int64","value":-9223372036854775808})");
    EXPECT_EQ(text_of(*varnel::make_uint64(std::numeric_limits<std::uint64_t>::max())),
              R"({"type":"uint64","value":18446744073709551615})");
    EXPECT_EQ(text_of(*single(0.1F)), R"({"type":"float","value":0.1})");
    EXPECT_EQ(text_of(*real(0.1)), R"({"type":"double","value":0.1})");
    EXPECT_EQ(text_of(*real(-0.0)), R"({"type":"double","value":-0.0})");
    EXPECT_EQ(text_of(*real(-std::numeric_limits<double>::infinity())), R"({"type":"double","value":"-inf"})");
    EXPECT_EQ(text_of(*varnel::make_boolean(true)), R"({"type":"boolean","value":true})");
    EXPECT_EQ(text_of(*string_of_characters("\xff\xfe")), R"({"type":"string","value":"//4=","encoding":"base64"})");
}

TEST(ValueJson, KeepsIntegersAtTheirLimits) {
    for (const std::int32_t number : {0, -1, INT32_MIN, INT32_MAX})
        EXPECT_TRUE(survives(value_of(XDATA_INT32, number)));
    for (const std::uint32_t number : {0U, UINT32_MAX})
        EXPECT_TRUE(survives(value_of(XDATA_UINT32, number)));
    for (const std::int64_t number : {INT64_MIN, INT64_MAX, std::int64_t{1} << 53, (std::int64_t{1} << 53) + 1})
        EXPECT_TRUE(survives(value_of(XDATA_INT64, number)));
    for (const std::uint64_t number : {std::uint64_t{0}, UINT64_MAX, UINT64_MAX - 1})
        EXPECT_TRUE(survives(value_of(XDATA_UINT64, number)));
    EXPECT_TRUE(survives(varnel::make_boolean(false)));
}

TEST(ValueJson, KeepsEveryBitOfAReal) {
    using Limits = std::numeric_limits<double>;
    for (const double number :
         {0.0, -0.0, 1.0, 5e-324, Limits::min(), Limits::max(), 0.1, 1e23, Limits::infinity(), -Limits::infinity(),
          Limits::quiet_NaN(), from_bits<double>(UINT64_C(0x7ff4000000000001)),
          from_bits<double>(UINT64_C(0xfff8000000000123))})
        EXPECT_TRUE(survives(real(number)));
    for (const float number : {0.0F, -0.0F, 1e-45F, 16777216.0F, 0.1F, std::numeric_limits<float>::max(), INFINITY,
                               from_bits<float>(UINT32_C(0x7fa00001)), from_bits<float>(UINT32_C(0xffc00123))})
        EXPECT_TRUE(survives(single(number)));
}

TEST(ValueJson, KeepsRealsOfRandomBits) {
    std::mt19937_64 source(4711);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t bits = source();
        ASSERT_TRUE(survives(real(from_bits<double>(bits))));
        ASSERT_TRUE(survives(single(from_bits<float>(static_cast<std::uint32_t>(bits)))));
    }
}

TEST(ValueJson, KeepsStringsOfAnyBytes) {
    for (const std::string_view text :
         {std::string_view(""), std::string_view("größe \"x\" \\"), std::string_view("a\0b", 3),
          std::string_view("\n\t\033"), std::string_view("\xc3"), std::string_view("\x80\0", 2)})
        EXPECT_TRUE(survives(string_of_characters(text)));
    EXPECT_TRUE(survives(string_of_characters(std::string(65534, '\xff'))));
}

TEST(ValueJson, GuessesTheTypeOfPlainValues) {
    EXPECT_EQ(described("true"), R"({"type":"boolean","value":true})");
    EXPECT_EQ(described("-5"), R"({"type":"int32","value":-5})");
    EXPECT_EQ(described("2147483648"), R"({"type":"int64","value":2147483648})");
    EXPECT_EQ(described("18446744073709551615"), R"({"type":"uint64","value":18446744073709551615})");
    EXPECT_EQ(described("5.0"), R"({"type":"double","value":5.0})");
    EXPECT_EQ(described(R"("5")"), R"({"type":"string","value":"5"})");
    EXPECT_EQ(described(R"("true")"), R"({"type":"string","value":"true"})");
}

TEST(ValueJson, ReadsTypedValuesAsTextToo) {
    EXPECT_EQ(described(R"({"type":"int64","value":"0x10"})"), R"({"type":"int64","value":16})");
    EXPECT_EQ(described(R"({"type":"boolean","value":"off"})"), R"({"type":"boolean","value":false})");
    EXPECT_EQ(described(R"({"type":"double","value":5})"), R"({"type":"double","value":5.0})");
    EXPECT_EQ(described(R"({"type":"float","value":16777217})"), R"({"type":"float","value":16777216.0})");
}

TEST(ValueJson, ReadsNothingElse) {
    for (const char *json : {"null",
                             "[1]",
                             "{}",
                             R"({"type":"int32"})",
                             R"({"value":5})",
                             R"({"type":"int16","value":5})",
                             R"({"type":5,"value":5})",
                             R"({"type":"int32","value":5,"unit":"m"})",
                             R"({"type":"int32","value":2147483648})",
                             R"({"type":"int32","value":5.0})",
                             R"({"type":"uint32","value":-1})",
                             R"({"type":"int32","value":true})",
                             R"({"type":"int32","value":null})",
                             R"({"type":"int32","value":"five"})",
                             R"({"type":"boolean","value":1})",
                             R"({"type":"string","value":5})",
                             R"({"type":"float","value":1e39})",
                             R"({"type":"string","value":"Zg=","encoding":"base64"})",
                             R"({"type":"string","value":"a","encoding":"hex"})",
                             R"({"type":"int32","value":"5","encoding":"base64"})"})
        EXPECT_THROW(read(json), Failure) << json;
}

} // namespace varnel::ctl
