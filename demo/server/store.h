// SPDX-License-Identifier: MIT
// The store of the demo's server: backends and layers as a configuration file lays them out.
//
// The file has a group "backends" and a group "layers". The names of the settings are those of varnel/storage.h.
#pragma once

#include "common/message.h"
#include "module.h"

#include <varnel/storage.h>

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace demo {

struct XkeyDeleter {
    void operator()(xkey *key) const { xkey_free(key); }
};
using Key = std::unique_ptr<xkey, XkeyDeleter>;

// A group has no value.
struct Entry {
    Value value;
    std::string backend;
};
using Entries = std::map<std::string, Entry>; // by layer:group:name

// What a backend, or several, made of a request.
struct Outcome {
    int result;           // 0, or a negative errno value
    std::string backends; // that gave the result
};

class Store {
public:
    // Loads the file and opens the modules. The library ends the process when something in the file is wrong.
    Store(const char *config_path, const char *module_directory);
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;
    ~Store();

    // The layer of that name, the default layer for "", or nullptr.
    [[nodiscard]] layer *find(const std::string &name) const;

    // Prints the layers and their backends.
    void print() const;

private:
    hashmap *backends_;
    hashmap *layers_;
};

// A key in a layer, for a group when the name is empty.
Key make_key(const layer &where, const std::string &group, const std::string &name);

// Stores a value, or makes a group (nullptr), in the first backend that may be written.
Outcome set_value(const layer &where, const xkey &key, const xdata *value);

// Removes a value or a group from every backend that may be written; -EROFS when only others have it.
Outcome unset_value(const layer &where, const xkey &key);

// Takes a value from the first backend that has it.
Outcome get_value(const layer &where, const xkey &key, Value &value);

// Collects what all backends of the layer have in a group, or in all groups (an empty name); where two have the same
// key, the first one's value stands.
Outcome list_all(const layer &where, const std::string &group, Entries &entries);

// Has every backend write out its changes.
Outcome sync_all(const layer &where);

// Calls visit with every backend of a layer, the module's file and the number of values in it.
void visit_backends(const layer &where,
                    const std::function<void(const backend &, const std::string &, std::uint32_t)> &visit);

// Neither the backend's settings nor the layer's say "readonly".
bool writable(const layer &where, const backend &b);

} // namespace demo
