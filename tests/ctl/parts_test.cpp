// SPDX-License-Identifier: MIT
// Keys, arguments, base64 and tables.
#include "ctl/arguments.h"
#include "ctl/base64.h"
#include "ctl/failure.h"
#include "ctl/keys.h"
#include "ctl/table.h"

#include <gtest/gtest.h>

namespace varnel::ctl {

namespace {

std::string parts(const KeyParts &key) {
    return key.layer + "|" + key.group + "|" + key.name;
}

Arguments prepared(std::vector<const char *> words) {
    words.insert(words.begin(), "varnelctl");
    return prepare_arguments(static_cast<int>(words.size()), words.data());
}

using Words = std::vector<std::string>;

} // namespace

TEST(Keys, OfValuesHaveThreePartsOrTwoInTheDefaultLayer) {
    EXPECT_EQ(parts(value_key("user:net:mtu")), "user|net|mtu");
    EXPECT_EQ(parts(value_key(":net:mtu")), "|net|mtu");
    EXPECT_EQ(parts(value_key("net:mtu")), "|net|mtu");
    for (const char *text : {"", "mtu", ":", "::", "a:", ":a", "a:b:", "a::c", "a:b:c:d", "net:\n"})
        EXPECT_THROW(value_key(text), Failure) << text;
}

TEST(Keys, OfGroupsHaveTwoPartsOrOneInTheDefaultLayer) {
    EXPECT_EQ(parts(group_key("user:net")), "user|net|");
    EXPECT_EQ(parts(group_key(":net")), "|net|");
    EXPECT_EQ(parts(group_key("net")), "|net|");
    for (const char *text : {"", ":", "a:", "a:b:c", "a:b:"})
        EXPECT_THROW(group_key(text), Failure) << text;
}

TEST(Keys, OfLocksAreOnAGroupOrAValue) {
    EXPECT_EQ(parts(lock_key("user:net")), "user|net|");
    EXPECT_EQ(parts(lock_key(":net:mtu")), "|net|mtu");
    for (const char *text : {"", "net", ":", "a:b:c:d"})
        EXPECT_THROW(lock_key(text), Failure) << text;
}

TEST(Keys, OfListsMayEndEarly) {
    EXPECT_EQ(parts(any_key("")), "||");
    EXPECT_EQ(parts(any_key("user")), "user||");
    EXPECT_EQ(parts(any_key("user:net")), "user|net|");
    EXPECT_EQ(parts(any_key(":net:mtu")), "|net|mtu");
    EXPECT_THROW(any_key("a:b:c:d"), Failure);
}

TEST(PreparedArguments, AreAsTheyWere) {
    EXPECT_EQ(prepared({"get", "a:b", "--json"}).options, (Words{"get", "a:b", "--json"}));
    EXPECT_EQ(prepare_arguments(0, nullptr).options, Words());
}

TEST(PreparedArguments, HaveNegativeNumbersThatAreSetBehindTheOptions) {
    EXPECT_EQ(prepared({"set", "a:b", "-5", "--type", "int32"}).options,
              (Words{"set", "a:b", "--type", "int32", "--", "-5"}));
    EXPECT_EQ(prepared({"--socket", "s", "set", "a:b", "-.5"}).options,
              (Words{"--socket", "s", "set", "a:b", "--", "-.5"}));
    EXPECT_EQ(prepared({"set", "a:b", "-INF"}).options, (Words{"set", "a:b", "--", "-INF"}));
    EXPECT_EQ(prepared({"set", "-nan", "--", "a:b"}).options, (Words{"set", "--", "a:b", "-nan"}));
    EXPECT_EQ(prepared({"set", "a:b", "--", "-5"}).options, (Words{"set", "a:b", "--", "-5"}));
    EXPECT_EQ(prepared({"set", "a:b", "-v", "5"}).options, (Words{"set", "a:b", "-v", "5"}));
    EXPECT_EQ(prepared({"get", "-5"}).options, (Words{"get", "-5"}));
}

TEST(PreparedArguments, HaveTheCommandThatALockIsHeldFor) {
    const Arguments arguments = prepared({"lock", "a:b", "--wait", "1", "--", "set", "--json", "--", "-5"});
    EXPECT_EQ(arguments.options, (Words{"lock", "a:b", "--wait", "1"}));
    EXPECT_EQ(arguments.words, (Words{"set", "--json", "--", "-5"}));
    EXPECT_EQ(prepared({"lock", "a:b", "--"}).words, Words());
    EXPECT_EQ(prepared({"--timeout", "5", "lock", "a:b", "--", "x"}).words, (Words{"x"}));
}

// The examples of RFC 4648.
TEST(Base64, WritesAndReads) {
    const std::pair<const char *, const char *> examples[] = {{"", ""},
                                                              {"f", "Zg=="},
                                                              {"fo", "Zm8="},
                                                              {"foo", "Zm9v"},
                                                              {"foob", "Zm9vYg=="},
                                                              {"fooba", "Zm9vYmE="},
                                                              {"foobar", "Zm9vYmFy"}};
    for (const auto &[bytes, text] : examples) {
        EXPECT_EQ(to_base64(bytes), text);
        EXPECT_EQ(from_base64(text), bytes);
    }
}

TEST(Base64, HoldsEveryByte) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    for (std::size_t size = 0; size <= bytes.size(); ++size)
        EXPECT_EQ(from_base64(to_base64(bytes.substr(0, size))), bytes.substr(0, size));
}

TEST(Base64, ReadsNothingElse) {
    for (const char *text :
         {"Z", "Zg", "Zg=", "Zh==", "Zm9=", "====", "Zg==Zg==", "Zm 9", "Zm9v\n", "Zm9-", "A===", "=Zg="})
        EXPECT_EQ(from_base64(text), std::nullopt) << text;
}

TEST(Tables, HaveColumnsUnderOneAnother) {
    Table table({"KEY", "VALUE"});
    table.add({"user:net:mtu", "1400"});
    table.add({"a", "b"});
    EXPECT_EQ(table.text(), "KEY           VALUE\n"
                            "user:net:mtu  1400\n"
                            "a             b\n");
}

TEST(Tables, CountCharactersInsteadOfBytes) {
    Table table;
    table.add({"größe", "1"});
    table.add({"four", "2"});
    EXPECT_EQ(table.text(), "größe  1\n"
                            "four   2\n");
}

TEST(Tables, DoNotLetValuesActOnTheTerminal) {
    Table table;
    table.add({"\033[2J", "a\nb"});
    const std::string text = table.text();
    EXPECT_EQ(text.find('\033'), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

} // namespace varnel::ctl
