// SPDX-License-Identifier: MIT
// What a configuration file says, with the place of everything. The groups stand in one array: a file can nest them
// deeper than a stack is.
#pragma once

#include "common/config_lines.h"

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace varnel {

struct ConfigEntry {
    std::string key;
    ConfigPlace key_place;
    std::string value; // of a setting
    ConfigPlace value_place;
    std::size_t group = 0; // its number in the tree; 0: a setting

    [[nodiscard]] bool is_group() const { return group != 0; }
};

class ConfigGroup {
public:
    // In the order in which the keys came first.
    [[nodiscard]] const std::vector<ConfigEntry> &entries() const { return entries_; }
    [[nodiscard]] const ConfigEntry *find(std::string_view key) const;

    // Puts the entry in the place of one with its key.
    void set(ConfigEntry entry);

private:
    std::vector<ConfigEntry> entries_;
    std::map<std::string, std::size_t, std::less<>> places_;
};

class ConfigTree {
public:
    static constexpr std::size_t kRoot = 0;

    [[nodiscard]] const ConfigGroup &root() const { return groups_.front(); }
    [[nodiscard]] const ConfigGroup &group_of(const ConfigEntry &entry) const { return groups_[entry.group]; }

    [[nodiscard]] ConfigGroup &group(std::size_t number) { return groups_[number]; }
    std::size_t add_group();

private:
    std::deque<ConfigGroup> groups_ = std::deque<ConfigGroup>(1);
};

} // namespace varnel
