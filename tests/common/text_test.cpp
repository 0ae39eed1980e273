// SPDX-License-Identifier: MIT
// Text that is safe to show; names that were probably meant.
#include "common/nearest_name.h"
#include "common/text.h"

#include <gtest/gtest.h>

namespace {

using varnel::escaped;
using varnel::in_quotes;

TEST(Utf8, LengthOfTheFirstCharacter) {
    EXPECT_EQ(varnel::utf8_length(""), 0U);
    EXPECT_EQ(varnel::utf8_length("ab"), 1U);
    EXPECT_EQ(varnel::utf8_length(std::string_view("\0", 1)), 1U);
    EXPECT_EQ(varnel::utf8_length("\xc3\xbc!"), 2U);
    EXPECT_EQ(varnel::utf8_length("\xe2\x82\xac!"), 3U);
    EXPECT_EQ(varnel::utf8_length("\xf0\x9f\x98\x80!"), 4U);
    EXPECT_EQ(varnel::utf8_length("\xf0\x9f\x98"), 0U);
}

TEST(Utf8, IsAllOfATextOrItIsNot) {
    EXPECT_TRUE(varnel::is_utf8(""));
    EXPECT_TRUE(varnel::is_utf8("a\xc3\xbc\xe2\x82\xac\xf0\x9f\x98\x80"));
    EXPECT_FALSE(varnel::is_utf8("a\xc3\xbc\xff"));
    EXPECT_FALSE(varnel::is_utf8("a\xc3"));
    EXPECT_FALSE(varnel::is_utf8("\xed\xa0\x80")) << "a surrogate";
    EXPECT_FALSE(varnel::is_utf8("\xc0\x80")) << "an overlong zero";
}

TEST(Escaped, KeepsPrintableText) {
    EXPECT_EQ(escaped("a \"b\" 'c' gr\xc3\xbcn \xe2\x82\xac"), "a \"b\" 'c' gr\xc3\xbcn \xe2\x82\xac");
}

TEST(Escaped, ShowsTheBytesOfTheRest) {
    EXPECT_EQ(escaped("a\nb\x1b[31m\x7f"), "a\\x0ab\\x1b[31m\\x7f");
    EXPECT_EQ(escaped(std::string_view("\0", 1)), "\\x00");
    EXPECT_EQ(escaped("\xc2\x9b"), "\\xc2\\x9b") << "a control character of two bytes";
    EXPECT_EQ(escaped("\xc2\xa0"), "\xc2\xa0");
    EXPECT_EQ(escaped("a\xff\xc3"), "a\\xff\\xc3");
    EXPECT_EQ(escaped("a\\x0a"), "a\\\\x0a") << "not mistaken for an escape";
}

TEST(Quoted, CutsLongText) {
    EXPECT_EQ(in_quotes("a\tb"), "\"a\\x09b\"");
    EXPECT_EQ(in_quotes(std::string(60, 'a')), "\"" + std::string(60, 'a') + "\"");
    EXPECT_EQ(in_quotes(std::string(61, 'a')), "\"" + std::string(60, 'a') + "...\"");
}

TEST(LowerCase, FoldsAsciiOnly) {
    EXPECT_EQ(varnel::in_lower_case("AZaz@[\xc4"), "azaz@[\xc4");
}

TEST(NearestName, CountsLetters) {
    EXPECT_EQ(varnel::edit_distance("", ""), 0U);
    EXPECT_EQ(varnel::edit_distance("", "abc"), 3U);
    EXPECT_EQ(varnel::edit_distance("abc", ""), 3U);
    EXPECT_EQ(varnel::edit_distance("abc", "abc"), 0U);
    EXPECT_EQ(varnel::edit_distance("abc", "axc"), 1U);
    EXPECT_EQ(varnel::edit_distance("abc", "bc"), 1U);
    EXPECT_EQ(varnel::edit_distance("abc", "abbc"), 1U);
    EXPECT_EQ(varnel::edit_distance("kitten", "sitting"), 3U);
}

TEST(NearestName, IsTheLikeliest) {
    const std::vector<std::string> known = {"socket", "owner", "mode", "modules"};
    EXPECT_EQ(varnel::nearest_name("sockt", known), "socket");
    EXPECT_EQ(varnel::nearest_name("module", known), "modules");
    EXPECT_EQ(varnel::nearest_name("mod", known), "mode");
    EXPECT_EQ(varnel::nearest_name("mode", known), "mode");
    EXPECT_EQ(varnel::nearest_name("x", known), "") << "nothing like it";
    EXPECT_EQ(varnel::nearest_name("", known), "");
}

TEST(NearestName, OtherwiseAllAreExpected) {
    EXPECT_EQ(varnel::expected_names("ownr", {"socket", "owner"}), "owner");
    EXPECT_EQ(varnel::expected_names("zzzz", {"socket", "owner"}), "socket, owner");
    EXPECT_EQ(varnel::expected_names("zzzz", {}), "");
}

} // namespace
