// SPDX-License-Identifier: MIT
// Asks a storage module for a value, as a daemon does: get FOLDER MODULE GROUP NAME
#include "module.h"

#include <varnel/varnel.h>

#include <cstdio>

namespace {

// outer = { inner = { } }
xdictionary *nested(const char *outer, const char *inner) {
    xdictionary *const config = xdictionary_new(0);
    xdictionary *const group = xdictionary_new(0);
    xdictionary *const empty = xdictionary_new(0);
    xdictionary_set(group, inner, empty, XDICTIONARY_GROUP);
    xdictionary_set(config, outer, group, XDICTIONARY_GROUP);
    return config;
}

int print_value(const layer &where, const char *group, const char *name) {
    backend *const store = where.backends[0];
    const auto get = reinterpret_cast<module_get_value_t>(backend_get_function(store, "get")->address);
    xkey *const key = xkey_new(where.name, group, name);
    xdata *value = nullptr;
    const int result = get(store, key, &value);
    if (result == 0) {
        char *const text = xdata_value_as_char(value);
        std::printf("%s\n", text);
        _xfree(text);
    }
    xdata_free(value);
    xkey_free(key);
    return result;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 5)
        return 2;
    // Not released: backends and layers share the trees' groups.
    hashmap *const backends = backends_init(nested(argv[2], "none"), argv[1]);
    hashmap *const layers = layers_init(backends, nested("only", argv[2]));
    layer *const only = get_layer(layers, "default");
    const int result = print_value(*only, argv[3], argv[4]);
    layers_free(layers);
    layer_free(only);
    backends_free(backends);
    return result == 0 ? 0 : 1;
}
