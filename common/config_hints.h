// SPDX-License-Identifier: MIT
// What is said of one line of a configuration file: what is wrong with it, or hardly meant as the loader takes it.
#pragma once

#include "common/config_check.h"
#include "common/config_lines.h"
#include "config/line_scanner.h"

#include <optional>
#include <string>

namespace varnel {

// A text and where it stands.
struct PlacedText {
    std::string text;
    ConfigPlace place;
};

// Part of a line's text.
PlacedText placed(const LogicalLine &line, const Slice &slice);

// Of a line with a key and a value: what becomes of the quotes of its value.
std::optional<ConfigFinding> quotes_hint(const LogicalLine &line, const ScannedLine &scanned);

// Of a line with a key: braces that open and close nothing.
std::optional<ConfigFinding> braces_hint(const LogicalLine &line, const ScannedLine &scanned);

// Of a line that the loader cannot read: bare is what it has before a comment.
ConfigFinding syntax_error(const LogicalLine &line, const Slice &bare);

} // namespace varnel
