// SPDX-License-Identifier: MIT
// A layer of the store: its backends, what of them is seen, and where changes go.
#pragma once

#include "daemon/backend_access.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::daemon {

// What a look-up found. result is 0, -ENOENT, or the negative errno value of the backend that failed; backend is the
// one that answered or failed.
struct Found {
    int result;
    Value value;
    const BackendAccess *backend;
};

struct Row {
    std::string group;
    std::string name; // empty: the group itself
    Value value;      // nullptr for a group
    const BackendAccess *backend;
};

struct Page {
    int result = 0; // as in Found
    const BackendAccess *failed = nullptr;
    std::vector<Row> rows;
    bool more = false;
};

// Where a page begins and how large it may get.
struct PageRequest {
    std::string group; // empty: all groups
    std::string after_group;
    std::string after_name;
    bool values; // names only otherwise
    std::size_t most_rows;
    std::size_t most_bytes; // of values and names; one row always fits
};

class LayerStore {
public:
    explicit LayerStore(layer *record);

    [[nodiscard]] const std::string &name() const { return name_; }
    [[nodiscard]] bool read_only() const { return read_only_; }
    [[nodiscard]] bool is_default() const { return is_default_; }
    [[nodiscard]] int durability() const { return durability_; }
    [[nodiscard]] const std::vector<BackendAccess> &backends() const { return backends_; }

    // The position of the backend that takes changes, if there is one.
    [[nodiscard]] std::optional<std::size_t> writer() const { return writer_; }

    // Whether what that backend holds outlives the daemon. A layer that takes no changes loses none.
    [[nodiscard]] bool keeps_changes() const { return keeps_changes_; }

    // Asks the backends from position first up to (not including) last, in order of priority.
    [[nodiscard]] Found find(const std::string &group, const std::string &name, std::size_t first,
                             std::size_t last) const;
    [[nodiscard]] Found find(const std::string &group, const std::string &name) const {
        return find(group, name, 0, backends_.size());
    }

    // 0 when a backend has the group, -ENOENT, or the error of one.
    [[nodiscard]] int find_group(const std::string &group) const;

    // What find would answer for every value, in ascending order of group and name.
    [[nodiscard]] Page list(const PageRequest &request) const;

private:
    std::string name_;
    bool read_only_;
    bool is_default_;
    int durability_;
    std::vector<BackendAccess> backends_;
    std::optional<std::size_t> writer_;
    bool keeps_changes_;
};

} // namespace varnel::daemon
