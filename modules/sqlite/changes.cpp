// SPDX-License-Identifier: MIT
#include "modules/sqlite/changes.h"

#include <utility>

namespace varnel::modules {

Changes::Groups::iterator Changes::changed(std::string_view group, bool stored) {
    const auto next = groups_.lower_bound(group);
    if (next != groups_.end() && next->first == group)
        return next;
    return groups_.emplace_hint(next, group, Group{.stored = stored, .values = {}});
}

void Changes::forget_if_nothing(Groups::iterator group) {
    const Group &changes = group->second;
    if (!changes.dropped && !changes.made && changes.values.empty())
        groups_.erase(group);
}

void Changes::forget_if_nothing(Values &values, Values::iterator value) {
    if (value->second.now == nullptr && !value->second.stored)
        values.erase(value);
}

void Changes::create_group(std::string_view group) {
    changed(group, false)->second.made = true;
}

void Changes::set(std::string_view group, std::string_view name, const SharedValue &value, Presence before) {
    Group &changes = changed(group, before.group)->second;
    const auto next = changes.values.lower_bound(name);
    if (next != changes.values.end() && next->first == name)
        next->second.now = value;
    else
        changes.values.emplace_hint(next, name, Value{value, before.value});
    changes.made = changes.made || !before.group;
}

void Changes::remove_group(std::string_view group) {
    const auto found = changed(group, true);
    Group &changes = found->second;
    changes.dropped = changes.stored;
    changes.made = false;
    changes.values.clear();
    forget_if_nothing(found);
}

void Changes::remove(std::string_view group, std::string_view name) {
    const auto found = changed(group, true);
    Values &values = found->second.values;
    const auto value = values.try_emplace(std::string(name), Value{nullptr, true}).first;
    value->second.now = nullptr;
    forget_if_nothing(values, value);
    forget_if_nothing(found);
}

void Changes::doubt() {
    for (auto &[group_name, group] : groups_) {
        group.stored = true;
        for (auto &[name, value] : group.values)
            value.stored = true;
    }
}

void Changes::add_earlier(Changes &&earlier) {
    while (!earlier.groups_.empty()) {
        const auto put = groups_.insert(earlier.groups_.extract(earlier.groups_.begin()));
        if (put.inserted)
            continue;
        add_earlier(put.position->second, put.node.mapped());
        forget_if_nothing(put.position);
    }
}

// The later change stays, what the storage has was known to the earlier one.
void Changes::add_earlier(Group &now, Group &before) {
    now.stored = before.stored;
    if (now.dropped) {
        now.dropped = now.stored;
        return;
    }
    now.dropped = before.dropped;
    now.made = now.made || before.made;
    add_earlier(now.values, before.values);
}

void Changes::add_earlier(Values &now, Values &before) {
    while (!before.empty()) {
        const auto put = now.insert(before.extract(before.begin()));
        if (put.inserted)
            continue;
        put.position->second.stored = put.node.mapped().stored;
        forget_if_nothing(now, put.position);
    }
}

} // namespace varnel::modules
