// SPDX-License-Identifier: MIT
#include "common/defaults_entry.h"

#include "common/key_text.h"
#include "common/text.h"
#include "common/value_text.h"

#include <optional>
#include <utility>

namespace varnel {

namespace {

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string names_of_types() {
    std::string names;
    for (xdata_type type = XDATA_STRING; type < XDATA_TYPE_END; ++type)
        names.append(names.empty() ? "" : ", ").append(name_of_type(type));
    return names;
}

DefaultsEntry wrong(DefaultsEntry::Part part, std::string message, std::string expected, std::size_t offset = 0) {
    return {{}, nullptr, part, offset, std::move(message), std::move(expected)};
}

} // namespace

DefaultsEntry read_defaults_entry(std::string_view key, std::string_view text) {
    const std::size_t colon = key.rfind(':');
    const std::string_view name = trimmed(key.substr(0, colon));
    xdata_type type = guess_type(text);
    if (colon != std::string_view::npos) {
        const std::string_view type_name = trimmed(key.substr(colon + 1));
        const std::optional<xdata_type> given = type_of_name(type_name);
        if (!given)
            return wrong(DefaultsEntry::Part::type, in_quotes(type_name) + " is no type", names_of_types(), colon + 1);
        type = *given;
    }
    if (!valid_key_part(name))
        return wrong(DefaultsEntry::Part::name, in_quotes(name) + " is no name of a value",
                     "1 to " + std::to_string(kLongestKeyPart) +
                         " bytes of UTF-8 without control characters and \":\"");
    std::string expected;
    Value value = parse_value(text, type, &expected);
    if (value == nullptr)
        return wrong(DefaultsEntry::Part::value, in_quotes(text) + " is no " + name_of_type(type), expected);
    DefaultsEntry entry;
    entry.name = name;
    entry.value = std::move(value);
    return entry;
}

} // namespace varnel
