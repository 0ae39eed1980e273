// SPDX-License-Identifier: MIT
// Text that may be anything: UTF-8 or not, fit to be shown or not.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varnel {

// Bytes of the UTF-8 character (RFC 3629) that text starts with; 0 when it starts with none.
std::size_t utf8_length(std::string_view text);

// Whether all of text is UTF-8.
bool is_utf8(std::string_view text);

// The text with what is no valid UTF-8, and the control characters (0x00 to 0x1f, 0x7f, U+0080 to U+009f), as \xNN,
// byte by byte: safe to show in a terminal, on one line. A backslash is doubled.
std::string escaped(std::string_view text);

// The text with the letters A to Z in lower case, the same in every locale.
std::string in_lower_case(std::string_view text);

// The text escaped and in double quotes, cut after some 60 characters: for messages.
std::string in_quotes(std::string_view text);

} // namespace varnel
