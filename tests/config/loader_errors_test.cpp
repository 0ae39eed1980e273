// SPDX-License-Identifier: MIT
// configurator_load: the errors that end the process.
#include "settings_file.h"
#include "support/counting_allocator.h"
#include "support/death.h"
#include "tree_text.h"

#include <gtest/gtest.h>
#include <string>

namespace {

// The text as a regular expression that matches just it.
std::string literal(const std::string &text) {
    std::string expression;
    for (const char c : text) {
        if (std::string_view("\\^$.|?*+()[]{}").find(c) != std::string_view::npos)
            expression += '\\';
        expression += c;
    }
    return expression;
}

// What the log says of a syntax error in that line, given as it is shown.
std::string syntax_error_line(const SettingsFile &file, int line, const std::string &shown) {
    return literal("_varnel: Config syntax error in " + std::string(file.path()) + "(" + std::to_string(line) +
                   "):\n_varnel:  -> " + shown + "\n");
}

TEST(LoaderDeathTest, SyntaxErrorsNameLineAndText) {
    const struct {
        const char *content;
        int line;
        const char *shown;
    } rows[] = {
        {"x", 1, "x"},
        {"a = 1\n\n# note\n  X  Y \nb = 2", 4, "x  y"},
        {"name {\n}", 1, "name {"},
        {"{\n}", 1, "{"},            // no name is pending
        {"g =\n{\n}\n{\n}", 4, "{"}, // the name is used up
        {"= a", 1, "= a"},
        {"=", 1, "="},
        {"g = {\n} x\n", 2, "} x"},
        {"g = {\n}}\n", 2, "}}"},
        {"g =\n{ a = 1 }x\nb\n", 3, "b"},
        {"x ; note", 1, "x ; note"}, // shown whole
        {"/ x", 1, "/ x"},
        {"a = 1\nb \\\nc \\\n\nd", 5, "b c d"}, // the last line that was read
        {"a \\\n b", 2, "a b"},
        {"\"a\"", 1, "\"a\""},
        {"%s%n", 1, "%s%n"},
    };
    for (const auto &row : rows) {
        const SettingsFile file(row.content);
        EXPECT_ABORT(configurator_load(file.path()), syntax_error_line(file, row.line, row.shown)) << row.content;
    }
}

TEST(LoaderDeathTest, LineNumbersCountPieces) {
    const std::string comment = "#" + std::string(1022, 'x');
    const SettingsFile file(comment + "\nx\n"); // the line's end is a piece of its own
    EXPECT_ABORT(configurator_load(file.path()), syntax_error_line(file, 3, "x"));
    const SettingsFile shorter(comment.substr(1) + "=1\nx\n");
    EXPECT_ABORT(configurator_load(shorter.path()), syntax_error_line(shorter, 2, "1")) << "the rest of a long line";
}

TEST(LoaderDeathTest, OpenBracesAtTheEnd) {
    const char *const contents[] = {
        "g = {",      "g = {\n",       "g =\n{\na = 1\n", "g = {\nh = {\n}\n", "}",
        "a = 1\n}\n", "g = {\n}\n}\n", "g = {\n}\\\n",    "}\ng = {\n}\n",
    };
    for (const char *const content : contents) {
        const SettingsFile file(content);
        EXPECT_ABORT(configurator_load(file.path()), "_varnel: Config syntax error : Braces don't match\\.\n")
            << content;
    }
}

TEST(LoaderDeathTest, UnusableDictionaries) {
    const SettingsFile file("g = {\n}\n");
    // A root that has no slots can hold no settings: the record and its four arrays come first, then the group's.
    for (size_t array = 2; array <= 5; ++array)
        EXPECT_ABORT(
            {
                CountingAllocator allocator;
                allocator.fail_at(array);
                configurator_load(file.path());
            },
            "_varnel: xdictionary new error\\.\n");
    for (size_t array = 7; array <= 10; ++array)
        EXPECT_ABORT(
            {
                CountingAllocator allocator;
                allocator.fail_at(array);
                configurator_load(file.path());
            },
            "_varnel: Can't create xdictionary\\.\n");
}

TEST(LoaderDeathTest, EveryAllocationIsIndispensable) {
    const SettingsFile file("a = 1\ng = {\nb = 2\n}\na = 3\n");
    expect_abort_at_every_allocation([&file] { xdictionary_del(configurator_load(file.path())); });
}

} // namespace
