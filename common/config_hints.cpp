// SPDX-License-Identifier: MIT
#include "common/config_hints.h"

#include "common/text.h"

#include <cstddef>
#include <string_view>
#include <utility>

namespace varnel {

namespace {

constexpr std::string_view kSpaces = " \t\n\v\f\r";

std::string_view view(const Slice &slice) {
    return {slice.text, slice.length};
}

std::size_t offset_in(const LogicalLine &line, const char *text) {
    return static_cast<std::size_t>(text - line.text.data());
}

ConfigFinding finding(bool error, const ConfigPlace &place, std::string message, std::string expected) {
    return {error, place.line, place.column, std::move(message), std::move(expected)};
}

ConfigFinding hint(const LogicalLine &line, const char *at, std::string message, std::string expected) {
    return finding(false, line.place_of(offset_in(line, at)), std::move(message), std::move(expected));
}

bool is_quote(char c) {
    return c == '"' || c == '\'';
}

// Of a value behind an opening quote. An apostrophe that follows one at once is the value, up to an equals sign.
std::optional<ConfigFinding> quoted_hint(const LogicalLine &line, const Slice &value) {
    const char *const quote = value.text - 1;
    if (*value.text == '\'' && *quote == '\'')
        return hint(line, quote, "two apostrophes make no empty value: it is " + in_quotes(view(trim(value))),
                    "a value");
    const char *const end = value.text + value.length;
    if (*end != *quote)
        return hint(line, quote, "the closing quote is missing", std::string(1, *quote) + " behind the value");
    const std::string_view rest(end + 1);
    const std::size_t start = rest.find_first_not_of(kSpaces);
    if (start == std::string_view::npos || rest[start] == ';' || rest[start] == '#')
        return std::nullopt;
    return hint(line, end + 1 + start, "what stands behind the closing quote is ignored",
                "a comment, or the end of the line");
}

std::optional<ConfigFinding> bare_hint(const LogicalLine &line, const Slice &value) {
    if (!is_quote(*value.text))
        return std::nullopt;
    if (trim(value).length == 1)
        return hint(line, value.text, "the closing quote is missing", std::string("the value and ") + *value.text);
    return hint(line, value.text, "the quotes are part of the value", "one pair of quotes around all of the value");
}

// What follows the first character, spaces left out.
const char *behind_first(const Slice &slice) {
    const std::size_t start = view(slice).find_first_not_of(kSpaces, 1);
    return slice.text + (start != std::string_view::npos ? start : slice.length);
}

} // namespace

PlacedText placed(const LogicalLine &line, const Slice &slice) {
    return {std::string(view(slice)), line.place_of(offset_in(line, slice.text))};
}

std::optional<ConfigFinding> quotes_hint(const LogicalLine &line, const ScannedLine &scanned) {
    const Slice &value = scanned.value;
    if (view(value) == "\"\"" || view(value) == "''")
        return hint(line, value.text, "no text between the quotes: there is no setting, not an empty one", "a value");
    return is_quote(value.text[-1]) ? quoted_hint(line, value) : bare_hint(line, value);
}

std::optional<ConfigFinding> braces_hint(const LogicalLine &line, const ScannedLine &scanned) {
    const Slice key = trim(scanned.key);
    if (*key.text == '{' || *key.text == '}')
        return hint(line, key.text, "the brace is part of the key " + in_quotes(view(key)),
                    "the brace on a line of its own");
    if (scanned.kind != ScanKind::key_value || is_quote(scanned.value.text[-1]))
        return std::nullopt;
    const Slice value = trim(scanned.value);
    if (*value.text != '{' || value.length == 1)
        return std::nullopt;
    return hint(line, value.text, "this is the text of a setting, not a group",
                "what is in a group, and its }, on lines behind the {");
}

ConfigFinding syntax_error(const LogicalLine &line, const Slice &bare) {
    const std::string_view text = view(bare);
    const auto at = [&](const char *place) { return line.place_of(offset_in(line, place)); };
    if (text.front() == '=')
        return finding(true, at(bare.text), "there is no key before the =", "key = value");
    if (text == "{")
        return finding(true, at(bare.text), "a { without the name of its group", "name = {");
    if (text.front() == '{' || text.front() == '}')
        return finding(true, at(behind_first(bare)), "text behind a brace",
                       std::string("the ") + text.front() + " on a line of its own");
    if (text.back() == '{')
        return finding(true, at(bare.text + bare.length - 1), "a { without an = before it", "name = {");
    return finding(true, at(bare.text), in_quotes(text) + " is neither a setting nor a brace",
                   "key = value, key = { or }");
}

} // namespace varnel
