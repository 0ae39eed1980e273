// SPDX-License-Identifier: MIT
#include "common/config_daemon.h"

#include "common/nearest_name.h"
#include "common/setting_text.h"
#include "common/text.h"
#include "protocol/limits.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace varnel {

namespace {

constexpr const char *kLimitsGroup = "limits";

void check_limit(ConfigReport &report, const ConfigEntry &entry) {
    using protocol::kLimits;
    const auto *const row = std::find_if(std::begin(kLimits), std::end(kLimits),
                                         [&](const protocol::LimitRow &limit) { return entry.key == limit.name; });
    if (row == std::end(kLimits)) {
        std::vector<std::string> known;
        std::transform(std::begin(kLimits), std::end(kLimits), std::back_inserter(known),
                       [](const protocol::LimitRow &limit) { return limit.name; });
        report.error(entry.key_place, "there is no limit " + in_quotes(entry.key), expected_names(entry.key, known));
        return;
    }
    const std::string expected = std::to_string(row->least) + " to " + std::to_string(row->most) + " " + row->unit;
    if (entry.is_group())
        report.error(entry.key_place, in_quotes(entry.key) + " is a group", expected);
    else if (!parse_count(entry.value, row->least, row->most))
        report.error(entry.value_place, in_quotes(entry.value) + " cannot be the limit " + in_quotes(entry.key),
                     expected);
}

void check_limits(ConfigReport &report, const ConfigEntry &entry) {
    if (!entry.is_group()) {
        report.error(entry.key_place, in_quotes(entry.key) + " is no group", std::string(kLimitsGroup) + " = {");
        return;
    }
    for (const ConfigEntry &limit : report.group_of(entry).entries())
        check_limit(report, limit);
}

} // namespace

void check_daemon_settings(ConfigReport &report, const ConfigGroup &group) {
    std::vector<std::string> known = names_of(daemon_rules());
    known.emplace_back(kLimitsGroup);
    for (const ConfigEntry &entry : group.entries()) {
        if (const SettingRule *const rule = find_rule(daemon_rules(), entry.key))
            report.apply(*rule, entry);
        else if (entry.key == kLimitsGroup)
            check_limits(report, entry);
        else
            report.warn(entry.key_place, "there is no setting " + in_quotes(entry.key),
                        expected_names(entry.key, known));
    }
}

} // namespace varnel
