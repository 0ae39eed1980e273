// SPDX-License-Identifier: MIT
// Groups of named values, in memory, in ascending order, as many as a bound of bytes allows.
#pragma once

#include "common/records.h"
#include "module.h"

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace varnel::modules {

// What a group, and a value, counts in addition to its name and the bytes of its text: about what the nodes and blocks
// of either take on 64 bits. The same everywhere, so that a file that one device holds is one that all of them hold.
inline constexpr std::uint64_t kRecordBytes = 128;

// Is told of every change that is to be made, when nothing but an exception of its own can keep it from being made.
class ChangeNotes {
public:
    struct Presence {
        bool group;
        bool value;
    };
    ChangeNotes() = default;
    ChangeNotes(const ChangeNotes &) = delete;
    ChangeNotes(ChangeNotes &&) = default;
    ChangeNotes &operator=(const ChangeNotes &) = delete;
    ChangeNotes &operator=(ChangeNotes &&) = default;
    virtual ~ChangeNotes() = default;

    virtual void create_group(std::string_view group) = 0;
    virtual void set(std::string_view group, std::string_view name, const SharedValue &value, Presence before) = 0;
    virtual void remove_group(std::string_view group) = 0;
    virtual void remove(std::string_view group, std::string_view name) = 0;
};

// Any thread may call any function at any time. Results are those of module.h; exhausted memory is std::bad_alloc, and
// nothing has changed then. Notes are called under the lock.
class ValueStore {
public:
    explicit ValueStore(std::string_view layer_name) : layer_(layer_name) {}

    // -EDQUOT when the store would hold more than its bound, and more than it does.
    int create_group(std::string_view group, ChangeNotes *notes = nullptr);
    int set(std::string_view group, std::string_view name, SharedValue value, ChangeNotes *notes = nullptr);

    int remove_group(std::string_view group, ChangeNotes *notes = nullptr);
    int remove(std::string_view group, std::string_view name, ChangeNotes *notes = nullptr);

    [[nodiscard]] int find_group(std::string_view group) const;
    [[nodiscard]] int find(std::string_view group, std::string_view name) const;
    int get(std::string_view group, std::string_view name, xdata **value) const;

    // Visits everything; an empty group name means all groups.
    int list(std::string_view group, module_visit_t visit, void *context) const;

    // The bytes that it holds: of each group its name, of each value its name and, of a string, its bytes, and
    // kRecordBytes for each of both.
    [[nodiscard]] std::uint64_t bytes() const;

    // Bounds them; to begin with there is no bound. What it holds already stays, and is the bound if it is more:
    // changes can be taken back step by step, as no step leads to more than there has been. Returns what it holds.
    std::uint64_t set_bound(std::uint64_t most);

private:
    using Group = std::map<std::string, SharedValue, std::less<>>;
    using Groups = std::map<std::string, Group, std::less<>>;

    // To be used under the lock only.
    [[nodiscard]] const xdata *look_up(std::string_view group, std::string_view name) const;
    int visit_group(const std::string &name, const Group &group, module_visit_t visit, void *context) const;
    [[nodiscard]] bool has_room_for(std::uint64_t more) const { return more <= bound_ - bytes_; }
    int add_with_group(Groups::const_iterator next, std::string_view group, std::string_view name, SharedValue value,
                       ChangeNotes *notes);
    int add(Groups::iterator group, Group::const_iterator next, std::string_view name, SharedValue value,
            ChangeNotes *notes);
    int replace(std::string_view group, Group::iterator old, SharedValue value, ChangeNotes *notes);

    const std::string layer_;
    mutable std::mutex lock_;
    Groups groups_;
    std::uint64_t bytes_ = 0;
    std::uint64_t bound_ = std::numeric_limits<std::uint64_t>::max(); // never less than bytes_
};

} // namespace varnel::modules
