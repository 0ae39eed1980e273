// SPDX-License-Identifier: MIT
#include "common/text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace varnel {

namespace {

// The first bytes of a kind of character, how many bytes it has, and the bounds of its second byte: those exclude
// overlong forms, surrogates and numbers above U+10FFFF. All further bytes are 0x80 to 0xbf.
struct Form {
    std::uint8_t first_least, first_most;
    std::uint8_t second_least, second_most;
    std::size_t length;
};

constexpr Form kForms[] = {
    {0x00, 0x7f, 0x00, 0x00, 1}, {0xc2, 0xdf, 0x80, 0xbf, 2}, {0xe0, 0xe0, 0xa0, 0xbf, 3},
    {0xe1, 0xec, 0x80, 0xbf, 3}, {0xed, 0xed, 0x80, 0x9f, 3}, {0xee, 0xef, 0x80, 0xbf, 3},
    {0xf0, 0xf0, 0x90, 0xbf, 4}, {0xf1, 0xf3, 0x80, 0xbf, 4}, {0xf4, 0xf4, 0x80, 0x8f, 4},
};

constexpr std::size_t kMostShown = 60;

std::uint8_t byte_at(std::string_view text, std::size_t i) {
    return static_cast<std::uint8_t>(text[i]);
}

bool has_form(std::string_view text, const Form &form) {
    if (text.size() < form.length || byte_at(text, 0) < form.first_least || byte_at(text, 0) > form.first_most)
        return false;
    if (form.length > 1 && (byte_at(text, 1) < form.second_least || byte_at(text, 1) > form.second_most))
        return false;
    for (std::size_t i = 2; i < form.length; ++i)
        if ((byte_at(text, i) & 0xc0) != 0x80)
            return false;
    return true;
}

// C1 controls are the characters of two bytes that start with 0xc2 and end below 0xa0.
bool is_control(std::string_view character) {
    const std::uint8_t first = byte_at(character, 0);
    return first < 0x20 || first == 0x7f || (first == 0xc2 && byte_at(character, 1) < 0xa0);
}

void append_escape(std::string &result, char c) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto byte = static_cast<std::uint8_t>(c);
    result += "\\x";
    result += kDigits[byte >> 4];
    result += kDigits[byte & 0xf];
}

// Appends what text starts with, and returns how many bytes that were.
std::size_t append_escaped(std::string &result, std::string_view text) {
    const std::size_t length = utf8_length(text);
    const std::string_view character = text.substr(0, std::max<std::size_t>(length, 1));
    if (character == "\\")
        result += "\\\\";
    else if (length != 0 && !is_control(character))
        result += character;
    else
        for (const char c : character)
            append_escape(result, c);
    return character.size();
}

} // namespace

std::size_t utf8_length(std::string_view text) {
    if (text.empty())
        return 0;
    const auto *const found =
        std::find_if(std::begin(kForms), std::end(kForms), [&](const Form &form) { return has_form(text, form); });
    return found != std::end(kForms) ? found->length : 0;
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

std::string escaped(std::string_view text) {
    std::string result;
    while (!text.empty())
        text.remove_prefix(append_escaped(result, text));
    return result;
}

std::string in_lower_case(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

std::string in_quotes(std::string_view text) {
    std::string result = "\"";
    for (std::size_t shown = 0; !text.empty() && shown < kMostShown; ++shown)
        text.remove_prefix(append_escaped(result, text));
    return result + (text.empty() ? "\"" : "...\"");
}

} // namespace varnel
