// SPDX-License-Identifier: MIT
#include "modules/common/value_store.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace varnel::modules {

namespace {

using Lock = std::lock_guard<std::mutex>;

std::uint64_t bytes_of(std::string_view group) {
    return group.size() + kRecordBytes;
}

std::uint64_t bytes_of(std::string_view name, const xdata &value) {
    return name.size() + kRecordBytes + (value.type == XDATA_STRING ? value.value.s.len : 0);
}

// An entry that can be put into the map without a failure.
template <class Map> typename Map::node_type node_of(std::string_view name, typename Map::mapped_type &&mapped) {
    Map map;
    return map.extract(map.emplace(name, std::move(mapped)).first);
}

} // namespace

int ValueStore::create_group(std::string_view group, ChangeNotes *notes) {
    const Lock held(lock_);
    const auto next = groups_.lower_bound(group);
    if (next != groups_.end() && next->first == group)
        return -EEXIST;
    if (!has_room_for(bytes_of(group)))
        return -EDQUOT;
    auto node = node_of<Groups>(group, Group());
    if (notes != nullptr)
        notes->create_group(group);
    groups_.insert(next, std::move(node));
    bytes_ += bytes_of(group);
    return 0;
}

int ValueStore::set(std::string_view group, std::string_view name, SharedValue value, ChangeNotes *notes) {
    const Lock held(lock_);
    const auto found = groups_.lower_bound(group);
    if (found == groups_.end() || found->first != group)
        return add_with_group(found, group, name, std::move(value), notes);
    const auto old = found->second.lower_bound(name);
    if (old == found->second.end() || old->first != name)
        return add(found, old, name, std::move(value), notes);
    return replace(group, old, std::move(value), notes);
}

int ValueStore::add_with_group(Groups::const_iterator next, std::string_view group, std::string_view name,
                               SharedValue value, ChangeNotes *notes) {
    const std::uint64_t more = bytes_of(group) + bytes_of(name, *value);
    if (!has_room_for(more))
        return -EDQUOT;
    Group values;
    const SharedValue &added = values.emplace(name, std::move(value)).first->second;
    auto node = node_of<Groups>(group, std::move(values));
    if (notes != nullptr)
        notes->set(group, name, added, {.group = false, .value = false});
    groups_.insert(next, std::move(node));
    bytes_ += more;
    return 0;
}

int ValueStore::add(Groups::iterator group, Group::const_iterator next, std::string_view name, SharedValue value,
                    ChangeNotes *notes) {
    const std::uint64_t more = bytes_of(name, *value);
    if (!has_room_for(more))
        return -EDQUOT;
    auto node = node_of<Group>(name, std::move(value));
    if (notes != nullptr)
        notes->set(group->first, name, node.mapped(), {.group = true, .value = false});
    group->second.insert(next, std::move(node));
    bytes_ += more;
    return 0;
}

int ValueStore::replace(std::string_view group, Group::iterator old, SharedValue value, ChangeNotes *notes) {
    const std::uint64_t before = bytes_of(old->first, *old->second);
    const std::uint64_t after = bytes_of(old->first, *value);
    if (after > before && !has_room_for(after - before))
        return -EDQUOT;
    if (notes != nullptr)
        notes->set(group, old->first, value, {.group = true, .value = true});
    old->second = std::move(value);
    bytes_ = bytes_ - before + after;
    return 0;
}

int ValueStore::remove_group(std::string_view group, ChangeNotes *notes) {
    const Lock held(lock_);
    const auto found = groups_.find(group);
    if (found == groups_.end())
        return -ENOENT;
    if (notes != nullptr)
        notes->remove_group(group);
    for (const auto &[name, value] : found->second)
        bytes_ -= bytes_of(name, *value);
    bytes_ -= bytes_of(group);
    groups_.erase(found);
    return 0;
}

int ValueStore::remove(std::string_view group, std::string_view name, ChangeNotes *notes) {
    const Lock held(lock_);
    const auto found = groups_.find(group);
    if (found == groups_.end())
        return -ENOENT;
    const auto value = found->second.find(name);
    if (value == found->second.end())
        return -ENOENT;
    if (notes != nullptr)
        notes->remove(group, name);
    bytes_ -= bytes_of(name, *value->second);
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

std::uint64_t ValueStore::bytes() const {
    const Lock held(lock_);
    return bytes_;
}

std::uint64_t ValueStore::set_bound(std::uint64_t most) {
    const Lock held(lock_);
    bound_ = std::max(most, bytes_);
    return bytes_;
}

} // namespace varnel::modules
