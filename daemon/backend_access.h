// SPDX-License-Identifier: MIT
// The entry points of one backend copy, called as modules/module.h says, with answers that are checked before use.
#pragma once

#include "common/records.h"

#include <module.h>

#include <functional>
#include <string>

namespace varnel::daemon {

// A key for the length of a call, without copies: group and name as the request has them.
class KeyRef {
public:
    KeyRef(const std::string &layer_name, const std::string &group, const std::string &name);
    [[nodiscard]] const xkey *get() const { return &key_; }

private:
    xkey key_;
};

class BackendAccess {
public:
    // Receives one entry of a listing; a group has no name and no value. False ends the listing.
    using Visit = std::function<bool(std::string_view group, std::string_view name, const xdata *value)>;

    // The copy must have all seven entry points and outlive this.
    explicit BackendAccess(backend *copy);

    // Results are 0 or a negative errno value, as the module gives them; -EBADMSG for an answer that makes no sense.
    int get(const KeyRef &key, Value &value) const;
    [[nodiscard]] int has_group(const KeyRef &group) const;
    [[nodiscard]] int set(const KeyRef &key, const xdata &value) const;
    [[nodiscard]] int create_group(const KeyRef &group) const;
    [[nodiscard]] int unset(const KeyRef &key) const;

    // nullptr lists everything.
    int list(const KeyRef *group, const Visit &visit) const;

    // The class reached, or a negative errno value.
    [[nodiscard]] int sync(int wanted) const;

    [[nodiscard]] const std::string &name() const { return name_; }
    [[nodiscard]] const std::string &library() const { return library_; }
    [[nodiscard]] int priority() const { return priority_; }
    [[nodiscard]] bool read_only() const { return read_only_; }

private:
    backend *copy_;
    std::string name_;
    std::string library_;
    int priority_;
    bool read_only_;
    module_get_value_t get_;
    module_set_value_t set_;
    module_unset_value_t unset_;
    module_list_all_t list_;
    module_sync_t sync_;
};

} // namespace varnel::daemon
