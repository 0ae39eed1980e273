// SPDX-License-Identifier: MIT
#include "ctl/fake_store.h"
#include "ctl/run.h"

#include "ctl/value_json.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace ctl_tests;
using varnel::make_int32;
using varnel::make_string;

namespace {

class DumpLoad : public testing::Test {
protected:
    Result varnelctl(const Arguments &arguments, const std::string &input = "") {
        return run(daemon_, arguments, input);
    }

    void put_every_type() {
        const float single = 0.1F;
        const double real = -INFINITY;
        const std::int64_t large = INT64_MIN;
        store_.put("user", "types", "string", make_string("größe\n"));
        store_.put("user", "types", "bytes", varnel::ctl::string_of_characters("\xff\x00"));
        store_.put("user", "types", "int32", make_int32(-5));
        store_.put("user", "types", "uint32", varnel::make_uint32(UINT32_MAX));
        store_.put("user", "types", "int64", varnel::Value(xdata_new(XDATA_INT64, &large)));
        store_.put("user", "types", "uint64", varnel::make_uint64(UINT64_MAX));
        store_.put("user", "types", "float", varnel::Value(xdata_new(XDATA_FLOAT, &single)));
        store_.put("user", "types", "double", varnel::Value(xdata_new(XDATA_DOUBLE, &real)));
        store_.put("user", "types", "boolean", varnel::make_boolean(true));
        store_.layers["user"].try_emplace({"empty", ""}, make_string(""), "sqlite");
    }

    [[nodiscard]] long count(const char *request) const {
        return std::count(daemon_.requests.begin(), daemon_.requests.end(), request);
    }

    FakeStore store_;
    FakeDaemon daemon_{store_.handler()};
};

// A dump of that many values of some bytes each.
std::string document(int values, std::size_t bytes) {
    std::string text = R"({"groups": {"g": {)";
    for (int i = 0; i < values; ++i)
        text += (i == 0 ? "" : ",") + std::string("\"n") + std::to_string(i) + "\": \"" + std::string(bytes, 'x') + '"';
    return text + "}}}";
}

} // namespace

TEST_F(DumpLoad, MovesALayerBitForBit) {
    put_every_type();
    const Result dump = varnelctl({"dump", "user"});
    ASSERT_EQ(dump.code, 0) << dump.errors;
    ASSERT_EQ(varnelctl({"load", "volatile", "-"}, dump.output).code, 0);
    const auto &from = store_.layers["user"];
    const auto &to = store_.layers["volatile"];
    ASSERT_EQ(from.size(), 11U);
    ASSERT_EQ(to.size(), from.size());
    for (const auto &[names, row] : from) {
        ASSERT_EQ(to.count(names), 1U) << names.first << ":" << names.second;
        EXPECT_TRUE(varnel::identical(*row.first, *to.at(names).first)) << names.first << ":" << names.second;
    }
    EXPECT_EQ(store_.writes, 1);
}

TEST_F(DumpLoad, WritesTheFormThatIsDocumented) {
    store_.put("user", "net", "mtu", make_int32(1400));
    store_.layers["user"].try_emplace({"empty", ""}, make_string(""), "sqlite");
    EXPECT_EQ(varnelctl({"dump"}).json().dump(),
              R"({"varnel":1,"layer":"user","groups":{"empty":{},"net":{"mtu":{"type":"int32","value":1400}}}})");
}

TEST_F(DumpLoad, LeavesDefaultsOutUnlessAsked) {
    store_.put("user", "net", "mtu", make_int32(1400));
    store_.put("user", "net", "host", make_string("device"), "defaults");
    EXPECT_EQ(varnelctl({"dump"}).json()["groups"]["net"].size(), 1U);
    EXPECT_EQ(varnelctl({"dump", "--all"}).json()["groups"]["net"].size(), 2U);
}

TEST_F(DumpLoad, WritesAGroupOrAValue) {
    store_.put("user", "net", "mtu", make_int32(1400));
    store_.put("user", "net", "host", make_string("a"));
    store_.put("user", "lamps", "hall", make_string("on"));
    EXPECT_EQ(varnelctl({"dump", ":net"}).json()["groups"].size(), 1U);
    EXPECT_EQ(varnelctl({"dump", "user:net:mtu"}).json()["groups"].dump(),
              R"({"net":{"mtu":{"type":"int32","value":1400}}})");
}

TEST_F(DumpLoad, ReadsTheLayerAgainWhenItChangedMeanwhile) {
    store_.put("user", "net", "mtu", make_int32(1400));
    int lists = 0;
    FakeDaemon daemon([&](const Received &request) {
        if (request.code() == control_list && ++lists == 1)
            ++store_.revision;
        return store_.answer(request);
    });
    EXPECT_EQ(run(daemon, {"dump"}).code, 0);
    EXPECT_EQ(lists, 2);
}

TEST_F(DumpLoad, GivesUpOnALayerThatChangesAllTheTime) {
    FakeDaemon daemon([&](const Received &request) {
        ++store_.revision;
        return store_.answer(request);
    });
    const Result result = run(daemon, {"dump"});
    EXPECT_EQ(result.code, 4);
    EXPECT_EQ(result.output, "");
}

TEST_F(DumpLoad, StoresIntoTheLayerThatIsNamedElseTheFilesElseTheDefault) {
    const std::string path = file_with(R"({"layer": "volatile", "groups": {"g": {"n": 1}}})");
    EXPECT_EQ(varnelctl({"load", path}).code, 0);
    EXPECT_EQ(store_.described("volatile", "g", "n"), "int32 1");
    EXPECT_EQ(varnelctl({"load", "user", path}).code, 0);
    EXPECT_EQ(store_.described("user", "g", "n"), "int32 1");
    EXPECT_EQ(varnelctl({"load", "-"}, R"({"groups": {"g": {"m": 2}}})").code, 0);
    EXPECT_EQ(store_.described("user", "g", "m"), "int32 2");
    EXPECT_EQ(varnelctl({"load", "nolayer", path}).code, 4);
}

TEST_F(DumpLoad, ReplacesWhenAsked) {
    store_.put("user", "old", "value", make_int32(1));
    EXPECT_EQ(varnelctl({"load", "-", "--replace"}, R"({"groups": {"g": {"n": 1}}})").code, 0);
    EXPECT_EQ(store_.described("user", "old", "value"), "none");
    EXPECT_EQ(store_.flags, 2U);
    EXPECT_EQ(varnelctl({"load", "-", "--replace"}, R"({"groups": {}})").code, 0);
    EXPECT_TRUE(store_.layers["user"].empty());
    EXPECT_EQ(
        varnelctl({"load", "-", "--respect-locks", "--durability", "folder"}, R"({"groups": {"g": {"n": 1}}})").code,
        0);
    EXPECT_EQ(store_.flags, 4U);
    EXPECT_EQ(store_.durability, 2U);
}

TEST_F(DumpLoad, DoesNotMindGroupsThatAreThere) {
    store_.layers["user"].try_emplace({"empty", ""}, make_string(""), "sqlite");
    EXPECT_EQ(varnelctl({"load", "-"}, R"({"groups": {"empty": {}, "other": {}}})").code, 0);
    EXPECT_EQ(store_.layers["user"].count({"other", ""}), 1U);
    EXPECT_EQ(count("control_set"), 0);
}

TEST_F(DumpLoad, WritesAllAtOnceHoweverManyRequestsItTakes) {
    EXPECT_EQ(varnelctl({"load", "-"}, document(3000, 1)).code, 0);
    EXPECT_EQ(count("control_set"), 3); // 1364 rows each
    EXPECT_EQ(store_.writes, 1);
    EXPECT_EQ(store_.layers["user"].size(), 3001U);
}

TEST_F(DumpLoad, WritesAllAtOnceHoweverLongItsValuesAre) {
    EXPECT_EQ(varnelctl({"load", "-"}, document(40, 60000)).code, 0);
    EXPECT_EQ(count("control_set"), 3); // a mebibyte each
    EXPECT_EQ(store_.writes, 1);
    EXPECT_EQ(store_.layers["user"].size(), 41U);
}

TEST_F(DumpLoad, KeepsToTheDaemonsLimits) {
    store_.limits = {{"message_bytes", 1024}, {"parameters", 16}};
    EXPECT_EQ(varnelctl({"load", "-"}, document(10, 1)).code, 0);
    EXPECT_EQ(count("control_set"), 3); // (16 - 3) / 3 rows each
    EXPECT_EQ(varnelctl({"load", "-"}, document(4, 300)).code, 0);
    EXPECT_EQ(count("control_set"), 5);
    const Result result = varnelctl({"load", "-"}, document(2, 1000));
    EXPECT_EQ(result.code, 4);
    EXPECT_NE(result.errors.find("g:n0 is too large"), std::string::npos) << result.errors;
    EXPECT_EQ(count("control_set"), 5);
}

TEST_F(DumpLoad, SendsNothingOfAFileThatIsWrong) {
    const Result result = varnelctl({"load", "-"}, R"({"groups": {"g": {"n": 1, "m": null}}})");
    EXPECT_EQ(result.code, 2);
    EXPECT_EQ(result.errors, "varnelctl: g:m: null is no value\n");
    EXPECT_TRUE(daemon_.requests.empty());
}

TEST_F(DumpLoad, OnlyLooksInADryRun) {
    const Result result =
        varnelctl({"load", "-", "--dry-run"}, R"({"layer": "user", "groups": {"g": {"n": 1}, "h": {}}})");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, "would store 1 values and 1 empty groups in layer user\n");
    EXPECT_EQ(daemon_.requests, std::vector<std::string>{"control_other"}); // for its limits
    EXPECT_EQ(store_.writes, 0);
    EXPECT_EQ(varnelctl({"load", "-", "--dry-run"}, R"({"groups": 5})").code, 2);
}

TEST_F(DumpLoad, NeedsNoDaemonForADryRun) {
    const Result result =
        run_alone({"load", "-", "--dry-run", "--socket", "/nonexistent/socket"}, R"({"groups": {"g": {"n": 1}}})");
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, "would store 1 values and 0 empty groups in the default layer\n");
    EXPECT_EQ(result.errors, "");
}

// What is kept of a row: 80 bytes, group and name, and the value as in a message, here 4 + 400 + 1.
TEST_F(DumpLoad, SendsNothingOfWhatTheDaemonWouldNotKeepUntilTheEnd) {
    constexpr std::size_t kRow = 80 + 1 + 2 + 4 + 401;
    store_.limits = {{"message_bytes", 1024}, {"staged_bytes", 4 * kRow}};
    EXPECT_EQ(varnelctl({"load", "-"}, document(4, 400)).code, 0);
    EXPECT_EQ(store_.writes, 1);
    const auto sets = count("control_set");
    EXPECT_GT(sets, 1);
    const std::string words = "the dump is too large: it takes " + std::to_string(5 * kRow) +
                              " bytes, and the daemon's limit staged_bytes is " + std::to_string(4 * kRow) +
                              "; nothing has been stored";
    for (const char *const option : {"--replace", "--dry-run"}) {
        const Result result = varnelctl({"load", "-", option}, document(5, 400));
        EXPECT_EQ(result.code, 4);
        EXPECT_NE(result.errors.find(words), std::string::npos) << result.errors;
    }
    EXPECT_EQ(count("control_set"), sets);
}

TEST_F(DumpLoad, MayBeLargerThanThatInOneRequest) {
    store_.limits = {{"message_bytes", 4096}, {"staged_bytes", 1024}};
    EXPECT_EQ(varnelctl({"load", "-"}, document(5, 400)).code, 0);
    EXPECT_EQ(count("control_set"), 1);
}
