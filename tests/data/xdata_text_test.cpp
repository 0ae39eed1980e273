// SPDX-License-Identifier: MIT
#include "data/xdata_fixture.h"
#include "data/xdata_types.h"
#include "support/counting_allocator.h"
#include "support/death.h"
#include "support/log_capture.h"

#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>

using namespace xdata_test;

namespace {

struct ValueText {
    std::function<Value()> make;
    const char *type;
    const char *text;
};

const ValueText kValueTexts[] = {
    {[] { return make_text("abc"); }, "string", "abc"},
    {[] { return make_text(""); }, "string", ""},
    {[] { return make_text("100% %s"); }, "string", "100% %s"},
    {[] { return make<int32_t>(XDATA_INT32, 5); }, "int32_t", "5"},
    {[] { return make<int32_t>(XDATA_INT32, INT32_MIN); }, "int32_t", "-2147483648"},
    {[] { return make<uint32_t>(XDATA_UINT32, UINT32_MAX); }, "uint32_t", "4294967295"},
    {[] { return make<int64_t>(XDATA_INT64, INT64_MIN); }, "int64_t", "-9223372036854775808"},
    {[] { return make<uint64_t>(XDATA_UINT64, UINT64_MAX); }, "uint64_t", "18446744073709551615"},
    {[] { return make<float>(XDATA_FLOAT, 1.5F); }, "float", "1.500000"},
    {[] { return make<float>(XDATA_FLOAT, 0.1F); }, "float", "0.100000"},
    {[] { return make<double>(XDATA_DOUBLE, -2.25); }, "double", "-2.250000"},
    {[] { return make<double>(XDATA_DOUBLE, 0.0); }, "double", "0.000000"},
    {[] { return make<double>(XDATA_DOUBLE, HUGE_VAL); }, "double", "inf"},
    {[] { return make<uint8_t>(XDATA_BOOLEAN, 0); }, "boolean", "false"},
    {[] { return make<uint8_t>(XDATA_BOOLEAN, 1); }, "boolean", "true"},
    {[] { return make<uint8_t>(XDATA_BOOLEAN, 0x80); }, "boolean", "true"},
};

TEST(XdataValueAsChar, TextForms) {
    const CountingAllocator allocator;
    for (const ValueText &row : kValueTexts) {
        const Value x = row.make();
        char *const text = xdata_value_as_char(x.get());
        EXPECT_STREQ(text, row.text);
        EXPECT_EQ(allocator.size_of(text), 64U);
        _xfree(text);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

struct StringCase {
    size_t characters;
    size_t buffer;
    size_t kept;
};

TEST(XdataValueAsChar, StringsAreCutToTheBuffer) {
    constexpr StringCase kLengths[] = {{62, 64, 62}, {63, 64, 63}, {64, 65, 64}, {99, 100, 99}, {1000, 1001, 1000}};
    const CountingAllocator allocator;
    for (const StringCase &row : kLengths) {
        SCOPED_TRACE(row.characters);
        const std::string characters(row.characters, 'x');
        const Value x = make_text(characters.c_str());
        char *const text = xdata_value_as_char(x.get());
        EXPECT_EQ(allocator.size_of(text), row.buffer);
        EXPECT_EQ(text, characters.substr(0, row.kept));
        _xfree(text);
    }
}

TEST(XdataValueAsChar, AStringWhoseLengthDoesNotCountTheTerminatorLosesItsLastCharacter) {
    std::string characters(100, 'x');
    xdata x = {};
    xdata_set_string(&x, characters.data(), 100);
    EXPECT_EQ(text_of(&x), std::string(99, 'x'));
    xdata_set_string(&x, characters.data(), 10);
    EXPECT_EQ(text_of(&x), std::string(63, 'x')) << "printed up to the terminator, or 63 characters";
}

TEST(XdataValueAsChar, AStringEndsAtItsFirstZeroByte) {
    char text[] = "ab\0cd";
    xdata x = {};
    xdata_set_string(&x, text, sizeof text);
    EXPECT_EQ(text_of(&x), "ab");
}

TEST(XdataValueAsChar, AStringWithoutBuffer) {
    xdata x = {};
    xdata_set_string(&x, nullptr, 1);
    EXPECT_EQ(text_of(&x), "(null)");
    xdata_set_string(&x, nullptr, 100);
    EXPECT_EQ(text_of(&x), "(null)");
}

TEST(XdataValueAsChar, LongNumbersAreCutTo63Characters) {
    char expected[400];
    snprintf(expected, sizeof expected, "%f", DBL_MAX);
    expected[63] = '\0';
    EXPECT_EQ(text_of(make<double>(XDATA_DOUBLE, DBL_MAX).get()), expected);
}

TEST(XdataValueAsChar, NullAndNoTypeGiveNull) {
    EXPECT_EQ(xdata_value_as_char(nullptr), nullptr);
    for (const xdata_type type : kNoTypes) {
        const xdata x = filled(type, 0);
        EXPECT_EQ(xdata_value_as_char(&x), nullptr);
    }
}

TEST(XdataValueAsChar, ForNoTypeTheBufferGoesToThePlatformsFree) {
    CountingAllocator allocator;
    const xdata x = filled(9, 0);
    EXPECT_EQ(xdata_value_as_char(&x), nullptr);
    EXPECT_EQ(allocator.sizes(), std::vector<size_t>{64});
    EXPECT_EQ(allocator.release_calls(), 0U) << "not through the table";
    allocator.forget(allocator.last_block()); // a leak otherwise, which the leak checker would report
}

std::vector<std::string> logged_value(const xdata *x) {
    const LogCapture log;
    xdata_out(x);
    EXPECT_EQ(log.lines().size(), 1U);
    return log.texts(LogLine::debug);
}

TEST(XdataOut, LogsTypeAndValueInOneDebugLine) {
    for (const ValueText &row : kValueTexts)
        EXPECT_EQ(logged_value(row.make().get()),
                  std::vector<std::string>{std::string("xdata: ") + row.type + " = " + row.text + "\n"});
}

TEST(XdataOut, PassesItsFormatAndPrefix) {
    const LogCapture log;
    xdata_out(make<int32_t>(XDATA_INT32, 5).get());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].format, "xdata: %s\n");
    EXPECT_EQ(log.lines()[0].prefix, "_varnel: ");
}

TEST(XdataOut, NullAndNoType) {
    EXPECT_EQ(logged_value(nullptr), std::vector<std::string>{"xdata is null.\n"});
    for (const xdata_type type : kNoTypes) {
        const xdata x = filled(type, 0);
        EXPECT_EQ(logged_value(&x), std::vector<std::string>{"xdata: [unknown] = [unknown]\n\n"});
    }
}

TEST(XdataOut, IsCutTo1023Characters) {
    const std::string characters(2000, 'x');
    const std::string line = "string = " + characters;
    EXPECT_EQ(logged_value(make_text(characters.c_str()).get()),
              std::vector<std::string>{"xdata: " + line.substr(0, 1023) + "\n"});
    const std::string fits(1023 - strlen("string = "), 'y');
    EXPECT_EQ(logged_value(make_text(fits.c_str()).get()), std::vector<std::string>{"xdata: string = " + fits + "\n"});
}

TEST(XdataOut, ANumberIsNotCutTo63Characters) {
    char expected[400];
    snprintf(expected, sizeof expected, "xdata: double = %f\n", DBL_MAX);
    EXPECT_EQ(logged_value(make<double>(XDATA_DOUBLE, DBL_MAX).get()), std::vector<std::string>{expected});
}

TEST(XdataOut, AStringWithoutBufferAndASetBoolean) {
    xdata x = {};
    xdata_set_string(&x, nullptr, 1);
    EXPECT_EQ(logged_value(&x), std::vector<std::string>{"xdata: string = (null)\n"});
    if (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__) {
        xdata_set_boolean(&x, 1);
        EXPECT_EQ(logged_value(&x), std::vector<std::string>{"xdata: boolean = false\n"});
    }
}

TEST(FormatValue, LeavesTheBufferAloneForNoType) {
    char buffer[] = "kept";
    const xdata x = filled(9, 0);
    EXPECT_FALSE(varnel::format_value(buffer, sizeof buffer, &x));
    EXPECT_STREQ(buffer, "kept");
    EXPECT_TRUE(varnel::format_value(buffer, sizeof buffer, make<int32_t>(XDATA_INT32, 1234567).get()));
    EXPECT_STREQ(buffer, "1234") << "cut, and terminated";
}

TEST(XdataTextDeathTest, AbortsWithoutMemory) {
    expect_abort_at_every_allocation([] {
        const xdata x = filled(XDATA_INT32, 0);
        _xfree(xdata_value_as_char(&x));
    });
}

} // namespace
