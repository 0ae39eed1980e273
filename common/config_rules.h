// SPDX-License-Identifier: MIT
// The settings that varneld and its modules read, and what their texts may be.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varnel {

struct SettingRule {
    const char *name;
    bool (*accepts)(std::string_view text);
    const char *expected; // when it does not
    bool fatal;           // the daemon does not start then; otherwise something else is in force than was written
};

// Of the group "varneld", without its group "limits".
std::span<const SettingRule> daemon_rules();

// Of a layer.
std::span<const SettingRule> layer_rules();

// Of every backend, and those of one module besides: none for modules that are not known here. The settings in a
// layer's reference to a backend are the same.
std::span<const SettingRule> backend_rules();
std::span<const SettingRule> module_rules(std::string_view module);

// The setting of that name among the rules, or nullptr.
const SettingRule *find_rule(std::span<const SettingRule> rules, std::string_view name);

std::vector<std::string> names_of(std::span<const SettingRule> rules);

// Whether the text reads as a boolean, and as true, the way in which the library looks at it.
bool is_boolean(std::string_view text);
bool is_true(std::string_view text);

} // namespace varnel
