// SPDX-License-Identifier: MIT
// configurator_load: ends of lines, continuation, lengths, odd bytes.
#include "settings_file.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "tree_text.h"

#include <gtest/gtest.h>
#include <string>

namespace {

constexpr size_t kLongestPiece = 1023; // of one read

std::string loaded_tree(std::string_view content) {
    const SettingsFile file(content);
    const Tree tree(configurator_load(file.path()));
    return tree_text(tree);
}

// "k=" and a value, length characters in all.
std::string entry_of(size_t length, char fill = 'x') {
    return "k=" + std::string(length - 2, fill);
}

TEST(LoaderLines, MayEndInAnyWay) {
    EXPECT_EQ(loaded_tree("a = 1\nb = 2\n"), "a=1;b=2;");
    EXPECT_EQ(loaded_tree("a = 1\nb = 2"), "a=1;b=2;");
    EXPECT_EQ(loaded_tree("a = 1\r\nb = 2\r\n"), "a=1;b=2;");
    EXPECT_EQ(loaded_tree("g = {\r\na = \\\r\n 1\r\n}\r\n"), "g{a=1;}");
    EXPECT_EQ(loaded_tree("\n\n \n\t\r\na = 1\n\n"), "a=1;");
    EXPECT_EQ(loaded_tree("a = 1\rb = 2\n"), "a=1\rb = 2;") << "a lone CR ends no line";
    EXPECT_EQ(loaded_tree("a = 1\v\f\nb = 2"), "a=1;b=2;");
}

TEST(LoaderLines, EndAtANulByte) {
    EXPECT_EQ(loaded_tree(std::string_view("a = 1\0 2\nb = 3\n", 15)), "a=1;b=3;");
    EXPECT_EQ(loaded_tree(std::string_view("\0a = 1\nb = 3\n", 13)), "b=3;");
    EXPECT_EQ(loaded_tree(std::string_view("a = \\\0\nb = 3\n", 13)), "a=b = 3;") << "the backslash is the last";
}

TEST(LoaderContinuation, JoinsLines) {
    EXPECT_EQ(loaded_tree("a = 1\\\n2"), "a=12;");
    EXPECT_EQ(loaded_tree("a = 1 \\\n   2"), "a=1 2;");
    EXPECT_EQ(loaded_tree("a = 1 \\  \t\n2"), "a=1 2;") << "the backslash is the last after trimming";
    EXPECT_EQ(loaded_tree("a = 1\\\n\\\n2\\\n3"), "a=123;");
    EXPECT_EQ(loaded_tree("a\\\n=\\\n1"), "a=1;");
    EXPECT_EQ(loaded_tree("\\\na = 1"), "a=1;");
    EXPECT_EQ(loaded_tree("a = 1\\\\\n2"), "a=1\\2;") << "only the last backslash goes";
    EXPECT_EQ(loaded_tree("a = 12345\\\n6\nb = 1"), "a=123456;b=1;");
    EXPECT_EQ(loaded_tree("a = b\\c"), "a=b\\c;");
    EXPECT_EQ(loaded_tree("g = \\\n{\n}"), "g{}");
    EXPECT_EQ(loaded_tree("a = \"1 \\\n 2\""), "a=1 2;");
}

TEST(LoaderContinuation, SurvivesEmptyLines) {
    EXPECT_EQ(loaded_tree("a = 1 \\\n\n  \n\r\n2\nb = 3"), "a=1 2;b=3;");
}

TEST(LoaderContinuation, UnfinishedAtTheEndIsDropped) {
    EXPECT_EQ(loaded_tree("a = 1\nb = 2 \\\n"), "a=1;");
    EXPECT_EQ(loaded_tree("a = 1\nb = 2 \\"), "a=1;");
    EXPECT_EQ(loaded_tree("\\"), "");
    EXPECT_EQ(loaded_tree("g = {\na = 1\n}\n}\\\n"), "g{a=1;}") << "so is a brace";
}

TEST(LoaderContinuation, NothingIsLeftOfAnEarlierLine) {
    EXPECT_EQ(loaded_tree("abcdefgh = 1\\\n2\nc = 3\n"), "abcdefgh=12;c=3;");
    EXPECT_EQ(loaded_tree("a = \\\nlonger value\nb = 1\nc =\n"), "a=longer value;b=1;");
}

TEST(LoaderLength, UpTo1022CharactersAreOneLine) {
    for (const size_t length : {kLongestPiece - 2, kLongestPiece - 1})
        EXPECT_EQ(loaded_tree(entry_of(length) + "\nb=1\n"), entry_of(length) + ";b=1;");
}

TEST(LoaderLength, With1023TheLineEndIsAPieceOfItsOwn) {
    EXPECT_EQ(loaded_tree(entry_of(kLongestPiece) + "\nb=1\n"), entry_of(kLongestPiece) + ";b=1;");
    EXPECT_EQ(loaded_tree(entry_of(kLongestPiece)), entry_of(kLongestPiece) + ";");
}

TEST(LoaderLength, LongerOnesAreReadInPieces) {
    EXPECT_EQ(loaded_tree(entry_of(kLongestPiece) + "y=2\nb=1\n"), entry_of(kLongestPiece) + ";y=2;b=1;");
    EXPECT_EQ(loaded_tree("#" + std::string(kLongestPiece - 1, 'x') + "a=1\n"), "a=1;") << "even of a comment";
    EXPECT_EQ(loaded_tree(entry_of(kLongestPiece) + entry_of(kLongestPiece, 'y') + "z=3"),
              "k=" + std::string(kLongestPiece - 2, 'y') + ";z=3;");
    EXPECT_EQ(loaded_tree(entry_of(kLongestPiece - 3) + "   b=1\n"), entry_of(kLongestPiece - 3) + ";b=1;")
        << "pieces are trimmed";
    EXPECT_EQ(loaded_tree(std::string(3000, ' ') + "a=1"), "a=1;");
}

TEST(LoaderLength, BackslashAtTheEndOfAPieceJoinsTheNext) {
    EXPECT_EQ(loaded_tree(entry_of(kLongestPiece - 1) + "\\z\n"), entry_of(kLongestPiece - 1) + "z;");
}

TEST(LoaderLength, LogicalLineMayHave1024Characters) {
    EXPECT_EQ(loaded_tree(entry_of(1000) + "\\\n" + std::string(24, 'y') + "\n"),
              "k=" + std::string(998, 'x') + std::string(24, 'y') + ";");
    const std::string longest_key = std::string(1000, 'a') + "\\\n" + std::string(23, 'b') + "=\n{\n}";
    EXPECT_EQ(loaded_tree(longest_key), std::string(1000, 'a') + std::string(23, 'b') + "{}");
}

TEST(LoaderLength, BackslashOfAnOpenLineCountsToo) {
    EXPECT_EQ(loaded_tree(entry_of(1000) + "\\\n" + std::string(23, 'y') + "\\\nz\n"),
              "k=" + std::string(998, 'x') + std::string(23, 'y') + "z;");
}

// The line, its number, and the file's content up to and with it.
void expect_too_long(const std::string &content, int line) {
    const SettingsFile file(content);
    CountingAllocator allocator;
    const LogCapture capture;
    EXPECT_EQ(configurator_load(file.path()), nullptr);
    EXPECT_EQ(allocator.live_blocks(), 0U) << "the tree is released";
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, LogLine::error);
    EXPECT_EQ(lines[0].prefix, "_varnel: ");
    EXPECT_EQ(lines[0].format, "input line too long in %s (%d).\n");
    EXPECT_EQ(lines[0].text,
              "input line too long in " + std::string(file.path()) + " (" + std::to_string(line) + ").\n");
}

TEST(LoaderLength, LogicalLineOf1025CharactersIsRefused) {
    expect_too_long(entry_of(1000) + "\\\n" + std::string(25, 'y') + "\n", 2);
    expect_too_long(entry_of(1000) + "\\\n" + std::string(24, 'y') + "\\\nz\n", 2);
    expect_too_long("# note\n\ng = {\nh = {\na = 1\n" + entry_of(1000) + "\\\n\n" + std::string(500, 'y') + "\n}\n}\n",
                    8);
    expect_too_long("#" + entry_of(1000) + "\\\n" + std::string(25, 'y') + "\n", 2);
    expect_too_long("}\n" + entry_of(1000) + "\\\n" + std::string(25, 'y'), 3);
}

} // namespace
