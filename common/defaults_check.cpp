// SPDX-License-Identifier: MIT
#include "common/defaults_check.h"

#include "common/config_syntax.h"
#include "common/defaults_entry.h"
#include "common/key_text.h"
#include "common/text.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

namespace varnel {

namespace {

class DefaultsChecker {
public:
    DefaultsChecker(const ConfigTree &tree, std::vector<ConfigFinding> &findings) : tree_(tree), findings_(findings) {}

    void check() {
        for (const ConfigEntry &entry : tree_.root().entries())
            check_group(entry);
    }

private:
    void check_group(const ConfigEntry &group);
    void check_setting(const ConfigEntry &setting, std::map<std::string, int> &lines);
    void add(const ConfigPlace &place, std::string message, std::string expected, std::size_t offset = 0) {
        const int column = place.column + static_cast<int>(offset);
        findings_.push_back({true, place.line, column, std::move(message), std::move(expected)});
    }

    const ConfigTree &tree_;
    std::vector<ConfigFinding> &findings_;
};

void DefaultsChecker::check_group(const ConfigEntry &group) {
    if (!group.is_group()) {
        add(group.key_place, "the setting " + in_quotes(group.key) + " is in no group", "groups of settings");
        return;
    }
    if (!valid_key_part(group.key))
        add(group.key_place, in_quotes(group.key) + " is no name of a group",
            "1 to " + std::to_string(kLongestKeyPart) + " bytes of UTF-8 without control characters and \":\"");
    std::map<std::string, int> lines; // of the names
    for (const ConfigEntry &setting : tree_.group_of(group).entries()) {
        if (setting.is_group())
            add(setting.key_place, "the group " + in_quotes(setting.key) + " is in another one", "settings");
        else
            check_setting(setting, lines);
    }
}

void DefaultsChecker::check_setting(const ConfigEntry &setting, std::map<std::string, int> &lines) {
    DefaultsEntry entry = read_defaults_entry(setting.key, setting.value);
    if (entry.value == nullptr) {
        const bool in_key = entry.wrong_part != DefaultsEntry::Part::value;
        add(in_key ? setting.key_place : setting.value_place, std::move(entry.message), std::move(entry.expected),
            entry.offset);
        return;
    }
    const auto [earlier, is_new] = lines.try_emplace(std::move(entry.name), setting.key_place.line);
    if (!is_new)
        add(setting.key_place,
            in_quotes(earlier->first) + " has a value already, from line " + std::to_string(earlier->second),
            "every name once in its group");
}

} // namespace

std::vector<ConfigFinding> check_defaults(const std::string &path) {
    ConfigSyntax syntax = read_config(path);
    std::vector<ConfigFinding> findings = std::move(syntax.findings);
    if (syntax.complete)
        DefaultsChecker(syntax.tree, findings).check();
    std::stable_sort(findings.begin(), findings.end(), [](const ConfigFinding &a, const ConfigFinding &b) {
        return std::tie(a.line, a.column) < std::tie(b.line, b.column);
    });
    return findings;
}

} // namespace varnel
