// SPDX-License-Identifier: MIT
// Typed look-ups by path.
#include "config/lookup.h"
#include "tree_text.h"

#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <string>

namespace {

using varnel::confparser_lookup;

class Lookup : public testing::Test {
protected:
    void SetUp() override {
        set_string(root(), "port", "0x50");
        set_string(root(), "null", nullptr);
        xdictionary *const user = add_group(root(), "user");
        set_string(user, "port", "0x1f");
        set_string(add_group(user, "net"), "host", "here");
        other_ = xdictionary_new(0);
        set_string(other_, "a", "1");
        xdictionary_set(root(), "other", other_, 2);
        xdictionary_set(root(), "nothing", nullptr, XDICTIONARY_GROUP);
    }

    xdictionary *root() { return root_.get(); }
    void set(const char *key, const char *value) { set_string(root(), key, value); }

    Tree root_{xdictionary_new(0)};
    xdictionary *other_ = nullptr; // a group, but not of type 1
};

TEST_F(Lookup, FollowsGroups) {
    const struct {
        const char *path;
        const char *value;
    } rows[] = {
        {"port", "0x50"},
        {"user:port", "0x1f"},
        {"user:net:host", "here"},
        {"User:Port", nullptr},
        {"user:missing", nullptr},
        {"missing", nullptr},
        {"missing:port", nullptr},
        {"port:x", nullptr},
        {"user:port:x", nullptr},
        {"other:a", nullptr},
        {"nothing:a", nullptr},
        {"null:a", nullptr},
        {"", nullptr},
        {":", nullptr},
        {":port", nullptr},
        {"user:", nullptr},
        {"user::port", nullptr},
        {"port:", nullptr},
        {" port", nullptr},
        {"us", nullptr},
    };
    for (const auto &row : rows) {
        uint32_t type = 77;
        const char *const value = static_cast<const char *>(confparser_lookup(root(), row.path, &type));
        EXPECT_STREQ(value, row.value) << row.path;
        EXPECT_EQ(type, row.value != nullptr ? 0U : 77U) << row.path;
    }
}

TEST_F(Lookup, GivesTheTreesOwnPointersAndTypes) {
    uint32_t type = 77;
    EXPECT_EQ(confparser_lookup(root(), "user", &type), group_at(root(), "user"));
    EXPECT_EQ(type, 1U);
    EXPECT_EQ(confparser_lookup(root(), "other", &type), other_);
    EXPECT_EQ(type, 2U);
    EXPECT_EQ(confparser_lookup(root(), "null", &type), nullptr);
    EXPECT_EQ(type, 0U);
    EXPECT_EQ(confparser_getstring(root(), "port", nullptr), string_at(root(), "port"));
}

TEST_F(Lookup, NeedsADictionaryAndAPath) {
    uint32_t type = 77;
    EXPECT_EQ(confparser_lookup(nullptr, "port", &type), nullptr);
    EXPECT_EQ(confparser_lookup(root(), nullptr, &type), nullptr);
    EXPECT_EQ(type, 77U);
    EXPECT_EQ(confparser_getdic(nullptr, "user"), nullptr);
    EXPECT_EQ(confparser_getdic(root(), nullptr), nullptr);
    EXPECT_STREQ(confparser_getstring(nullptr, "port", "d"), "d");
    EXPECT_STREQ(confparser_getstring(root(), nullptr, "d"), "d");
    EXPECT_EQ(confparser_getint(nullptr, "port", 7), 7);
    EXPECT_EQ(confparser_getint(root(), nullptr, 7), 7);
    EXPECT_EQ(confparser_getdouble(nullptr, "port", 2.5), 2.5);
    EXPECT_EQ(confparser_getdouble(root(), nullptr, 2.5), 2.5);
    EXPECT_EQ(confparser_getboolean(nullptr, "port", 9), 9);
    EXPECT_EQ(confparser_getboolean(root(), nullptr, 9), 9);
}

TEST_F(Lookup, EmptyNamesAreNames) {
    set_string(add_group(root(), ""), "", "inner");
    EXPECT_EQ(confparser_getdic(root(), ""), group_at(root(), ""));
    EXPECT_STREQ(confparser_getstring(root(), ":", nullptr), "inner");
    set_string(group_at(root(), "user"), "", "last");
    EXPECT_STREQ(confparser_getstring(root(), "user:", nullptr), "last");
}

// A group's name of that many characters, and "a".
std::string path_with_group(size_t length) {
    std::string path(length + 2, 'g');
    path[length] = ':';
    path[length + 1] = 'a';
    return path;
}

TEST_F(Lookup, LongNames) {
    const std::string fits(1023, 'k');
    const std::string too_long(1024, 'k');
    set(fits.c_str(), "found");
    set(too_long.c_str(), "never found");
    EXPECT_STREQ(confparser_getstring(root(), fits.c_str(), nullptr), "found");
    EXPECT_STREQ(confparser_getstring(root(), too_long.c_str(), nullptr), "found") << "a last name is cut";
    EXPECT_STREQ(confparser_getstring(root(), std::string(5000, 'k').c_str(), nullptr), "found");

    const std::string group_fits(1023, 'g');
    set_string(add_group(root(), group_fits.c_str()), fits.c_str(), "inner");
    set_string(add_group(root(), std::string(1024, 'g').c_str()), "a", "unreachable");
    EXPECT_STREQ(confparser_getstring(root(), (group_fits + ":" + too_long).c_str(), nullptr), "inner");
    EXPECT_EQ(confparser_lookup(root(), path_with_group(1024).c_str(), nullptr), nullptr);
    EXPECT_EQ(confparser_lookup(root(), path_with_group(100000).c_str(), nullptr), nullptr);
}

TEST_F(Lookup, DictionaryIsAGroupOfTypeOne) {
    EXPECT_EQ(confparser_getdic(root(), "user"), group_at(root(), "user"));
    EXPECT_EQ(confparser_getdic(root(), "user:net"), group_at(group_at(root(), "user"), "net"));
    for (const char *const path : {"user:port", "port", "missing", "other", "nothing", "null", "user:missing"})
        EXPECT_EQ(confparser_getdic(root(), path), nullptr) << path;
}

TEST_F(Lookup, StringFallsBackWithoutAString) {
    EXPECT_STREQ(confparser_getstring(root(), "user:port", "d"), "0x1f");
    for (const char *const path : {"user", "missing", "other", "nothing", "null", "port:x", "user:missing"}) {
        EXPECT_STREQ(confparser_getstring(root(), path, "d"), "d") << path;
        EXPECT_EQ(confparser_getstring(root(), path, nullptr), nullptr) << path;
    }
    set("empty", "");
    EXPECT_STREQ(confparser_getstring(root(), "empty", "d"), "");
}

TEST_F(Lookup, IntIsReadInBaseZero) {
    const struct {
        const char *text;
        int value;
    } rows[] = {
        {"0", 0},
        {"17", 17},
        {"-17", -17},
        {"+5", 5},
        {"0x1f", 31},
        {"0X1F", 31},
        {"-0x10", -16},
        {"010", 8},
        {"09", 0},
        {"0x", 0},
        {" \t\n12 34", 12},
        {"12abc", 12},
        {"1.9", 1},
        {"abc", 0},
        {"", 0},
        {"-", 0},
        {"2147483647", INT_MAX},
        {"2147483648", INT_MAX},
        {"4294967296", INT_MAX},
        {"99999999999999999999", INT_MAX},
        {"-2147483648", INT_MIN},
        {"-2147483649", INT_MIN},
        {"-99999999999999999999", INT_MIN},
        {"0xffffffff", INT_MAX},
    };
    for (const auto &row : rows) {
        set("n", row.text);
        EXPECT_EQ(confparser_getint(root(), "n", 7), row.value) << row.text;
    }
}

TEST_F(Lookup, IntFallsBackWithoutAString) {
    EXPECT_EQ(confparser_getint(root(), "user:port", 7), 31);
    for (const char *const path : {"user", "missing", "user:missing", "other", "null", "port:x", "User:Port"})
        EXPECT_EQ(confparser_getint(root(), path, 7), 7) << path;
}

TEST_F(Lookup, DoubleIsReadAsFarAsItGoes) {
    const struct {
        const char *text;
        double value;
    } rows[] = {
        {"1.5", 1.5}, {"-0.25x", -0.25}, {"1e3", 1000.0}, {" 2", 2.0},         {"abc", 0.0},
        {"", 0.0},    {".5", 0.5},       {"0x10", 16.0},  {"1e999", HUGE_VAL},
    };
    for (const auto &row : rows) {
        set("n", row.text);
        EXPECT_EQ(confparser_getdouble(root(), "n", 7.5), row.value) << row.text;
    }
    for (const char *const path : {"user", "missing", "user:missing", "other", "null"})
        EXPECT_EQ(confparser_getdouble(root(), path, 7.5), 7.5) << path;
}

TEST_F(Lookup, BooleanLooksAtTheFirstCharacter) {
    for (int c = 1; c < 256; ++c) {
        const char text[] = {static_cast<char>(c), 'x', '\0'};
        set("b", text);
        const bool yes = std::string_view("yY1tT").find(text[0]) != std::string_view::npos;
        const bool no = std::string_view("nN0fF").find(text[0]) != std::string_view::npos;
        EXPECT_EQ(confparser_getboolean(root(), "b", 9), yes ? 1 : no ? 0 : 9) << c;
    }
}

TEST_F(Lookup, BooleanFallsBack) {
    for (const char *const text : {"off", "on", "2", " yes", "", "-1"}) {
        set("b", text);
        EXPECT_EQ(confparser_getboolean(root(), "b", 0), 0) << text;
        EXPECT_EQ(confparser_getboolean(root(), "b", 1), 1) << text;
        EXPECT_EQ(confparser_getboolean(root(), "b", 255), 255) << text;
    }
    for (const char *const path : {"user", "missing", "other", "null", "user:missing"})
        EXPECT_EQ(confparser_getboolean(root(), path, 9), 9) << path;
    set("b", "yes");
    EXPECT_EQ(confparser_getboolean(root(), "b", 0), 1);
    set("b", "NO");
    EXPECT_EQ(confparser_getboolean(root(), "b", 1), 0);
}

} // namespace
