// SPDX-License-Identifier: MIT
#include "common/key_text.h"

#include "common/text.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace varnel {

namespace {

constexpr std::array<std::string_view, 3> kPartNames = {"layer", "group", "name"};

bool is_forbidden(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == ':' || byte < 0x20 || byte == 0x7f;
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

// What is wrong with the parts of a key; an empty layer is right.
std::optional<std::string> mistake_in(const std::vector<std::string_view> &parts) {
    if (parts.size() > kPartNames.size())
        return "at most three parts, layer:group:name";
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const bool default_layer = i == 0 && parts[i].empty();
        if (!default_layer && !valid_key_part(parts[i]))
            return "a " + std::string(kPartNames[i]) + " of 1 to " + std::to_string(kLongestKeyPart) +
                   " bytes of UTF-8 without control characters";
    }
    return std::nullopt;
}

} // namespace

bool valid_key_part(std::string_view text) {
    // One pass for what keys mostly are.
    const auto is_plain = [](char c) { return c > 0x20 && c < 0x7f && c != ':'; };
    if (!text.empty() && text.size() <= kLongestKeyPart && std::all_of(text.begin(), text.end(), is_plain))
        return true;
    return !text.empty() && text.size() <= kLongestKeyPart && std::none_of(text.begin(), text.end(), is_forbidden) &&
           is_utf8(text);
}

std::optional<KeyParts> parse_key(std::string_view text, std::string *error) {
    const std::vector<std::string_view> parts = split(text);
    if (std::optional<std::string> mistake = mistake_in(parts)) {
        if (error != nullptr)
            *error = std::move(*mistake);
        return std::nullopt;
    }
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
