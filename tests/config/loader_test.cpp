// SPDX-License-Identifier: MIT
// configurator_load: entries, values, comments and groups.
#include "settings_file.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "tree_text.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace {

std::string loaded_silently(std::string_view content) {
    const SettingsFile file(content);
    const LogCapture capture;
    const Tree tree(configurator_load(file.path()));
    EXPECT_TRUE(capture.lines().empty()) << "a file that loads logs nothing";
    return tree_text(tree);
}

struct Row {
    const char *content;
    const char *tree;
};

template <size_t count> void expect_trees(const Row (&rows)[count]) {
    for (const Row &row : rows)
        EXPECT_EQ(loaded_silently(row.content), row.tree) << row.content;
}

TEST(Loader, WithoutAFileThereIsNoTree) {
    const LogCapture capture;
    EXPECT_EQ(configurator_load(nullptr), nullptr);
    EXPECT_EQ(configurator_load(""), nullptr);
    EXPECT_EQ(configurator_load("/nonexistent/settings"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(capture.lines().empty());
}

TEST(Loader, EmptyFileGivesAnEmptyRoot) {
    const SettingsFile file("");
    const Tree root(configurator_load(file.path()));
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->size, 128U);
    EXPECT_EQ(root->count, 0U);
    EXPECT_EQ(root->ref_count, 0U);
    EXPECT_EQ(root->parent, nullptr);
}

TEST(Loader, ReleasesEverythingWithTheTree) {
    const SettingsFile file("a = 1\ng = {\nh =\n{\nb = 2\n}\n}\na = 3\n");
    CountingAllocator allocator;
    xdictionary *const root = configurator_load(file.path());
    EXPECT_EQ(tree_text(root), "a=3;g{h{b=2;}}");
    xdictionary_del(root);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

// Descriptors of this process that are open; all of them, however high, because one that loses files soon has no low
// number left.
ptrdiff_t open_descriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd"); // Linux; counts its own, every time
    return std::distance(begin(descriptors), end(descriptors));
}

TEST(Loader, ClosesTheFile) {
    const SettingsFile good("a = 1\n");
    const SettingsFile too_long(std::string(1000, 'x') + "\\\n" + std::string(25, 'x') + "\n");
    const ptrdiff_t before = open_descriptors();
    const Tree root(configurator_load(good.path()));
    EXPECT_NE(root, nullptr);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(configurator_load(too_long.path()), nullptr);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Loader, TheExampleOfTheGuide) {
    EXPECT_EQ(loaded_silently("# storage\n"
                              "default = user\n"
                              "user = {\n"
                              "    Path = \"/Data/User.db\"\n"
                              "    readonly = no ; not yet\n"
                              "}\n"
                              "sys =\n"
                              "{\n"
                              "    list = a, \\\n"
                              "    b\n"
                              "}\n"),
              "default=user;user{path=/data/user.db;readonly=no;}sys{list=a, b;}");
}

TEST(Loader, PrintsTheExampleOfTheGuide) {
    const SettingsFile file("default = user\nuser = {\nPath = \"/Data/User.db\"\nreadonly = no ; not yet\n}\n"
                            "sys =\n{\nlist = a, \\\n b\n}\n");
    const Tree root(configurator_load(file.path()));
    testing::internal::CaptureStdout();
    xdictionary_out(root.get(), 0);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "default = user\n"
                                                      "user = {\n"
                                                      "    path = /data/user.db\n"
                                                      "    readonly = no\n"
                                                      "}\n"
                                                      "sys = {\n"
                                                      "    list = a, b\n"
                                                      "}\n");
}

TEST(LoaderValues, AreTrimmedAndInLowerCase) {
    expect_trees({
        {"Key = Value", "key=value;"},
        {"\t Key\t=\tValue \t\n", "key=value;"},
        {"a =  \"  X  \"  ", "a=x;"},
        {"a = '  X  '", "a=x;"},
        {"A B = C D", "a b=c d;"},
        {"a=b", "a=b;"},
        {"\xc4 = \xd6", "\xc4=\xd6;"},
    });
}

TEST(LoaderValues, OfEveryForm) {
    expect_trees({
        {"a = b ; c", "a=b;"},
        {"a = b # c", "a=b;"},
        {"a = b=c", "a=b=c;"},
        {"a == b", "a== b;"},
        {"a = \"b;c#d=e'f\" g", "a=b;c#d=e'f;"},
        {"a = 'b;c#d=e\"f' g", "a=b;c#d=e\"f;"},
        {"a = \"b", "a=b;"},
        {"a = 'b", "a=b;"},
        {"a = ''b=c", "a='b;"},
        {"a = ''b ; c", "a='b ; c;"},
        {"a = { b = 1 }", "a={ b = 1 };"},
        {"a = {}", "a={};"},
        {"a = }", "a=};"},
        {"a = b {", "a=b {;"},
        {"a;b = c", "a;b=c;"},
        {"} = a", "}=a;"},
        {"{ = a", "{=a;"},
        {"\"a\" = b", "\"a\"=b;"},
        {"/ = a", "/=a;"},
    });
}

TEST(LoaderValues, QuotesWithNothingInThem) {
    expect_trees({
        {"a = \"\"", ""},                  // ignored
        {"a = ''", "a=';"},                // the closing quote is a value
        {"a = '''", ""},                   // the value is two quotes
        {"a = \"''\"", ""},                // likewise
        {"a = '\"\"'", ""},                // likewise
        {"a = \"\" ; b", "a=\"\";"},       // not exactly two quotes until it is trimmed
        {"a = \" '' \"", "a='';"},         // likewise
        {"a = \" \"", "a=;"},              // an empty string
        {"a = '\t'", "a=;"},               //
        {"a = \"", "a=\";"},               //
        {"a = '", "a=';"},                 //
        {"a = 1\na = \"\"", "a=1;"},       // the earlier value stays
        {"a = \"\"b", "a=\"\"b;"},         //
        {"a = \"\"\nb = 1", "b=1;"},       //
        {"a = \"\" \nb = 1", "b=1;"},      // the line's own end is trimmed before
        {"a = 1\na = \" \"", "a=;"},       //
        {"a =\nb = 1\na = 2", "b=1;a=2;"}, // no entry without a value
        {"a = ; b", ""},                   //
        {"a = # b", ""},                   //
    });
}

TEST(LoaderValues, LaterOneReplaces) {
    expect_trees({
        {"a = 1\nb = 2\na = 3", "a=3;b=2;"},
        {"a = 1\nA = 3", "a=3;"},
        {"g = {\na = 1\n}\ng = 2", "g=2;"},
        {"g = {\na = 1\na = 2\n}\na = 3", "g{a=2;}a=3;"},
    });
}

TEST(LoaderComments, AreIgnored) {
    expect_trees({
        {"# a = 1", ""},
        {"; a = 1", ""},
        {"// a = 1", ""},
        {"   # a = 1\n\t; b\n  //", ""},
        {"#\n;\n//\n", ""},
        {"#}\n;{\n//}", ""},
        {"g = { # open\na = 1 ; one\n} ; close", "g{a=1;}"},
        {"g = # later\n{ ; open\n}# close", "g{}"},
        {"# a \\\nb = 1\nc = 2", "c=2;"},
        {"a = 1 # b \\\nc = 2\nd = 3", "a=1;d=3;"},
        {"a = http://x", "a=http://x;"},
    });
}

TEST(LoaderGroups, OpenOnOneLineOrTwo) {
    expect_trees({
        {"g = {\n}", "g{}"},
        {"g={\n}", "g{}"},
        {"G = \"{\"\n}", "g{}"},
        {"g = ' { '\n}", "g{}"},
        {"g = '{\n}", "g{}"},
        {"g =\n{\n}", "g{}"},
        {"G B=\n\n# note\n  {  \n  }  ", "g b{}"},
        {"g = {\nh = {\na = 1\n}\nb = 2\n}\nc = 3", "g{h{a=1;}b=2;}c=3;"},
        {"g = {\n}\nh = {\n}", "g{}h{}"},
    });
}

TEST(LoaderGroups, NameWaitsForItsBrace) {
    expect_trees({
        {"g =\na = 1\n{\nb = 2\n}", "a=1;g{b=2;}"},
        {"g =\nh =\n{\n}", "h{}"},
        {"g =\nh = {\n{\na = 1\n}\n}", "h{g{a=1;}}"}, // a group on one line leaves the name pending
        {"g =\nh = {\n}\n{\n}", "h{}g{}"},
        {"g =", ""},
        {"g = ; x\n# y\n{\n}", "g{}"},
        {"h = {\ng =\n}\n{\n}", "h{}g{}"},
    });
}

TEST(LoaderGroups, HaveTheirParentsAndSlots) {
    const SettingsFile file("g = {\nh = {\n}\n}\n");
    const Tree root(configurator_load(file.path()));
    xdictionary *const g = group_at(root.get(), "g");
    xdictionary *const h = group_at(g, "h");
    EXPECT_EQ(root->types[0], 1U);
    EXPECT_EQ(g->parent, root.get());
    EXPECT_EQ(h->parent, g);
    EXPECT_EQ(h->size, 128U);
    EXPECT_EQ(g->ref_count, 0U);
}

TEST(LoaderGroups, DefinedTwiceOutlivesTheTree) {
    const char *const contents[] = {"g = {\na = 1\n}\ng = {\nb = 2\n}", "g = 1\ng = {\nb = 2\n}"};
    for (const char *const content : contents) {
        const SettingsFile file(content);
        CountingAllocator allocator;
        xdictionary *const root = configurator_load(file.path());
        EXPECT_EQ(tree_text(root), "g*1{b=2;}") << "the second replaces the first and gains an owner";
        xdictionary *const group = group_at(root, "g");
        xdictionary_del(root);
        EXPECT_EQ(tree_text(group), "b=2;");
        xdictionary_del(group);
        EXPECT_EQ(allocator.live_blocks(), 0U);
    }
}

TEST(LoaderGroups, SurplusBraceDropsWhatFollows) {
    expect_trees({
        {"a = 1\n}\nb = 2\ng = {\nc = 3", "a=1;"},
        {"a = 1\n}\ng =\n{\nc = 3\nh = {\n}\nd = 4", "a=1;"},
        {"}\n}\ng = {\ng = {", ""},
        {"g = {\n}\n}\nh = {\na = 1\n}\ni = {\nb = 2", "g{}"},
    });
}

TEST(LoaderGroups, SurplusBraceLosesNoMemory) {
    const SettingsFile file("a = 1\n}\nb = 2\ng = {\nc = 3\nh = {\n}\n}\ni = {\nj = {\n}\n");
    CountingAllocator allocator;
    xdictionary *const root = configurator_load(file.path());
    EXPECT_EQ(tree_text(root), "a=1;");
    xdictionary_del(root);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(LoaderGroups, MayBeVeryDeep) {
    constexpr int levels = 20000;
    std::string content;
    for (int i = 0; i < levels; ++i)
        content += "g={\n";
    content += "a=1\n";
    for (int i = 0; i < levels; ++i)
        content += "}\n";
    const SettingsFile file(content);
    const Tree root(configurator_load(file.path()));
    const xdictionary *at = root.get();
    for (int i = 0; i < levels; ++i)
        at = group_at(at, "g");
    EXPECT_EQ(tree_text(at), "a=1;");
    const Tree copy(xdictionary_dup(root.get()));
    EXPECT_EQ(copy->count, 1U);
}

TEST(LoaderGroups, MayHoldManyEntries) {
    std::string content = "g = {\n";
    std::string expected = "g{";
    for (int i = 0; i < 500; ++i) {
        content += "key" + std::to_string(i) + " = " + std::to_string(i) + "\n";
        expected += "key" + std::to_string(i) + "=" + std::to_string(i) + ";";
    }
    EXPECT_EQ(loaded_silently(content + "}"), expected + "}");
}

} // namespace
