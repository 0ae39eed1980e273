// SPDX-License-Identifier: MIT
#include "common/config_report.h"

#include "common/text.h"

#include <utility>

namespace varnel {

void ConfigReport::error(const ConfigPlace &place, std::string message, std::string expected) {
    findings_.push_back({true, place.line, place.column, std::move(message), std::move(expected)});
}

void ConfigReport::warn(const ConfigPlace &place, std::string message, std::string expected) {
    findings_.push_back({false, place.line, place.column, std::move(message), std::move(expected)});
}

void ConfigReport::apply(const SettingRule &rule, const ConfigEntry &entry) {
    std::string message;
    if (entry.is_group())
        message = in_quotes(entry.key) + " is a group";
    else if (!rule.accepts(entry.value))
        message = in_quotes(entry.value) + " cannot be " + in_quotes(entry.key);
    else
        return;
    const ConfigPlace &place = entry.is_group() ? entry.key_place : entry.value_place;
    if (rule.fatal)
        error(place, std::move(message), rule.expected);
    else
        warn(place, std::move(message), rule.expected);
}

} // namespace varnel
