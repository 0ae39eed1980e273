// SPDX-License-Identifier: MIT
#include "ctl/load_document.h"

#include "ctl/failure.h"

#include <gtest/gtest.h>

#include <sstream>

namespace varnel::ctl {

namespace {

LoadDocument read(const std::string &text) {
    std::istringstream input(text);
    return read_document(input);
}

std::string complaint(const std::string &text) {
    try {
        read(text);
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.code(), kUsage);
        return failure.what();
    }
    return "none";
}

} // namespace

TEST(LoadDocument, HasLayerValuesAndEmptyGroups) {
    const LoadDocument document = read(R"({"varnel": 1, "layer": "user", "groups": {
        "net": {"mtu": {"type": "int64", "value": 1400}, "host": "router"}, "empty": {}}})");
    EXPECT_EQ(document.layer, "user");
    EXPECT_EQ(document.empty_groups, std::vector<std::string>{"empty"});
    ASSERT_EQ(document.values.size(), 2U);
    EXPECT_EQ(document.values[0].group + ":" + document.values[0].name, "net:mtu");
    EXPECT_EQ(document.values[0].value->type, xdata_type{XDATA_INT64});
    EXPECT_EQ(document.values[1].name, "host");
}

TEST(LoadDocument, NeedsGroupsAlone) {
    EXPECT_EQ(read(R"({"groups": {}})").layer, "");
}

TEST(LoadDocument, IsNotRead) {
    for (const char *text :
         {"", "{", "[]", "5", "{}", R"({"groups": []})", R"({"groups": {}, "layers": 1})", R"({"groups": {}} x)",
          R"({"varnel": 2, "groups": {}})", R"({"varnel": "1", "groups": {}})", R"({"layer": 5, "groups": {}})",
          R"({"layer": "a:b", "groups": {}})", R"({"groups": {"a": 5}})", R"({"groups": {"": {}}})",
          R"({"groups": {"a:b": {}}})", R"({"groups": {"a": {"": 1}}})", R"({"groups": {"a": {"b\n": 1}}})",
          R"({"groups": {"a": {"b": null}}})", R"({"groups": {"a": {"b": 1e999}}})"})
        EXPECT_NE(complaint(text), "none") << text;
    EXPECT_NE(complaint("{\"groups\": {\"a\": {\"b\": \"\xff\"}}}"), "none");
    EXPECT_NE(complaint(R"({"groups": {"a": {")" + std::string(256, 'x') + R"(": 1}}})"), "none");
    EXPECT_NE(complaint(R"({"groups": {"a": {"b": ")" + std::string(65535, 'x') + R"("}}})"), "none");
}

TEST(LoadDocument, SaysWhereItIsWrong) {
    EXPECT_EQ(complaint(R"({"groups": {"net": {"mtu": {"type": "int32", "value": true}}}})"),
              "net:mtu: true is no int32");
    EXPECT_NE(complaint("{\"groups\":\n {\"net\": }}").find("line 2"), std::string::npos);
}

// A JSON parser keeps the last one and says nothing.
TEST(LoadDocument, DoesNotHaveAMemberTwice) {
    EXPECT_EQ(complaint(R"({"groups": {"net": {"mtu": 1, "mtu": 2}}})"), "\"mtu\" is there twice in one object");
    EXPECT_NE(complaint(R"({"groups": {"net": {}, "net": {}}})"), "none");
    EXPECT_EQ(complaint(R"({"groups": {"a": {"x": 1}, "b": {"x": 1}}})"), "none");
}

} // namespace varnel::ctl
