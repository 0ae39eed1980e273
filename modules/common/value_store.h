// SPDX-License-Identifier: MIT
// Groups of named values, in memory, in ascending order.
#pragma once

#include "common/records.h"
#include "module.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace varnel::modules {

// Any thread may call any function at any time. Results are those of module.h; exhausted memory is std::bad_alloc.
class ValueStore {
public:
    explicit ValueStore(std::string_view layer_name) : layer_(layer_name) {}

    int create_group(std::string_view group);
    int set(std::string_view group, std::string_view name, SharedValue value);
    int remove_group(std::string_view group);
    int remove(std::string_view group, std::string_view name);

    [[nodiscard]] int find_group(std::string_view group) const;
    [[nodiscard]] int find(std::string_view group, std::string_view name) const;
    int get(std::string_view group, std::string_view name, xdata **value) const;

    // Visits everything; an empty group name means all groups.
    int list(std::string_view group, module_visit_t visit, void *context) const;

private:
    using Group = std::map<std::string, SharedValue, std::less<>>;

    // To be used under the lock only.
    [[nodiscard]] const xdata *look_up(std::string_view group, std::string_view name) const;
    int visit_group(const std::string &name, const Group &group, module_visit_t visit, void *context) const;

    const std::string layer_;
    mutable std::mutex lock_;
    std::map<std::string, Group, std::less<>> groups_;
};

} // namespace varnel::modules
