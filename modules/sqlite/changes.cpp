// SPDX-License-Identifier: MIT
#include "modules/sqlite/changes.h"

#include <utility>

namespace varnel::modules {

Changes::Group &Changes::group_of(std::string_view group) {
    const auto found = groups_.find(group);
    return found != groups_.end() ? found->second : groups_[std::string(group)];
}

void Changes::create_group(std::string_view group) {
    group_of(group).made = true;
}

void Changes::set(std::string_view group, std::string_view name, SharedValue value) {
    std::string key(name);
    Group &changed = group_of(group);
    changed.made = true;
    changed.values.insert_or_assign(std::move(key), std::move(value));
}

void Changes::remove_group(std::string_view group) {
    Group &changed = group_of(group);
    changed.dropped = true;
    changed.made = false;
    changed.values.clear();
}

void Changes::remove(std::string_view group, std::string_view name) {
    std::string key(name);
    group_of(group).values.insert_or_assign(std::move(key), nullptr);
}

void Changes::add_earlier(Changes &&earlier) {
    for (auto &[name, before] : earlier.groups_) {
        const auto found = groups_.find(name);
        if (found == groups_.end())
            groups_.emplace(name, std::move(before));
        else if (!found->second.dropped)
            add_earlier(found->second, before);
    }
}

// What is there of a name stays: it is the later change.
void Changes::add_earlier(Group &now, Group &before) {
    now.dropped = before.dropped;
    now.made = now.made || before.made;
    now.values.merge(before.values);
}

} // namespace varnel::modules
