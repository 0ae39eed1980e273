// SPDX-License-Identifier: MIT
#include "common/key_text.h"

#include "common/text.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace varnel {

namespace {

constexpr std::size_t kMostParts = 3;

bool is_forbidden(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == ':' || byte < 0x20 || byte == 0x7f;
}

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = utf8_length(text);
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

std::vector<std::string_view> split(std::string_view text) {
    std::vector<std::string_view> parts;
    for (std::size_t colon = text.find(':'); colon != std::string_view::npos; colon = text.find(':')) {
        parts.push_back(text.substr(0, colon));
        text.remove_prefix(colon + 1);
    }
    parts.push_back(text);
    return parts;
}

void tell(std::string *error, std::string expected) {
    if (error != nullptr)
        *error = std::move(expected);
}

// Whether the parts make a key; an empty layer is one.
bool check_parts(const std::vector<std::string_view> &parts, std::string *error) {
    constexpr const char *kNames[kMostParts] = {"layer", "group", "name"};
    if (parts.size() > kMostParts) {
        tell(error, "at most three parts, layer:group:name");
        return false;
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (valid_key_part(parts[i]) || (i == 0 && parts[i].empty()))
            continue;
        tell(error, std::string("a ") + kNames[i] + " of 1 to " + std::to_string(kLongestKeyPart) +
                        " bytes of UTF-8 without control characters");
        return false;
    }
    return true;
}

} // namespace

bool valid_key_part(std::string_view text) {
    return !text.empty() && text.size() <= kLongestKeyPart && std::none_of(text.begin(), text.end(), is_forbidden) &&
           is_utf8(text);
}

std::optional<KeyParts> parse_key(std::string_view text, std::string *error) {
    const std::vector<std::string_view> parts = split(text);
    if (!check_parts(parts, error))
        return std::nullopt;
    const auto part = [&parts](std::size_t i) { return std::string(i < parts.size() ? parts[i] : std::string_view()); };
    return KeyParts{part(0), part(1), part(2)};
}

std::string print_key(const KeyParts &key) {
    std::string text = key.layer;
    if (!key.group.empty() || !key.name.empty())
        text += ":" + key.group;
    if (!key.name.empty())
        text += ":" + key.name;
    return text;
}

} // namespace varnel
