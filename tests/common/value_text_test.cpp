// SPDX-License-Identifier: MIT
// Values as text: names of types, what each type reads, and guessing.
#include "common/value_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>

namespace {

using varnel::guess_type;
using varnel::parse_value;
using varnel::print_value;
using varnel::Value;

// What text is read as and printed again, or "-" and what was expected.
std::string read_as(xdata_type type, std::string_view text) {
    std::string error;
    const Value value = parse_value(text, type, &error);
    if (value == nullptr)
        return "-" + error;
    EXPECT_EQ(value->type, type);
    EXPECT_EQ(error, "");
    return print_value(*value);
}

bool refuses(xdata_type type, std::string_view text) {
    return parse_value(text, type, nullptr) == nullptr;
}

TEST(TypeNames, GoBothWays) {
    const char *const names[] = {"string", "int32", "uint32", "int64", "uint64", "float", "double", "boolean"};
    for (xdata_type type = XDATA_STRING; type < XDATA_TYPE_END; ++type) {
        EXPECT_STREQ(varnel::name_of_type(type), names[type - 1]);
        EXPECT_EQ(varnel::type_of_name(names[type - 1]), type);
        EXPECT_EQ(varnel::type_of_name(xdata_type_as_char(type)), type) << "the library's names, too";
    }
    EXPECT_EQ(varnel::type_of_name("int32_t"), xdata_type{XDATA_INT32});
    for (const char *const name : {"", "int", "String", "bool", "[unknown]", "string ", "float_t"})
        EXPECT_FALSE(varnel::type_of_name(name)) << name;
}

TEST(StringText, IsTheCharacters) {
    for (const char *const text : {"", " a b ", "\"quoted\"", "line\nline", "\xff\xfe", "true", "1"})
        EXPECT_EQ(read_as(XDATA_STRING, text), text);
    EXPECT_EQ(parse_value("abc", XDATA_STRING, nullptr)->value.s.len, 4U) << "with its zero byte";
    EXPECT_EQ(read_as(XDATA_STRING, std::string_view("a\0b", 3)), "-text without zero bytes");
}

TEST(IntegerText, IsDecimalOrHexadecimal) {
    EXPECT_EQ(read_as(XDATA_INT32, "0"), "0");
    EXPECT_EQ(read_as(XDATA_INT32, "-0"), "0");
    EXPECT_EQ(read_as(XDATA_INT32, "+17"), "17");
    EXPECT_EQ(read_as(XDATA_INT32, "007"), "7") << "never octal";
    EXPECT_EQ(read_as(XDATA_INT32, "0x1F"), "31");
    EXPECT_EQ(read_as(XDATA_INT32, "-0x80000000"), "-2147483648");
    EXPECT_EQ(read_as(XDATA_UINT64, "0xffffffffffffffff"), "18446744073709551615");
}

TEST(IntegerText, FillsItsType) {
    const struct {
        xdata_type type;
        const char *least, *most, *below, *above;
    } rows[] = {
        {XDATA_INT32, "-2147483648", "2147483647", "-2147483649", "2147483648"},
        {XDATA_UINT32, "0", "4294967295", "-1", "4294967296"},
        {XDATA_INT64, "-9223372036854775808", "9223372036854775807", "-9223372036854775809", "9223372036854775808"},
        {XDATA_UINT64, "0", "18446744073709551615", "-1", "18446744073709551616"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(read_as(row.type, row.least), row.least);
        EXPECT_EQ(read_as(row.type, row.most), row.most);
        const std::string expected =
            std::string("-a decimal or 0x hexadecimal integer from ") + row.least + " to " + row.most;
        EXPECT_EQ(read_as(row.type, row.below), expected);
        EXPECT_EQ(read_as(row.type, row.above), expected);
        EXPECT_EQ(read_as(row.type, "99999999999999999999999999"), expected);
    }
}

TEST(IntegerText, IsNothingElse) {
    for (const xdata_type type : {XDATA_INT32, XDATA_UINT32, XDATA_INT64, XDATA_UINT64})
        for (const char *const text : {"", " 1", "1 ", "1x", "x", "-", "+", "--1", "+-1", "0x", "-0x", "0x-1", "0xg",
                                       "1.0", "1e3", "1,000", "true", "0x 1", "\n1"})
            EXPECT_TRUE(refuses(type, text)) << text;
    EXPECT_TRUE(refuses(XDATA_INT32, std::string_view("1\0", 2)));
}

TEST(IntegerText, HasASignWhereTheTypeHasOne) {
    for (const xdata_type type : {XDATA_UINT32, XDATA_UINT64}) {
        EXPECT_TRUE(refuses(type, "+1"));
        EXPECT_TRUE(refuses(type, "-0"));
    }
}

TEST(FloatingText, IsWhatStrtodReads) {
    for (const xdata_type type : {XDATA_FLOAT, XDATA_DOUBLE}) {
        EXPECT_EQ(read_as(type, "1"), "1");
        EXPECT_EQ(read_as(type, "-1.50"), "-1.5");
        EXPECT_EQ(read_as(type, "+.5"), "0.5");
        EXPECT_EQ(read_as(type, "5."), "5");
        EXPECT_EQ(read_as(type, "1E3"), "1000");
        EXPECT_EQ(read_as(type, "0x1.8p1"), "3");
        EXPECT_EQ(read_as(type, "-0"), "-0");
        EXPECT_EQ(read_as(type, "inf"), "inf");
        EXPECT_EQ(read_as(type, "-INFINITY"), "-inf");
        EXPECT_EQ(read_as(type, "NaN"), "nan");
        EXPECT_EQ(read_as(type, "1e-9999"), "0");
        EXPECT_EQ(read_as(type, "-1e-9999"), "-0");
        for (const char *const text : {"", " 1", "1 ", "\t1", "x", "1x", "1e", "-", ".", "1,5", "0x", "infinit", "nanx",
                                       "nan(", "nan()", "nan(0x)", "nan(1)", "-nan(0x7ff8000000000001)", "nan(0x1)"})
            EXPECT_TRUE(refuses(type, text)) << text;
        EXPECT_TRUE(refuses(type, std::string_view("1\0", 2)));
    }
}

TEST(FloatingText, TooLargeIsNoNumber) {
    EXPECT_EQ(read_as(XDATA_FLOAT, "3.4028235e38"), "3.4028235e+38");
    EXPECT_EQ(read_as(XDATA_FLOAT, "3.4028236e38"), "-a number up to 3.4028235e+38, inf or nan");
    EXPECT_EQ(read_as(XDATA_FLOAT, "1e39"), "-a number up to 3.4028235e+38, inf or nan");
    EXPECT_EQ(read_as(XDATA_DOUBLE, "1e39"), "1e+39");
    EXPECT_EQ(read_as(XDATA_DOUBLE, "-1e309"), "-a number up to 1.7976931348623157e+308, inf or nan");
}

// Just above the middle of two floats, by less than a double shows: by way of a double it becomes the lower one.
TEST(FloatingText, IsRoundedOnce) {
    std::uint32_t bits = 0;
    const Value value = parse_value("1.00000005960464477539062500000000001", XDATA_FLOAT, nullptr);
    std::memcpy(&bits, &value->value, sizeof bits);
    EXPECT_EQ(bits, 0x3f800001U);
    const Value middle = parse_value("1.000000059604644775390625", XDATA_FLOAT, nullptr);
    std::memcpy(&bits, &middle->value, sizeof bits);
    EXPECT_EQ(bits, 0x3f800000U) << "the middle itself goes to the even one";
}

TEST(BooleanText, IsOneOfEightWords) {
    for (const char *const text : {"true", "yes", "on", "1", "TRUE", "Yes", "oN"})
        EXPECT_EQ(read_as(XDATA_BOOLEAN, text), "true") << text;
    for (const char *const text : {"false", "no", "off", "0", "False", "NO", "oFF"})
        EXPECT_EQ(read_as(XDATA_BOOLEAN, text), "false") << text;
    for (const char *const text : {"", "t", "y", "2", "01", " true", "true ", "enabled", "offf"})
        EXPECT_EQ(read_as(XDATA_BOOLEAN, text), "-true, yes, on or 1, or false, no, off or 0") << text;
    Value odd = varnel::make_boolean(true);
    odd->value.b = 0x80;
    EXPECT_EQ(print_value(*odd), "true") << "any byte but 0";
}

TEST(ValueText, KnowsNoOtherTypes) {
    for (const xdata_type type : {xdata_type{0}, xdata_type{XDATA_TYPE_END}, xdata_type{0x80000001}})
        EXPECT_EQ(read_as(type, "1"), "-a type from string to boolean");
}

struct Guess {
    const char *text;
    xdata_type type;
};

constexpr Guess kGuesses[] = {
    {"true", XDATA_BOOLEAN},
    {"False", XDATA_BOOLEAN},
    {"TRUE", XDATA_BOOLEAN},
    {"yes", XDATA_STRING},
    {"off", XDATA_STRING},
    {"0", XDATA_INT32},
    {"1", XDATA_INT32},
    {"-1", XDATA_INT32},
    {"+1", XDATA_INT32},
    {"-0", XDATA_INT32},
    {"2147483647", XDATA_INT32},
    {"-2147483648", XDATA_INT32},
    {"2147483648", XDATA_INT64},
    {"-2147483649", XDATA_INT64},
    {"9223372036854775807", XDATA_INT64},
    {"-9223372036854775808", XDATA_INT64},
    {"9223372036854775808", XDATA_UINT64},
    {"18446744073709551615", XDATA_UINT64},
    {"18446744073709551616", XDATA_STRING},
    {"-9223372036854775809", XDATA_STRING},
    {"+18446744073709551615", XDATA_STRING}, // unsigned types have no sign
    {"1.0", XDATA_DOUBLE},
    {"-1.5", XDATA_DOUBLE},
    {"1.", XDATA_DOUBLE},
    {".5", XDATA_DOUBLE},
    {"0.5", XDATA_DOUBLE},
    {"1e3", XDATA_DOUBLE},
    {"1E-3", XDATA_DOUBLE},
    {"+1.5e+10", XDATA_DOUBLE},
    {"0e0", XDATA_DOUBLE},
    {"18446744073709551616.0", XDATA_DOUBLE},
    {"1e999", XDATA_STRING},
    {"1e-999", XDATA_DOUBLE},
    {"007", XDATA_STRING},
    {"-007", XDATA_STRING},
    {"00", XDATA_STRING},
    {"00.5", XDATA_STRING},
    {"0x10", XDATA_STRING},
    {"0x1p3", XDATA_STRING},
    {"inf", XDATA_STRING},
    {"nan", XDATA_STRING},
    {"", XDATA_STRING},
    {" ", XDATA_STRING},
    {" 1", XDATA_STRING},
    {"1 ", XDATA_STRING},
    {"-", XDATA_STRING},
    {"+", XDATA_STRING},
    {".", XDATA_STRING},
    {"-.", XDATA_STRING},
    {"e5", XDATA_STRING},
    {".e5", XDATA_STRING},
    {"1e", XDATA_STRING},
    {"1e+", XDATA_STRING},
    {"1.2.3", XDATA_STRING},
    {"192.0.2.1", XDATA_STRING},
    {"1,5", XDATA_STRING},
    {"12:30", XDATA_STRING},
    {"--1", XDATA_STRING},
    {"text", XDATA_STRING},
};

TEST(GuessedType, FollowsTheTable) {
    for (const Guess &row : kGuesses)
        EXPECT_EQ(guess_type(row.text), row.type) << row.text;
}

TEST(GuessedType, ReadsTheText) {
    for (const Guess &row : kGuesses)
        EXPECT_NE(parse_value(row.text, guess_type(row.text), nullptr), nullptr) << row.text;
}

} // namespace
