// SPDX-License-Identifier: MIT
// check_config_syntax: what loads, but hardly as it was meant.
#include "findings.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

TEST(ConfigHints, NamesThatComeTwice) {
    EXPECT_EQ(syntax_of("a = 1\n A = 2\n"), "2:2 warning \"a\" replaces the setting of line 1\n");
    EXPECT_EQ(syntax_of("g = {\n}\ng =\n{\n}\n"), "3:1 warning \"g\" replaces the group of line 1\n");
    EXPECT_EQ(syntax_of("g = {\n}\ng = 1\ng = 2\n"), "3:1 warning \"g\" replaces the group of line 1\n"
                                                     "4:1 warning \"g\" replaces the setting of line 3\n");
    EXPECT_EQ(syntax_of("a = 1\ng = {\na = 2\n}\nh = {\na = 2\n}\n"), "") << "in groups of their own";
}

TEST(ConfigHints, QuotesThatAreNotClosed) {
    EXPECT_EQ(syntax_of("a =  \"text\n"), "1:6 warning the closing quote is missing\n");
    EXPECT_EQ(syntax_of("a = 'text ; x\n"), "1:5 warning the closing quote is missing\n");
    EXPECT_EQ(syntax_of("a = \"\n"), "1:5 warning the closing quote is missing\n");
    EXPECT_EQ(syntax_of("a = '\n"), "1:5 warning the closing quote is missing\n");
    EXPECT_EQ(syntax_of("a = 'b=c\n"), "1:5 warning the closing quote is missing\n");
    EXPECT_EQ(syntax_of("a = \"one \\\n two\n"), "1:5 warning the closing quote is missing\n");
    EXPECT_EQ(syntax_of("a = it's \"so\"\n"), "") << "quotes inside a bare value";
}

TEST(ConfigHints, QuotesThatEndTooEarly) {
    EXPECT_EQ(syntax_of("a = \"b\"  \"c\"\n"), "1:10 warning what stands behind the closing quote is ignored\n");
    EXPECT_EQ(syntax_of("a = \"b\" // c\n"), "1:9 warning what stands behind the closing quote is ignored\n");
    EXPECT_EQ(syntax_of("a = 'b' \\\n  c\n"), "2:3 warning what stands behind the closing quote is ignored\n");
}

TEST(ConfigHints, EmptyQuotes) {
    const std::string nothing = " warning no text between the quotes: there is no setting, not an empty one\n";
    EXPECT_EQ(syntax_of("a = \"\"\n"), "1:5" + nothing);
    EXPECT_EQ(syntax_of("a = \"''\"\n"), "1:6" + nothing);
    EXPECT_EQ(syntax_of("a = ''\n"), "1:5 warning two apostrophes make no empty value: it is \"'\"\n");
    EXPECT_EQ(syntax_of("a = '' # x\n"), "1:5 warning two apostrophes make no empty value: it is \"' # x\"\n");
    EXPECT_EQ(syntax_of("a = \"\" # x\n"), "1:5 warning the quotes are part of the value\n");
    EXPECT_EQ(syntax_of("a = \"\" b\n"), "1:5 warning the quotes are part of the value\n");
}

TEST(ConfigHints, NamesWithNothingBehindThem) {
    EXPECT_EQ(syntax_of("\n a =\n"), "2:2 warning \"a\" has no value and opens no group\n");
    EXPECT_EQ(syntax_of("a = ; x\nb = 1\n"), "1:1 warning \"a\" has no value and opens no group\n");
    EXPECT_EQ(syntax_of("a =\nb =\n{\n}\n"), "1:1 warning \"a\" has no value and opens no group\n");
}

TEST(ConfigHints, EntriesOnTheOpeningLine) {
    EXPECT_EQ(syntax_of("a = { b = 1 }\n"), "1:5 warning this is the text of a setting, not a group\n");
    EXPECT_EQ(syntax_of("a = {}\n"), "1:5 warning this is the text of a setting, not a group\n");
    EXPECT_EQ(syntax_of("a = \"{}\"\n"), "") << "meant as text";
    EXPECT_EQ(syntax_of("a =\n  { b = 1 }\n"), "1:1 warning \"a\" has no value and opens no group\n"
                                               "2:3 warning the brace is part of the key \"{ b\"\n");
    EXPECT_EQ(syntax_of("g = {\na = 1\n} b = 1\n}\n"), "3:1 warning the brace is part of the key \"} b\"\n");
}

TEST(ConfigHints, LinesThatAreCut) {
    const std::string longest = "k=" + std::string(1021, 'x'); // 1023 characters
    EXPECT_EQ(syntax_of(longest + "\n"), "") << "only the end of the line is cut off";
    EXPECT_EQ(syntax_of(longest + "=1\n"),
              "2:1024 warning the line is cut here: what follows is read as a line of its own\n"
              "2:1024 error there is no key before the =\n");
    EXPECT_EQ(syntax_of("#" + longest + " = 1\na = 1\nx\n"),
              "2:1024 warning the line is cut here: what follows is read as a line of its own\n"
              "4:1 error \"x\" is neither a setting nor a brace\n")
        << "the loader counts the pieces";
}

TEST(ConfigHints, ManyPiecesAreOneMistake) {
    const std::string text = syntax_of("#" + std::string(5000, 'x') + "\ny\n");
    EXPECT_EQ(text.substr(0, text.find('\n') + 1),
              "2:1024 warning the line is cut here: what follows is read as a line of its own\n");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3) << text;
    EXPECT_NE(text.find("\n6:1 error \"y\" is neither"), std::string::npos) << text;
}

TEST(ConfigHints, ContinuationsThatNeverEnd) {
    EXPECT_EQ(syntax_of("a = 1\n b = 2 \\\n"), "2:8 warning the file ends in a continued line, which is dropped\n");
    EXPECT_EQ(syntax_of("b = 2 \\\n  3\\"), "2:4 warning the file ends in a continued line, which is dropped\n");
    EXPECT_EQ(syntax_of("# x \\\n"), "") << "a comment";
    EXPECT_EQ(syntax_of("\\\n"), "") << "nothing is dropped";
}

TEST(ConfigHints, CommentsThatSwallowLines) {
    EXPECT_EQ(syntax_of("# C:\\\n\n  a = 1\n"),
              "3:3 warning this line belongs to the comment, which a backslash continues\n");
}

TEST(ConfigHints, ZeroBytes) {
    EXPECT_EQ(syntax_of(std::string_view("a = 1\0 2\nb = 1\n", 15)),
              "1:6 warning a zero byte: the rest of the line is not read\n");
    EXPECT_EQ(syntax_of(std::string_view("\0x\n", 3)), "1:1 warning a zero byte: the rest of the line is not read\n");
}

} // namespace
