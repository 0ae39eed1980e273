// SPDX-License-Identifier: MIT
// A tree that is being checked, and where its findings go.
#pragma once

#include "common/config_check.h"
#include "common/config_rules.h"
#include "common/config_tree.h"

#include <string>
#include <vector>

namespace varnel {

class ConfigReport {
public:
    // Both outlive it.
    ConfigReport(const ConfigTree &tree, std::vector<ConfigFinding> &findings) : tree_(tree), findings_(findings) {}

    [[nodiscard]] const ConfigTree &tree() const { return tree_; }
    [[nodiscard]] const ConfigGroup &group_of(const ConfigEntry &entry) const { return tree_.group_of(entry); }

    void error(const ConfigPlace &place, std::string message, std::string expected);
    void warn(const ConfigPlace &place, std::string message, std::string expected);

    // Checks a setting that the rule is about.
    void apply(const SettingRule &rule, const ConfigEntry &entry);

private:
    const ConfigTree &tree_;
    std::vector<ConfigFinding> &findings_;
};

} // namespace varnel
