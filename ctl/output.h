// SPDX-License-Identifier: MIT
// Standard output and standard error.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace varnel::ctl {

// Keeps the order in which members are put in.
using Json = nlohmann::ordered_json;

// Writes text to standard output; Failure (kRefused) when that cannot be done. A reader that has gone is BrokenPipe.
void print(const std::string &text);
void print_line(const std::string &text);

// Indented, with a line end. Bytes that are no UTF-8 become U+FFFD: encode values before.
void print_json(const Json &json);

// The same on one line.
void print_json_line(const Json &json);

// Brings what was printed to its reader.
void flush_output();

bool output_is_terminal();

// The text escaped where standard output is a terminal and there are characters that could move its cursor; as it
// stands otherwise.
std::string shown(std::string_view text);

class BrokenPipe {};

// "varnelctl: MESSAGE" on standard error, escaped but for line ends.
void complain(const std::string &message);

} // namespace varnel::ctl
