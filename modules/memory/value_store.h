// SPDX-License-Identifier: MIT
// Groups of named values, in memory, in ascending order.
#pragma once

#include "module.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace varnel_memory {

struct XdataDeleter {
    void operator()(xdata *value) const { xdata_free(value); }
};
using Value = std::unique_ptr<xdata, XdataDeleter>;
using Group = std::map<std::string, Value, std::less<>>;

// The store of one backend copy. Any thread may call any function at any time. Results are those of module.h; exhausted
// memory is std::bad_alloc.
class ValueStore {
public:
    explicit ValueStore(std::string_view layer_name) : layer_(layer_name) {}

    int create_group(std::string_view group);
    int set(std::string_view group, std::string_view name, Value value);
    int remove_group(std::string_view group);
    int remove(std::string_view group, std::string_view name);
    int find_group(std::string_view group) const;
    int get(std::string_view group, std::string_view name, xdata **value) const;

    // Visits everything; an empty group name means all groups.
    int list(std::string_view group, module_visit_t visit, void *context) const;

private:
    int visit_group(const std::string &name, const Group &group, module_visit_t visit, void *context) const;

    const std::string layer_;
    mutable std::mutex lock_;
    std::map<std::string, Group, std::less<>> groups_;
};

} // namespace varnel_memory
