// SPDX-License-Identifier: MIT
// What one logical line of a configuration file says. The results are exactly those of the sscanf patterns in which the
// format was first written down; the patterns are given with each function.
#pragma once

#include <stddef.h>

namespace varnel {

// Sizes with the terminator: of one read, a longer line coming in pieces, and of a logical line, continuations joined.
constexpr size_t kPieceSize = 1024;
constexpr size_t kLineSize = 1025;

// Part of a line, not terminated.
struct Slice {
    char *text;
    size_t length;
};

enum class ScanKind { none, key_value, group_name };

struct ScannedLine {
    ScanKind kind;
    Slice key;
    Slice value; // key_value only
};

// Line normalisation, in place: white space is dropped at both ends and every character folded with tolower. Returns
// text (NULL for NULL).
char *config_trim_lower(char *text);

// The slice without white space (space, tab, newline, vertical tab, form feed, carriage return) at its ends.
Slice trim(Slice slice);

// Whether a logical line, normalised, is a comment from its beginning.
bool is_comment(const char *line);

// key_value: the first of these patterns that converts two items:
//   %[^=] = "%[^"]"    double-quoted value
//   %[^=] = '%[^']'    single-quoted value
//   %[^=] = '%[^=]'    a single quote and what follows it, up to an equals sign
//   %[^=] = %[^;#]     bare value, up to an inline comment
// group_name: otherwise, when "%[^=] %[=]" converts two: a key and an equals sign with nothing usable after it.
ScannedLine scan_line(char *line);

// "%[^;#]": the line up to an inline comment.
Slice scan_bare(char *line);

} // namespace varnel
