// SPDX-License-Identifier: MIT
// Helpers of the storage tests: trees from text, owners of maps, and an observer of the modules' life.
#pragma once

#include "config/settings_file.h"
#include "config/tree_text.h"
#include "modules/store_module.h"

#include <varnel/memory.h>
#include <varnel/storage.h>

#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

inline Tree tree_of(std::string_view content) {
    const SettingsFile file(content);
    return Tree(configurator_load(file.path()));
}

struct BackendsDeleter {
    void operator()(hashmap *map) const { backends_free(map); }
};
using Backends = std::unique_ptr<hashmap, BackendsDeleter>;

// Records as the configuration makes them, their modules not loaded.
inline Backends load_backends(std::string_view content) {
    return Backends(backends_load(nullptr, tree_of(content).get()));
}

struct BackendDeleter {
    void operator()(backend *b) const { backend_free(b); }
};
using OwnedBackend = std::unique_ptr<backend, BackendDeleter>;

// The default layer, which layers_free leaves, goes too.
struct LayersDeleter {
    void operator()(hashmap *map) const {
        layer *const standard = get_layer(map, "default");
        layer *const left = standard != nullptr && standard->is_default != 0 ? standard : nullptr;
        layers_free(map);
        layer_free(left);
    }
};
using Layers = std::unique_ptr<hashmap, LayersDeleter>;

// Takes a group that others share by pointer away from a tree.
inline void disown(xdictionary *d, const char *key) {
    for (uint32_t i = 0; i < d->size; ++i)
        if (d->keys[i] != nullptr && strcmp(d->keys[i], key) == 0)
            d->values[i] = nullptr;
}

inline backend *backend_of(hashmap *backends, const char *name) {
    return static_cast<backend *>(hashmap_get(backends, name));
}

// "action=symbol;" of every entry point, in order.
inline std::string functions_of(const backend *b) {
    std::string text;
    uintptr_t token = HASHMAP_ITERATE_START;
    void *action = nullptr;
    while (void *const value = hashmap_iterate(b->functions, &token, &action))
        text +=
            std::string(static_cast<const char *>(action)) + "=" + static_cast<backend_function *>(value)->symbol + ";";
    return text;
}

constexpr char kDefaultFunctions[] = "init=module_init;destroy=module_destroy;set=module_set_value;"
                                     "unset=module_unset_value;get=module_get_value;list=module_list_all;"
                                     "sync=module_sync;";

// Calls an entry point that returns its number; -1 for one without an address.
inline int call_entry(const backend *b, const char *action) {
    const backend_function *const function = backend_get_function(b, action);
    if (function == nullptr || function->address == nullptr)
        return -1;
    return reinterpret_cast<store_entry_t>(function->address)();
}

// The names of a layer's backends, in order, each followed by a space.
inline std::string order_of(const layer *l) {
    std::string names;
    for (int i = 0; i < l->backend_count; ++i)
        names += std::string(l->backends[i]->name) + " ";
    return names;
}

// Removes an entry point, as no configuration can.
inline void remove_function(backend *b, const char *action) {
    void *key = nullptr;
    auto *const function = static_cast<backend_function *>(hashmap_remove2(b->functions, action, &key));
    _xfree(key);
    _xfree(function->symbol);
    _xfree(function);
}

inline std::string module_path(const char *name) {
    return std::string(TEST_MODULE_DIR) + "/" + name + ".so";
}

// Records what a module is told of backends and layers, as things stand at that moment.
class ModuleObserver {
public:
    struct Event {
        std::string function;
        backend *b;
        layer *l;
        std::string backend_name;
        std::string layer_name;
        std::string backend_config;
        std::string layer_config;
        std::string order;  // "init": of the backends that the layer counts
        bool next_in_layer; // "init": whether the backend stands behind those
        uint32_t is_default;
    };

    explicit ModuleObserver(const char *module) : handle_(dlopen(module_path(module).c_str(), RTLD_LAZY)) {
        events().clear();
        if (handle_ == nullptr)
            ADD_FAILURE() << dlerror();
        else
            set(&ModuleObserver::record);
    }
    ModuleObserver(const ModuleObserver &) = delete;
    ModuleObserver &operator=(const ModuleObserver &) = delete;
    ~ModuleObserver() {
        if (handle_ == nullptr)
            return;
        set(nullptr);
        dlclose(handle_);
    }

    static std::vector<Event> &events() {
        static std::vector<Event> recorded;
        return recorded;
    }

    // "function(backend, layer) " of all events.
    static std::string calls() {
        std::string text;
        for (const Event &event : events())
            text += event.function + "(" + event.backend_name + ", " + event.layer_name + ") ";
        return text;
    }

private:
    void set(store_observer_t observer) {
        void *const address = dlsym(handle_, "module_observe");
        ASSERT_NE(address, nullptr);
        store_observe_t observe;
        memcpy(&observe, &address, sizeof observe);
        observe(observer);
    }

    // While a layer is released, the backends before the one that is told so are gone.
    static void record(const char *function, backend *b, layer *l) {
        const bool starting = strstr(function, "init") != nullptr;
        events().push_back({function, b, l, b->name, l->name, tree_text(b->config), tree_text(l->config),
                            starting ? order_of(l) : "", starting && l->backends[l->backend_count] == b,
                            l->is_default});
    }

    void *handle_;
};
