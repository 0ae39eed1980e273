// SPDX-License-Identifier: MIT
// Changes that the storage does not have yet: of every key, what it is to become. What comes to nothing is forgotten: a
// value or a group that is removed leaves something only if the storage has it, or may have it.
#pragma once

#include "modules/common/value_store.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace varnel::modules {

// Of what is not here, the storage has what the memory has, or will have it when the write that is under way succeeds.
// That is how a change that is the first one of a key tells what the storage has.
class Changes final : public ChangeNotes {
public:
    struct Value {
        SharedValue now; // nullptr: removed
        bool stored;     // the storage has it, or may have it, once its group is dropped if that is to be dropped
    };
    struct Group {
        bool stored;          // the storage has it, or may have it
        bool dropped = false; // with all that was in it; then the rest applies
        bool made = false;
        std::map<std::string, Value, std::less<>> values;
    };

    void create_group(std::string_view group) override;
    void set(std::string_view group, std::string_view name, const SharedValue &value, Presence before) override;
    void remove_group(std::string_view group) override;
    void remove(std::string_view group, std::string_view name) override;

    // After a write of these changes that has failed, and of which the storage may have everything all the same.
    void doubt();

    // Puts changes that came before these, and whose write has failed, under them. Needs no memory.
    void add_earlier(Changes &&earlier);

    [[nodiscard]] bool empty() const { return groups_.empty(); }
    [[nodiscard]] const std::map<std::string, Group, std::less<>> &groups() const { return groups_; }

private:
    using Values = std::map<std::string, Value, std::less<>>;
    using Groups = std::map<std::string, Group, std::less<>>;

    Groups::iterator changed(std::string_view group, bool stored);
    void forget_if_nothing(Groups::iterator group);
    static void forget_if_nothing(Values &values, Values::iterator value);
    static void add_earlier(Group &now, Group &before);
    static void add_earlier(Values &now, Values &before);

    Groups groups_;
};

} // namespace varnel::modules
