// SPDX-License-Identifier: MIT
// Keys as text.
#include "common/key_text.h"

#include <gtest/gtest.h>

namespace {

using varnel::KeyParts;
using varnel::parse_key;
using varnel::print_key;
using varnel::valid_key_part;

// "layer|group|name", or "-" and what was expected.
std::string parsed(std::string_view text) {
    std::string error;
    const auto key = parse_key(text, &error);
    return key ? key->layer + "|" + key->group + "|" + key->name : "-" + error;
}

TEST(KeyPart, IsOneTo255Bytes) {
    EXPECT_FALSE(valid_key_part(""));
    EXPECT_TRUE(valid_key_part("a"));
    EXPECT_TRUE(valid_key_part(std::string(255, 'a')));
    EXPECT_FALSE(valid_key_part(std::string(256, 'a')));
}

TEST(KeyPart, MayHaveAnythingPrintable) {
    for (const char *const text :
         {" ", "a b", "A.b-c_d/e", "\"", "\\", "=", "{", "~", "gr\xc3\xbc\xc3\x9f", "\xe2\x82\xac", "\xf0\x9f\x98\x80",
          "\xc2\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xf4\x8f\xbf\xbf"})
        EXPECT_TRUE(valid_key_part(text)) << text;
}

TEST(KeyPart, HasNoColonAndNoControlCharacter) {
    for (int c = 0; c < 0x80; ++c)
        EXPECT_EQ(valid_key_part(std::string("a") + static_cast<char>(c)), c >= 0x20 && c != 0x7f && c != ':') << c;
}

TEST(KeyPart, IsValidUtf8) {
    const char *const invalid[] = {
        "\x80",
        "\xbf",
        "\xc3",
        "\xc3(",
        "\xc0\xaf",
        "\xc1\xbf", // cut, overlong
        "\xe2\x82",
        "\xe2\x82(",
        "\xe0\x9f\xbf",
        "\xed\xa0\x80", // surrogate
        "\xf0\x8f\xbf\xbf",
        "\xf4\x90\x80\x80",
        "\xf5\x80\x80\x80",
        "\xf0\x9f\x98",
        "\xff",
        "\xfe",
    };
    for (const char *const text : invalid) {
        EXPECT_FALSE(valid_key_part(text)) << testing::PrintToString(text);
        EXPECT_FALSE(valid_key_part(std::string("a") + text + "a")) << testing::PrintToString(text);
    }
}

TEST(Key, HasOneToThreeParts) {
    EXPECT_EQ(parsed("user"), "user||");
    EXPECT_EQ(parsed("user:net"), "user|net|");
    EXPECT_EQ(parsed("user:net:name"), "user|net|name");
    EXPECT_EQ(parsed("user:net:name:more"), "-at most three parts, layer:group:name");
    EXPECT_EQ(parsed("user:net:name:"), "-at most three parts, layer:group:name");
}

TEST(Key, MayLeaveTheLayerOut) {
    EXPECT_EQ(parsed(":net:name"), "|net|name");
    EXPECT_EQ(parsed(":net"), "|net|");
    EXPECT_EQ(parsed(""), "||");
}

TEST(Key, LeavesNothingElseOut) {
    const std::string group = "-a group of 1 to 255 bytes of UTF-8 without control characters";
    EXPECT_EQ(parsed("user:"), group);
    EXPECT_EQ(parsed(":"), group);
    EXPECT_EQ(parsed("user::name"), group);
    EXPECT_EQ(parsed("user:net:"), "-a name of 1 to 255 bytes of UTF-8 without control characters");
}

TEST(Key, NamesTheBadPart) {
    const std::string bad[] = {"\n", "\x7f", "\xff", std::string(256, 'a'), std::string(1, '\0')};
    for (const std::string &part : bad) {
        EXPECT_EQ(parsed(part + ":a:a").substr(0, 8), "-a layer") << part;
        EXPECT_EQ(parsed("a:" + part + ":a").substr(0, 8), "-a group") << part;
        EXPECT_EQ(parsed("a:a:" + part).substr(0, 7), "-a name") << part;
    }
}

TEST(Key, NeedsNoPlaceForTheError) {
    EXPECT_FALSE(parse_key("a:", nullptr));
    EXPECT_FALSE(parse_key("a:b:c:d", nullptr));
}

TEST(Key, PrintsWhatItWasReadFrom) {
    for (const char *const text : {"user", "user:net", "user:net:name", ":net:name", ":net", ""})
        EXPECT_EQ(print_key(*parse_key(text, nullptr)), text);
    EXPECT_EQ(print_key(KeyParts{"l", "", "n"}), "l::n") << "no key, but shown as it is";
}

} // namespace
