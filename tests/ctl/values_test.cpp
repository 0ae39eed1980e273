// SPDX-License-Identifier: MIT
// get, set, unset, mkgroup.
#include "ctl/fake_store.h"
#include "ctl/run.h"

#include "ctl/value_json.h"

#include <gtest/gtest.h>

using namespace ctl_tests;
using varnel::make_int32;
using varnel::make_string;

namespace {

class Values : public testing::Test {
protected:
    Result varnelctl(const Arguments &arguments, const std::string &input = "") {
        return run(daemon_, arguments, input);
    }

    // The value of :net:key after set with these arguments.
    std::string after_set(Arguments arguments, const std::string &input = "") {
        arguments.insert(arguments.begin(), {"set", "net:key"});
        const Result result = varnelctl(arguments, input);
        EXPECT_EQ(result.code, 0) << result.errors;
        EXPECT_EQ(result.output, "");
        return store_.described("user", "net", "key");
    }

    FakeStore store_;
    FakeDaemon daemon_{store_.handler()};
};

} // namespace

TEST_F(Values, ArePrintedAsTheyAre) {
    store_.put("user", "net", "host", make_string("router\t\033[1m\\7"));
    for (const char *key : {"net:host", ":net:host", "user:net:host"}) {
        const Result result = varnelctl({"get", key});
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(result.output, "router\t\033[1m\\7\n");
        EXPECT_EQ(result.errors, "");
    }
}

TEST_F(Values, ArePrintedAsJsonWithTheirTypeAndBackend) {
    store_.put("user", "net", "big", varnel::make_uint64(UINT64_MAX));
    const Result result = varnelctl({"get", "net:big", "--json"});
    EXPECT_EQ(result.json().dump(),
              R"({"key":"user:net:big","layer":"user","group":"net","name":"big","type":"uint64",)"
              R"("value":18446744073709551615,"backend":"sqlite"})");
}

TEST_F(Values, ThatAreNotThereEndWithOne) {
    const Result result = varnelctl({"get", "net:host"});
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "varnelctl: not_found: no such value\n");
}

TEST_F(Values, GetTheTypeThatTheirTextLooksLike) {
    EXPECT_EQ(after_set({"1400"}), "int32 1400");
    store_.layers["user"].clear();
    EXPECT_EQ(after_set({"true"}), "boolean true");
    store_.layers["user"].clear();
    EXPECT_EQ(after_set({"1.5"}), "double 1.5");
    store_.layers["user"].clear();
    EXPECT_EQ(after_set({"get"}), "string get");
}

TEST_F(Values, KeepTheTypeThatTheyHave) {
    store_.put("user", "net", "key", make_string("text"));
    EXPECT_EQ(after_set({"1400"}), "string 1400");
    store_.put("user", "net", "key", varnel::make_uint64(1), "defaults");
    EXPECT_EQ(after_set({"1400"}), "uint64 1400");
}

TEST_F(Values, DoNotLoseTheirTypeByAccident) {
    store_.put("user", "net", "mtu", make_int32(1400));
    const Result result = varnelctl({"set", "net:mtu", "abc"});
    EXPECT_EQ(result.code, 2);
    EXPECT_NE(result.errors.find("'abc' is no int32: expected "), std::string::npos) << result.errors;
    EXPECT_NE(result.errors.find("--type"), std::string::npos);
    EXPECT_EQ(store_.described("user", "net", "mtu"), "int32 1400");
}

TEST_F(Values, GetTheTypeThatIsAskedFor) {
    store_.put("user", "net", "key", make_int32(1));
    EXPECT_EQ(after_set({"7", "--type", "string"}), "string 7");
    EXPECT_EQ(after_set({"--type", "uint64", "7"}), "uint64 7");
    EXPECT_EQ(varnelctl({"set", "net:key", "7", "--type", "int16"}).code, 2);
    EXPECT_EQ(varnelctl({"set", "net:key", "x", "--type", "int32"}).code, 2);
}

TEST_F(Values, MayBeNegative) {
    EXPECT_EQ(after_set({"-5"}), "int32 -5");
    EXPECT_EQ(after_set({"-7", "--type", "int64"}), "int64 -7");
    store_.layers["user"].clear();
    EXPECT_EQ(after_set({"-0.5"}), "double -0.5");
    EXPECT_EQ(after_set({"-inf"}), "double -inf");
}

TEST_F(Values, MayLookLikeAnythingBehindTwoHyphens) {
    EXPECT_EQ(after_set({"--", "--json"}), "string --json");
    EXPECT_EQ(after_set({"--type", "string", "--", "-v"}), "string -v");
}

TEST_F(Values, MayHaveBracketsAndSpaces) {
    for (const char *text : {"[a,b]", "{}", "", " ", "a b", "%%", "\"q\""})
        EXPECT_EQ(after_set({text, "--type", "string"}), std::string("string ") + text);
}

TEST_F(Values, AreReadFromStandardInputLessOneLineEnd) {
    EXPECT_EQ(after_set({"-"}, "one\ntwo\n\n"), "string one\ntwo\n");
    EXPECT_EQ(after_set({"-"}, "three"), "string three");
    EXPECT_EQ(after_set({"-"}, "-"), "string -");
    EXPECT_EQ(after_set({"-"}, std::string(65534, 'x') + "\n"), "string " + std::string(65534, 'x'));
}

TEST_F(Values, ThatCannotBeSentAreRefusedHere) {
    EXPECT_EQ(varnelctl({"set", "net:key", "-"}, std::string(65535, 'x')).code, 2);
    EXPECT_EQ(varnelctl({"set", "net:key", "-"}, std::string("a\0b", 3)).code, 2);
    EXPECT_EQ(store_.writes, 0);
}

TEST_F(Values, AreAsSafeAsIsAskedFor) {
    varnelctl({"set", "net:key", "1"});
    EXPECT_EQ(store_.durability, 0U);
    const Result result = varnelctl({"set", "net:key", "1", "--durability", "folder", "--verbose"});
    EXPECT_EQ(result.output, "layer user, backend sqlite, durability folder, revision 2, 1 changed\n");
    EXPECT_EQ(varnelctl({"set", "net:key", "1", "--durability", "steel"}).code, 2);
}

TEST_F(Values, AreReportedAsJson) {
    const Result result = varnelctl({"set", "net:key", "1", "--json", "--durability=file"});
    EXPECT_EQ(result.json().dump(),
              R"({"layer":"user","backend":"sqlite","durability":"file","revision":1,"changed":1})");
}

TEST_F(Values, RespectLocksWhenAsked) {
    varnelctl({"set", "net:key", "1"});
    EXPECT_EQ(store_.flags, 0U);
    varnelctl({"set", "net:key", "1", "--respect-locks"});
    EXPECT_EQ(store_.flags, 4U);
    varnelctl({"unset", "net:key", "--respect-locks"});
    EXPECT_EQ(store_.flags, 4U);
}

TEST_F(Values, AreRemovedTogether) {
    store_.put("user", "net", "a", make_int32(1));
    store_.put("user", "net", "b", make_int32(1));
    EXPECT_EQ(varnelctl({"unset", "net:a", ":net:b"}).code, 0);
    EXPECT_EQ(store_.described("user", "net", "a") + store_.described("user", "net", "b"), "nonenone");
    EXPECT_EQ(varnelctl({"unset", "net:a"}).code, 1);
    EXPECT_EQ(varnelctl({"unset", "user:net:a", "volatile:net:b"}).code, 2);
}

TEST_F(Values, StandInGroups) {
    EXPECT_EQ(varnelctl({"mkgroup", "volatile:net", "--durability", "file"}).code, 0);
    EXPECT_EQ(store_.layers["volatile"].count({"net", ""}), 1U);
    const Result again = varnelctl({"mkgroup", "volatile:net"});
    EXPECT_EQ(again.code, 4);
    EXPECT_EQ(again.errors, "varnelctl: exists: the group is there\n");
}
