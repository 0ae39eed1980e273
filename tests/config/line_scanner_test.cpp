// SPDX-License-Identifier: MIT
// The line scanner, by example. line_scanner_sscanf_test.cpp compares it with sscanf.
#include "config/line_scanner.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace varnel;

std::string normalised(std::string text) {
    char *const result = config_trim_lower(text.data());
    EXPECT_EQ(result, text.data()) << "moved to the start of the buffer";
    return result;
}

TEST(ConfigTrimLower, TrimsAndFolds) {
    const struct {
        const char *text;
        const char *result;
    } rows[] = {
        {"", ""},
        {"a", "a"},
        {"Key = Value", "key = value"},
        {" \t\n\v\f\rA b \t\n\v\f\r", "a b"},
        {"a\r\n", "a"},
        {"a\n\r", "a"},
        {"   \t  ", ""},
        {"\r\n", ""},
        {"\"Quoted Text\"", "\"quoted text\""},
        {"a  B\tC", "a  b\tc"},
        {"\x80\xc4\xff Z", "\x80\xc4\xff z"},
        {" \xa0 ", "\xa0"},
        {"@AZ[`az{", "@az[`az{"},
        {"a\\ \r\n", "a\\"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(normalised(row.text), row.result) << '"' << row.text << '"';
}

TEST(ConfigTrimLower, OfNullIsNull) {
    EXPECT_EQ(config_trim_lower(nullptr), nullptr);
}

TEST(ConfigTrimLower, TouchesNothingBehindTheTerminator) {
    char text[] = "  A \0XYZ";
    config_trim_lower(text);
    EXPECT_STREQ(text, "a");
    EXPECT_EQ(std::string(text + 5, 3), "XYZ");
}

// "key|value" or "key" or "" for the three kinds.
std::string scanned(std::string line) {
    const std::string before = line;
    const ScannedLine result = scan_line(line.data());
    EXPECT_EQ(line, before) << "the line is not changed";
    if (result.kind == ScanKind::none)
        return "";
    const std::string key(result.key.text, result.key.length);
    if (result.kind == ScanKind::group_name)
        return key;
    return key + "|" + std::string(result.value.text, result.value.length);
}

TEST(ScanLine, Examples) {
    const struct {
        const char *line;
        const char *result;
    } rows[] = {
        // double-quoted
        {"a = \"x\"", "a |x"},
        {"a=\"x\"", "a|x"},
        {"a = \" x ; # ' = y \" z", "a | x ; # ' = y "},
        {"a = \"x", "a |x"},
        // single-quoted
        {"a = 'x'", "a |x"},
        {"a = 'x \" ; = y' z", "a |x \" ; = y"},
        {"a = 'x", "a |x"},
        // a single quote and more
        {"a = ''", "a |'"},
        {"a = '''", "a |''"},
        {"a = ''x' ; y", "a |'x' ; y"},
        {"a = ''x=y", "a |'x"},
        {"a = ''=", "a |'"},
        // bare
        {"a = b", "a |b"},
        {"a=b", "a|b"},
        {"a = b ; c", "a |b "},
        {"a = b # c", "a |b "},
        {"a = b=c", "a |b=c"},
        {"a == b", "a |= b"},
        {"a = {", "a |{"},
        {"a = { b = 1 }", "a |{ b = 1 }"},
        {"a b\t=\t c d", "a b\t|c d"},
        {"a = \"", "a |\""},
        {"a = \"\"", "a |\"\""},
        {"a = \"\" ; b", "a |\"\" "},
        {"a = '", "a |'"},
        {"a;b = c", "a;b |c"},
        {" a = b", " a |b"},
        // a name alone
        {"a =", "a "},
        {"a=", "a"},
        {"a = ; b", "a "},
        {"a = # b", "a "},
        {"a = \t", "a "},
        // none
        {"", ""},
        {"a", ""},
        {"= a", ""},
        {"=", ""},
        {"==", ""},
        {"{", ""},
        {"}", ""},
        {"a {", ""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(scanned(row.line), row.result) << row.line;
}

TEST(ScanBare, EndsAtAComment) {
    const struct {
        const char *line;
        const char *result;
    } rows[] = {
        {"", ""},         {"}", "}"},  {"} ; x", "} "}, {"} # x", "} "},
        {"{;#", "{"},     {"; x", ""}, {"# x", ""},     {"a = \"x;y\"", "a = \"x"},
        {"a b ", "a b "},
    };
    for (const auto &row : rows) {
        std::string line = row.line;
        const Slice slice = scan_bare(line.data());
        EXPECT_EQ(slice.text, line.data());
        EXPECT_EQ(std::string(slice.text, slice.length), row.result) << row.line;
        EXPECT_EQ(line, row.line);
    }
}

} // namespace
