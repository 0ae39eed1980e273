// SPDX-License-Identifier: MIT
#include "daemon/change.h"

#include "daemon/log.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <utility>

namespace varnel::daemon {

namespace {

bool same(const SharedValue &a, const SharedValue &b) {
    return a != nullptr && b != nullptr ? identical(*a, *b) : a == b;
}

} // namespace

bool Change::visible() const {
    return kind == ChangeKind::value ? !same(visible_old, visible_new) : seen;
}

int ChangeSet::fail(int result, const BackendAccess *backend) {
    failed_ = backend;
    return result;
}

int ChangeSet::get_stored(const KeyRef &key, Change &change) const {
    Value value;
    const int result = writer_->get(key, value);
    change.stored_old = std::move(value);
    return result;
}

// Fills in what readers saw and will see, from the backends above the writer and below it.
int ChangeSet::look_around(Change &change, SharedValue stored_new) {
    const std::size_t position = *layer_->writer();
    Found above = layer_->find(change.group, change.name, 0, position);
    if (above.result == 0) {
        change.visible_old = change.visible_new = std::move(above.value);
        return 0;
    }
    if (above.result != -ENOENT)
        return fail(above.result, above.backend);
    change.visible_old = change.stored_old;
    change.visible_new = std::move(stored_new);
    if (change.visible_old != nullptr && change.visible_new != nullptr)
        return 0;
    Found below = layer_->find(change.group, change.name, position + 1, layer_->backends().size());
    if (below.result != 0)
        return below.result == -ENOENT ? 0 : fail(below.result, below.backend);
    const SharedValue hidden = std::move(below.value);
    if (change.visible_old == nullptr)
        change.visible_old = hidden;
    if (change.visible_new == nullptr)
        change.visible_new = hidden;
    return 0;
}

// A value that comes into a group that its backend does not have yet makes the group.
int ChangeSet::note_new_group(const std::string &group) {
    const int result = writer_->has_group(key_of(group, std::string()));
    if (result == -ENOENT)
        note_group(ChangeKind::group_created, group, layer_->find_group(group) == -ENOENT);
    return result == -ENOENT ? 0 : result;
}

void ChangeSet::note_group(ChangeKind kind, const std::string &group, bool seen) {
    changes_.push_back({kind, group, std::string(), nullptr, nullptr, nullptr, seen});
}

// A change is noted before it is made, so that there is memory for it: the last one is forgotten when it has failed.
int ChangeSet::keep_if(int result) {
    if (result == 0)
        return 0;
    changes_.pop_back();
    return fail(result, writer_);
}

int ChangeSet::set(const std::string &group, const std::string &name, const SharedValue &value) {
    const KeyRef key = key_of(group, name);
    Change change{ChangeKind::value, group, name, nullptr, nullptr, nullptr};
    int result = get_stored(key, change);
    if (result != 0 && result != -ENOENT)
        return fail(result, writer_);
    if (result == 0 && identical(*change.stored_old, *value))
        return 0;
    if (const int around = look_around(change, value); around != 0)
        return around;
    const std::size_t before = changes_.size();
    if (result == -ENOENT)
        result = note_new_group(group);
    if (result != 0)
        return fail(result, writer_);
    changes_.push_back(std::move(change));
    result = keep_if(writer_->set(key, *value));
    if (result != 0)
        changes_.erase(changes_.begin() + static_cast<std::ptrdiff_t>(before), changes_.end()); // the group
    return result;
}

int ChangeSet::unset(const std::string &group, const std::string &name) {
    const KeyRef key = key_of(group, name);
    Change change{ChangeKind::value, group, name, nullptr, nullptr, nullptr};
    if (const int result = get_stored(key, change); result != 0)
        return fail(result, writer_);
    if (const int around = look_around(change, nullptr); around != 0)
        return around;
    changes_.push_back(std::move(change));
    return keep_if(writer_->unset(key));
}

int ChangeSet::create_group(const std::string &group) {
    note_group(ChangeKind::group_created, group, layer_->find_group(group) == -ENOENT);
    return keep_if(writer_->create_group(key_of(group, std::string())));
}

int ChangeSet::remove_group(const std::string &group) {
    std::vector<std::string> names;
    const KeyRef key = key_of(group, std::string());
    const int listed = writer_->list(&key, [&names](auto, auto name, auto *) {
        if (!name.empty())
            names.emplace_back(name);
        return true;
    });
    if (listed != 0)
        return fail(listed, writer_);
    for (const std::string &name : names) {
        if (const int result = unset(group, name); result != 0)
            return result;
    }
    note_group(ChangeKind::group_removed, group, false);
    if (const int result = keep_if(writer_->unset(key)); result != 0)
        return result;
    changes_.back().seen = layer_->find_group(group) == -ENOENT;
    return 0;
}

int ChangeSet::undo_one(const Change &change) const {
    const KeyRef key = key_of(change.group, change.name);
    if (change.kind == ChangeKind::group_removed)
        return writer_->create_group(key);
    if (change.kind == ChangeKind::group_created || change.stored_old == nullptr) {
        const int result = writer_->unset(key);
        return result == -ENOENT ? 0 : result; // it had been noted, but not made
    }
    return writer_->set(key, *change.stored_old);
}

ChangeSet::~ChangeSet() {
    try {
        if (!undo())
            log_error("layer " + layer_->name() + ": backend " + writer_->name() + " does not take changes back");
    } catch (const std::exception &) {
        return; // there is no memory to say so either
    }
}

bool ChangeSet::undo() {
    bool complete = true;
    std::for_each(changes_.rbegin(), changes_.rend(),
                  [&](const Change &change) { complete = undo_one(change) == 0 && complete; });
    changes_.clear();
    return complete;
}

} // namespace varnel::daemon
