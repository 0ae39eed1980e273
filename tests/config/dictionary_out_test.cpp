// SPDX-License-Identifier: MIT
// xdictionary_out: the dump on standard output.
#include "tree_text.h"

#include <gtest/gtest.h>
#include <string>

namespace {

std::string printed(const xdictionary *d, int indent) {
    testing::internal::CaptureStdout();
    xdictionary_out(d, indent);
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

Tree example() {
    Tree d(xdictionary_new(0));
    set_string(d.get(), "a", "1");
    set_string(add_group(d.get(), "g"), "b", "2");
    return d;
}

TEST(DictionaryOut, SaysThatThereIsNone) {
    EXPECT_EQ(printed(nullptr, 0), "xdictionary is null.\n");
    EXPECT_EQ(printed(nullptr, 3), "xdictionary is null.\n");
}

TEST(DictionaryOut, EmptyOnePrintsNothing) {
    const Tree d(xdictionary_new(0));
    EXPECT_EQ(printed(d.get(), 0), "");
    EXPECT_EQ(printed(d.get(), 2), "");
}

TEST(DictionaryOut, IndentsGroupsByFourSpaces) {
    const Tree d = example();
    EXPECT_EQ(printed(d.get(), 0), "a = 1\n"
                                   "g = {\n"
                                   "    b = 2\n"
                                   "}\n");
}

TEST(DictionaryOut, StartsAtTheGivenLevel) {
    const Tree d = example();
    EXPECT_EQ(printed(d.get(), 2), "        a = 1\n"
                                   "        g = {\n"
                                   "            b = 2\n"
                                   "        }\n");
    EXPECT_EQ(printed(d.get(), -1), "a = 1\n"
                                    "g = {\n"
                                    "b = 2\n"
                                    "}\n");
}

TEST(DictionaryOut, FollowsTheSlotsAndSkipsHoles) {
    const Tree d = example();
    set_string(d.get(), "c", "");
    set_string(d.get(), "%s%n", "%d");
    xdictionary_unset(d.get(), "a");
    EXPECT_EQ(printed(d.get(), 0), "g = {\n    b = 2\n}\nc = \n%s%n = %d\n");
    xdictionary_unset(d.get(), "g");
    EXPECT_EQ(printed(d.get(), 0), "c = \n%s%n = %d\n");
}

TEST(DictionaryOut, TakesAnyNonZeroTypeForAGroup) {
    const Tree d(xdictionary_new(0));
    xdictionary *const group = xdictionary_new(0);
    set_string(group, "a", "1");
    xdictionary_set(d.get(), "g", group, 7);
    EXPECT_EQ(printed(d.get(), 0), "g = {\n    a = 1\n}\n");
}

TEST(DictionaryOut, PrintsANullGroupAsNull) {
    const Tree d(xdictionary_new(0));
    xdictionary_set(d.get(), "g", nullptr, 1);
    EXPECT_EQ(printed(d.get(), 1), "    g = {\nxdictionary is null.\n    }\n");
}

TEST(DictionaryOut, PrintsALineForANullString) {
    const Tree d(xdictionary_new(0));
    set_string(d.get(), "null", nullptr);
    set_string(d.get(), "z", "1");
    const std::string text = printed(d.get(), 0);
    EXPECT_EQ(text.rfind("null = ", 0), 0U) << text;
    ASSERT_GE(text.size(), 7U);
    EXPECT_EQ(text.substr(text.size() - 7), "\nz = 1\n") << text;
}

} // namespace
