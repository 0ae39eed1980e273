// SPDX-License-Identifier: MIT
// Changes of a layer that can be undone, until the storage has them.
#pragma once

#include "daemon/layer_store.h"

#include <string>
#include <vector>

namespace varnel::daemon {

enum class ChangeKind { value, group_created, group_removed };

struct Change {
    ChangeKind kind;
    std::string group;
    std::string name;        // empty for groups
    SharedValue stored_old;  // what the backend that takes changes held; nullptr: nothing
    SharedValue visible_old; // what a reader saw before; nullptr: nothing
    SharedValue visible_new; // what a reader sees now
    bool seen = true;        // of a group: whether no other backend has it

    // Whether a reader sees a difference.
    [[nodiscard]] bool visible() const;
};

// The changes of one request, in order. Results are 0 or a negative errno value; *failed is then the backend. Changes
// that nobody takes are undone at the end, so that an exception leaves none behind.
class ChangeSet {
public:
    // The layer must have a backend that takes changes.
    explicit ChangeSet(const LayerStore &layer) : layer_(&layer), writer_(&layer.backends()[*layer.writer()]) {}
    ChangeSet(ChangeSet &&) noexcept = default; // leaves no changes behind
    ChangeSet &operator=(ChangeSet &&) = delete;
    ChangeSet(const ChangeSet &) = delete;
    ChangeSet &operator=(const ChangeSet &) = delete;
    ~ChangeSet();

    int set(const std::string &group, const std::string &name, const SharedValue &value);
    int unset(const std::string &group, const std::string &name);
    int create_group(const std::string &group);
    int remove_group(const std::string &group);

    // Takes back every change, the last one first. False when the backend refuses one, which stays as it is then.
    [[nodiscard]] bool undo();

    [[nodiscard]] const LayerStore &layer() const { return *layer_; }
    [[nodiscard]] const BackendAccess &writer() const { return *writer_; }
    [[nodiscard]] const BackendAccess *failed() const { return failed_; }
    [[nodiscard]] const std::vector<Change> &changes() const { return changes_; }
    std::vector<Change> take_changes() { return std::move(changes_); }

private:
    [[nodiscard]] KeyRef key_of(const std::string &group, const std::string &name) const {
        return {layer_->name(), group, name};
    }
    int fail(int result, const BackendAccess *backend);
    [[nodiscard]] int get_stored(const KeyRef &key, Change &change) const;
    int look_around(Change &change, SharedValue stored_new);
    int note_new_group(const std::string &group);
    void note_group(ChangeKind kind, const std::string &group, bool seen);
    int keep_if(int result);
    [[nodiscard]] int undo_one(const Change &change) const;

    const LayerStore *layer_;
    const BackendAccess *writer_;
    const BackendAccess *failed_ = nullptr;
    std::vector<Change> changes_;
};

} // namespace varnel::daemon
