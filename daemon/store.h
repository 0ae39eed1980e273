// SPDX-License-Identifier: MIT
// The store as the configuration describes it: modules opened, layers built.
#pragma once

#include "daemon/layer_store.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::daemon {

class Store {
public:
    // Builds everything that the groups "backends" and "layers" of config name, with modules from directory. Parts of
    // the tree are shared from then on: it must not be released while the process runs. What the library finds wrong
    // ends the process with its own message; what it does not look at is std::runtime_error.
    Store(const xdictionary *config, const std::string &directory);
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;

    // Closes the modules, which bring what they still hold to their storage.
    ~Store();

    // The layer of that name; the default layer for an empty name or "default". nullptr when there is none.
    [[nodiscard]] LayerStore *find(std::string_view name) const;

    // All layers, the default layer first.
    [[nodiscard]] const std::vector<std::unique_ptr<LayerStore>> &layers() const { return layers_; }

private:
    void add_layers();

    hashmap *backend_map_ = nullptr;
    hashmap *layer_map_ = nullptr;
    std::vector<std::unique_ptr<LayerStore>> layers_;
};

} // namespace varnel::daemon
