// SPDX-License-Identifier: MIT
// Changes that the storage does not have yet: of every key, what it is to become.
#pragma once

#include "modules/common/value_store.h"

#include <map>
#include <string>
#include <string_view>

namespace varnel::modules {

class Changes {
public:
    struct Group {
        bool dropped = false; // with all that was in it; then the rest applies
        bool made = false;
        std::map<std::string, SharedValue, std::less<>> values; // nullptr: removed
    };

    void create_group(std::string_view group);
    void set(std::string_view group, std::string_view name, SharedValue value);
    void remove_group(std::string_view group);
    void remove(std::string_view group, std::string_view name);

    // Puts changes that came before these under them.
    void add_earlier(Changes &&earlier);

    [[nodiscard]] bool empty() const { return groups_.empty(); }
    [[nodiscard]] const std::map<std::string, Group, std::less<>> &groups() const { return groups_; }

private:
    Group &group_of(std::string_view group);
    static void add_earlier(Group &now, Group &before);

    std::map<std::string, Group, std::less<>> groups_;
};

} // namespace varnel::modules
