// SPDX-License-Identifier: MIT
// check_config_syntax: every kind of error, with its place, and that one mistake is one finding.
#include "findings.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char *kSurplus = " error a } that closes no group\n";

TEST(ConfigSyntax, NothingToFind) {
    EXPECT_EQ(syntax_of(""), "");
    EXPECT_EQ(syntax_of("\n \n# x\n; x\n// x\n"), "");
    EXPECT_EQ(syntax_of("A = 1\nb = \"x;y\" ; note\nc = 'x' # note\nd = a = b\n"), "");
    EXPECT_EQ(syntax_of("g = {\n  a = 1\n  h =\n  # note\n  {\n  a = 1\n  } ; note\n}\na = 1"), "");
    EXPECT_EQ(syntax_of("a = 1, \\\r\n    2\r\nb = http://host/path\r\n"), "");
    EXPECT_EQ(syntax_of("a = \" \"\n"), "") << "an empty setting";
    EXPECT_EQ(syntax_of("g =\na = 1\n{\n}\n"), "") << "a setting between a group's name and its brace";
}

TEST(ConfigSyntax, LinesThatAreNone) {
    EXPECT_EQ(syntax_of("a = 1\n  x y ; note\n"), "2:3 error \"x y\" is neither a setting nor a brace\n");
    EXPECT_EQ(syntax_of("/ x\n"), "1:1 error \"/ x\" is neither a setting nor a brace\n");
    EXPECT_EQ(syntax_of("\tX\x1b[1m\n"), "1:2 error \"x\\x1b[1m\" is neither a setting nor a brace\n");
    EXPECT_EQ(syntax_of(" = 1\n"), "1:2 error there is no key before the =\n");
    EXPECT_EQ(syntax_of("=\n"), "1:1 error there is no key before the =\n");
}

TEST(ConfigSyntax, EveryErrorIsReported) {
    EXPECT_EQ(syntax_of("x\na = 1\ny\n\nz"), "1:1 error \"x\" is neither a setting nor a brace\n"
                                             "3:1 error \"y\" is neither a setting nor a brace\n"
                                             "5:1 error \"z\" is neither a setting nor a brace\n");
}

TEST(ConfigSyntax, GroupsThatMissTheirEquals) {
    EXPECT_EQ(syntax_of("  name {\n  a = 1\n}\n"), "1:8 error a { without an = before it\n");
    EXPECT_EQ(syntax_of("name {\nh {\n}\n}\n"), "1:6 error a { without an = before it\n"
                                                "2:3 error a { without an = before it\n");
    EXPECT_EQ(syntax_of("= {\n}\n"), "1:1 error there is no key before the =\n");
}

TEST(ConfigSyntax, BracesWithoutAName) {
    EXPECT_EQ(syntax_of("{\n}\n"), "1:1 error a { without the name of its group\n");
    EXPECT_EQ(syntax_of("g =\n{\n}\n{\na = 1\n}\n"), "4:1 error a { without the name of its group\n")
        << "the name is used up";
}

TEST(ConfigSyntax, TextBehindBraces) {
    EXPECT_EQ(syntax_of("g = {\n}  x\n"), "2:4 error text behind a brace\n");
    EXPECT_EQ(syntax_of("g = {\nh = {\n}}\n"), "3:2 error text behind a brace\n");
    EXPECT_EQ(syntax_of("g = {\nh = {\n} }\n"), "3:3 error text behind a brace\n");
    EXPECT_EQ(syntax_of("g =\n{ a\n}\n"), "2:3 error text behind a brace\n");
    EXPECT_EQ(syntax_of("g =\n{ }\nb = 1\n"), "1:1 warning \"g\" has no value and opens no group\n"
                                              "2:3 error text behind a brace\n");
    EXPECT_EQ(syntax_of("g = {\n} else {\na = 1\n}\n"), "2:3 error text behind a brace\n");
}

TEST(ConfigSyntax, GroupsThatAreNotClosed) {
    EXPECT_EQ(syntax_of("g = {"), "1:5 error the group \"g\" is not closed\n");
    EXPECT_EQ(syntax_of("g =\n\n  {\na = 1\n"), "3:3 error the group \"g\" is not closed\n");
    EXPECT_EQ(syntax_of("a = 1\ng = {\nh = {\n}\n"), "2:5 error the group \"g\" is not closed\n");
    EXPECT_EQ(syntax_of("g = {\nh = \"{\"\n"), "1:5 error the group \"g\" is not closed\n"
                                               "2:6 error the group \"h\" is not closed\n")
        << "quotes protect no brace";
    EXPECT_EQ(syntax_of("x {\n"), "1:3 error a { without an = before it\n1:3 error the group \"x\" is not closed\n")
        << "two mistakes";
}

TEST(ConfigSyntax, BracesThatCloseNothing) {
    EXPECT_EQ(syntax_of("a = 1\n  }\n"), "2:3" + std::string(kSurplus));
    EXPECT_EQ(syntax_of("g = {\n}\n}\n}\n"), "3:1" + std::string(kSurplus) + "4:1" + kSurplus);
    EXPECT_EQ(syntax_of("}\n}\ng = {\n"),
              "1:1" + std::string(kSurplus) + "2:1" + kSurplus + "3:5 error the group \"g\" is not closed\n");
}

// The loader counts braces: it loads such a file, but without anything from the first surplus brace on.
TEST(ConfigSyntax, BracesThatCancelOut) {
    EXPECT_EQ(syntax_of("a = 1\n}\ng = {\n"), "2:1 warning a } that closes no group: nothing from here on is taken in\n"
                                              "3:5 warning the group \"g\" is not closed\n");
}

TEST(ConfigSyntax, ErrorsInContinuedLines) {
    EXPECT_EQ(syntax_of("a = 1\n  b \\\n  c\n"), "2:3 error \"b c\" is neither a setting nor a brace\n");
    EXPECT_EQ(syntax_of("g = {\n} \\\n\n  x\n"), "4:3 error text behind a brace\n") << "where the text stands";
    EXPECT_EQ(syntax_of("g \\\n   {\n}\n"), "2:4 error a { without an = before it\n");
    EXPECT_EQ(syntax_of("\\\n\\\n  x\n"), "3:3 error \"x\" is neither a setting nor a brace\n");
    EXPECT_EQ(syntax_of("g = \\\n  {\n"), "2:3 error the group \"g\" is not closed\n");
}

TEST(ConfigSyntax, ContinuedLinesThatAreTooLong) {
    const std::string start = "k=" + std::string(998, 'x') + "\\\n"; // 1000 characters
    EXPECT_EQ(syntax_of(start + std::string(24, 'y') + "\n"), "");
    EXPECT_EQ(syntax_of(start + "  " + std::string(25, 'y') + "\n"),
              "2:27 error the continued line becomes too long here\n");
    EXPECT_EQ(syntax_of(start + std::string(24, 'y') + "\\\n"), "2:25 error the continued line becomes too long here\n")
        << "the backslash counts";
    EXPECT_EQ(syntax_of(start + std::string(30, 'y') + " \\\n\nz\\\nz\na = 1\nx\n"),
              "2:25 error the continued line becomes too long here\n"
              "7:1 error \"x\" is neither a setting nor a brace\n")
        << "the rest of it is no further error";
}

TEST(ConfigSyntax, FilesThatCannotBeOpened) {
    const auto findings = varnel::check_config_syntax("/nonexistent/varnel.conf");
    EXPECT_EQ(findings_text(findings), "0:0 error cannot be opened: No such file or directory\n");
    EXPECT_EQ(findings_text(varnel::check_store_config("/nonexistent/varnel.conf")), findings_text(findings));
}

// To the loader, a folder is an empty file, a device may have no end, and a pipe waits for its writer.
TEST(ConfigSyntax, TakesRegularFilesOnly) {
    const std::string pipe = testing::TempDir() + "varnel_pipe_" + std::to_string(getpid());
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::pair<std::string, std::string> cases[] = {{"/", "0:0 error is a folder\n"},
                                                         {"/dev/zero", "0:0 error is not a regular file\n"},
                                                         {pipe, "0:0 error is not a regular file\n"}};
    for (const auto &[path, expected] : cases) {
        EXPECT_EQ(findings_text(varnel::check_config_syntax(path)), expected) << path;
        EXPECT_EQ(findings_text(varnel::check_store_config(path)), expected) << path << ": nothing is missing in it";
    }
    unlink(pipe.c_str());
}

TEST(ConfigSyntax, TakesFilesOfAtMost16Mebibytes) {
    constexpr off_t kMost = 16 << 20;
    SettingsFile file("a = 1\n");
    ASSERT_EQ(truncate(file.path(), kMost + 1), 0);
    EXPECT_EQ(findings_text(varnel::check_config_syntax(file.path())), "0:0 error is larger than 16 MiB\n");
    file.rewrite(std::string(kMost, '\n'));
    EXPECT_EQ(findings_text(varnel::check_config_syntax(file.path())), "");
}

// To the loader, the file ends there. The kernel's announces no size, and there is nothing at its beginning.
TEST(ConfigSyntax, FilesThatCannotBeReadEndThere) {
    EXPECT_EQ(findings_text(varnel::check_config_syntax("/proc/self/mem")),
              "0:0 warning cannot be read to its end: Input/output error\n");
}

TEST(ConfigSyntax, DeepGroupsNeedNoStack) {
    constexpr int depth = 200000;
    std::string text;
    for (int i = 0; i < depth; ++i)
        text += "g={\n";
    for (int i = 0; i < depth; ++i)
        text += "}\n";
    EXPECT_EQ(syntax_of(text), "");
}

TEST(ConfigFindings, ErrorsAreNotWarnings) {
    EXPECT_FALSE(varnel::has_errors({}));
    EXPECT_FALSE(varnel::has_errors({{false, 1, 1, "m", ""}}));
    EXPECT_TRUE(varnel::has_errors({{false, 1, 1, "m", ""}, {true, 2, 1, "m", ""}}));
}

TEST(ConfigFindings, PrintAsCompilersDo) {
    EXPECT_EQ(varnel::print_finding("a.conf", {true, 3, 7, "no", "yes"}), "a.conf:3:7: error: no (expected yes)");
    EXPECT_EQ(varnel::print_finding("a.conf", {false, 3, 7, "no", ""}), "a.conf:3:7: warning: no");
    EXPECT_EQ(varnel::print_finding("a.conf", {true, 0, 0, "no", ""}), "a.conf: error: no");
}

TEST(ConfigFindings, EachSaysWhatWasExpected) {
    const SettingsFile file("x\n= 1\n{\n} y\n}\ng {\nk =\na = \"\na = \"b\" c\na = ''\na = { b }\n} = 1\na = \"\" x\n"
                            "# x \\\nx\nb = \\\n");
    const auto findings = varnel::check_config_syntax(file.path());
    EXPECT_EQ(findings.size(), 20U) << findings_text(findings);
    for (const varnel::ConfigFinding &finding : findings)
        EXPECT_FALSE(finding.expected.empty()) << finding.message;
}

} // namespace
