// SPDX-License-Identifier: MIT
#include "common/config_tree.h"

#include <utility>

namespace varnel {

const ConfigEntry *ConfigGroup::find(std::string_view key) const {
    const auto found = places_.find(key);
    return found != places_.end() ? &entries_[found->second] : nullptr;
}

void ConfigGroup::set(ConfigEntry entry) {
    const auto [found, is_new] = places_.try_emplace(entry.key, entries_.size());
    if (is_new)
        entries_.push_back(std::move(entry));
    else
        entries_[found->second] = std::move(entry);
}

std::size_t ConfigTree::add_group() {
    groups_.emplace_back();
    return groups_.size() - 1;
}

} // namespace varnel
