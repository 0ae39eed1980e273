// SPDX-License-Identifier: MIT
#include "modules/common/value_store.h"

#include <cerrno>
#include <utility>

namespace varnel::modules {

namespace {

using Lock = std::lock_guard<std::mutex>;

} // namespace

int ValueStore::create_group(std::string_view group) {
    const Lock held(lock_);
    return groups_.try_emplace(std::string(group)).second ? 0 : -EEXIST;
}

int ValueStore::set(std::string_view group, std::string_view name, SharedValue value) {
    std::string key(name);
    const Lock held(lock_);
    auto found = groups_.find(group);
    if (found == groups_.end())
        found = groups_.try_emplace(std::string(group)).first;
    found->second.insert_or_assign(std::move(key), std::move(value));
    return 0;
}

int ValueStore::remove_group(std::string_view group) {
    const Lock held(lock_);
    const auto found = groups_.find(group);
    if (found == groups_.end())
        return -ENOENT;
    groups_.erase(found);
    return 0;
}

int ValueStore::remove(std::string_view group, std::string_view name) {
    const Lock held(lock_);
    const auto found = groups_.find(group);
    if (found == groups_.end())
        return -ENOENT;
    const auto value = found->second.find(name);
    if (value == found->second.end())
        return -ENOENT;
    found->second.erase(value);
    return 0;
}

int ValueStore::find_group(std::string_view group) const {
    const Lock held(lock_);
    return groups_.find(group) != groups_.end() ? 0 : -ENOENT;
}

const xdata *ValueStore::look_up(std::string_view group, std::string_view name) const {
    const auto found = groups_.find(group);
    if (found == groups_.end())
        return nullptr;
    const auto entry = found->second.find(name);
    return entry != found->second.end() ? entry->second.get() : nullptr;
}

int ValueStore::find(std::string_view group, std::string_view name) const {
    const Lock held(lock_);
    return look_up(group, name) != nullptr ? 0 : -ENOENT;
}

int ValueStore::get(std::string_view group, std::string_view name, xdata **value) const {
    const Lock held(lock_);
    const xdata *const found = look_up(group, name);
    if (found == nullptr)
        return -ENOENT;
    *value = copy_of(*found).release();
    return 0;
}

int ValueStore::visit_group(const std::string &name, const Group &group, module_visit_t visit, void *context) const {
    const Key group_key(xkey_new(layer_.c_str(), name.c_str(), nullptr));
    int result = visit(context, group_key.get(), nullptr);
    for (auto entry = group.begin(); entry != group.end() && result == 0; ++entry) {
        const Key key(xkey_new(layer_.c_str(), name.c_str(), entry->first.c_str()));
        result = visit(context, key.get(), entry->second.get());
    }
    return result;
}

int ValueStore::list(std::string_view group, module_visit_t visit, void *context) const {
    const Lock held(lock_);
    if (!group.empty()) {
        const auto found = groups_.find(group);
        return found != groups_.end() ? visit_group(found->first, found->second, visit, context) : -ENOENT;
    }
    int result = 0;
    for (auto entry = groups_.begin(); entry != groups_.end() && result == 0; ++entry)
        result = visit_group(entry->first, entry->second, visit, context);
    return result;
}

} // namespace varnel::modules
