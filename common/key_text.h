// SPDX-License-Identifier: MIT
// Keys as people write them, layer:group:name, and what their parts may consist of.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace varnel {

// Longest part of a key, in bytes.
constexpr std::size_t kLongestKeyPart = 255;

// The parts of a key; an empty layer is the default layer, an empty group or name is absent.
struct KeyParts {
    std::string layer;
    std::string group;
    std::string name;
};

// Whether text may be a part of a key: 1 to 255 bytes of valid UTF-8 (RFC 3629), no ':' and no control characters
// (0x00 to 0x1f, 0x7f).
bool valid_key_part(std::string_view text);

// Reads layer, layer:group or layer:group:name; an empty layer (":group:name") is the default layer, every other part
// that is there must be valid. nothing, with what was expected in *error, for other text.
std::optional<KeyParts> parse_key(std::string_view text, std::string *error);

// layer:group:name without the parts that are absent at the end; an empty layer stays empty.
std::string print_key(const KeyParts &key);

} // namespace varnel
