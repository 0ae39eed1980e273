// SPDX-License-Identifier: MIT
// Layers: named groups of backend copies, ordered by priority.
#include "storage/backend_private.h"

#include "base/block.h"
#include "base/layout.h"
#include "base/log.h"
#include "config/dictionary_private.h"
#include "containers/hashmap_drain.h"

using namespace varnel;

VARNEL_OFFSET32(layer, is_default, 4);
VARNEL_OFFSET32(layer, backend_count, 8);
VARNEL_OFFSET32(layer, backends, 12);
VARNEL_OFFSET32(layer, config, 16);
VARNEL_SIZE32(layer, 20);

namespace {

constexpr char kDefault[] = "default";

void call_lifecycle(const char *action, backend *b, layer *l) {
    const backend_function *const function = backend_get_function(b, action);
    if (function != nullptr && function->address != nullptr)
        reinterpret_cast<backend_lifecycle_t>(function->address)(b, l);
}

// Adds the layer's own copy of a backend, with the settings of the reference laid over the backend's. Its module sees
// the layer as far as it is built.
void add_backend(layer *l, hashmap *backends, const Entry &reference) {
    backend *const b = backend_dup(backends, reference.key);
    if (b == nullptr)
        fatal("Layer %s can't find backend %s\n", l->name, reference.key);
    l->backends[l->backend_count] = b;
    xdictionary *const merged = xdictionary_merge(b->config, static_cast<const xdictionary *>(reference.value));
    b->config = require_dictionary(merged, "Can't new xdictionary.\n");
    call_lifecycle("init", b, l);
    ++l->backend_count;
}

int priority_of(const backend *b) {
    return confparser_getint(b->config, "priority", 0);
}

// Highest first. The exchanges, and so the order that equal priorities end in, are part of the behaviour: a
// configuration orders its backends by it.
void sort_backends(layer *l) {
    for (int i = 0; i < l->backend_count; ++i) {
        int highest = priority_of(l->backends[i]);
        for (int j = i + 1; j < l->backend_count; ++j) {
            const int priority = priority_of(l->backends[j]);
            if (highest >= priority)
                continue;
            backend *const exchanged = l->backends[i];
            l->backends[i] = l->backends[j];
            l->backends[j] = exchanged;
            highest = priority;
        }
    }
}

layer *new_layer(const char *name, uint32_t entries) {
    layer *const l = require(new_record<layer>(), "layer xmalloc0 error.\n");
    l->name = xstrdup(name);
    l->config = require_dictionary(xdictionary_new(0), "Can't new xdictionary.\n");
    l->backends =
        require(static_cast<backend **>(xmalloc0(entries * sizeof(backend *))), "layer malloc0 backends error.\n");
    return l;
}

void add_layer(hashmap *layers, hashmap *backends, const Entry &group) {
    const auto *const settings = static_cast<const xdictionary *>(group.value);
    if (group.type != XDICTIONARY_GROUP || settings == nullptr)
        return;
    if (settings->count == 0)
        fatal("layer %s backends is empty.\n", group.key);
    layer *const l = new_layer(group.key, settings->count);
    for_each_entry(settings, [l, backends](const Entry &entry) {
        if (entry.type == XDICTIONARY_GROUP)
            add_backend(l, backends, entry);
        else
            xdictionary_set(l->config, entry.key, entry.value, entry.type);
    });
    sort_backends(l);
    put_copy_of_key(layers, l->name, l);
    log_info("init layer(%s) end.\n", l->name);
}

// The layer that the entry "default" names, or the first.
layer *choose_default(hashmap *layers, const xdictionary *config) {
    uint32_t type = XDICTIONARY_STRING;
    const void *const value = xdictionary_get(config, kDefault, &type);
    if (type != XDICTIONARY_STRING)
        fatal("Layer : set default layers error.\n");
    const char *const name = static_cast<const char *>(value);
    layer *const chosen = name != nullptr ? get_layer(layers, name) : static_cast<layer *>(hashmap_first(layers));
    if (chosen == nullptr)
        fatal("Layer : set default layer error : %s\n", printable(name));
    return chosen;
}

void set_default(hashmap *layers, const xdictionary *config) {
    if (hashmap_contains(layers, kDefault))
        return;
    layer *const chosen = choose_default(layers, config);
    chosen->is_default = 1;
    put_copy_of_key(layers, kDefault, chosen);
}

} // namespace

hashmap *layers_init(hashmap *backends, const xdictionary *config) {
    if (backends == nullptr || config == nullptr || config->count == 0)
        return nullptr;
    hashmap *const layers = hashmap_new(string_hash_func, string_compare_func);
    if (layers == nullptr)
        abort();
    for_each_entry(config, [=](const Entry &group) { add_layer(layers, backends, group); });
    set_default(layers, config);
    return layers;
}

layer *get_layer(hashmap *layers, const char *name) {
    return static_cast<layer *>(hashmap_get(layers, name));
}

int layer_check_readonly(const layer *l) {
    return l != nullptr ? confparser_getboolean(l->config, "readonly", 0) : 0;
}

void layer_free(layer *l) {
    if (l == nullptr)
        return;
    for (int i = 0; i < l->backend_count; ++i) {
        call_lifecycle("destroy", l->backends[i], l);
        backend_free(l->backends[i]);
    }
    _xfree(l->backends);
    _xfree(l->name);
    xdictionary_del(l->config);
    _xfree(l);
}

// The default layer stands in the map twice and is left to the caller. A layer that is itself named "default" is not
// marked, stands there once, and is released.
void layers_free(hashmap *layers) {
    drain_map(layers, [](void *name, void *value) {
        auto *const l = static_cast<layer *>(value);
        if (l->is_default == 0)
            layer_free(l);
        _xfree(name);
    });
}
