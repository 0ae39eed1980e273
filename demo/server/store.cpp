// SPDX-License-Identifier: MIT
#include "server/store.h"

#include "common/failure.h"

#include <varnel/memory.h>

#include <cerrno>
#include <cstdio>

namespace demo {

namespace {

// The loaded file. Never deleted: the backends and layers share groups of it, and release them as their own.
xdictionary *config = nullptr;

const xdictionary *load(const char *path) {
    errno = 0; // stays so when the file can be opened but not used, which the library logs
    config = configurator_load(path);
    const std::string what = std::string("cannot load the configuration ") + path;
    if (config == nullptr)
        throw errno != 0 ? system_failure(what) : Failure(what);
    return config;
}

} // namespace

Store::Store(const char *config_path, const char *module_directory)
    : backends_(backends_init(confparser_getdic(load(config_path), "backends"), module_directory)),
      layers_(layers_init(backends_, confparser_getdic(config, "layers"))) {
    if (backends_ == nullptr || layers_ == nullptr)
        throw Failure(std::string(config_path) + R"(: the groups "backends" and "layers" must be there)");
}

// The default layer stands in the map twice and is not released with the others.
Store::~Store() {
    layer *const default_layer = get_layer(layers_, "default");
    layers_free(layers_);
    layer_free(default_layer);
    backends_free(backends_);
}

layer *Store::find(const std::string &name) const {
    return get_layer(layers_, name.empty() ? "default" : name.c_str());
}

void Store::print() const {
    const layer *const default_layer = find("");
    std::uintptr_t token = HASHMAP_ITERATE_START;
    void *key = nullptr;
    while (const void *const value = hashmap_iterate(layers_, &token, &key)) {
        const auto &where = *static_cast<const layer *>(value);
        if (static_cast<const char *>(key) != std::string(where.name))
            continue; // the default layer's second key
        std::printf("  server: layer %s%s:", where.name, &where == default_layer ? " (default)" : "");
        visit_backends(where, [&where](const backend &b, const std::string &module, std::uint32_t) {
            std::printf(" %s (%s, priority %d%s)", b.name, module.c_str(), confparser_getint(b.config, "priority", 0),
                        writable(where, b) ? "" : ", read-only");
        });
        std::printf("\n");
    }
}

Key make_key(const layer &where, const std::string &group, const std::string &name) {
    return Key(xkey_new(where.name, group.empty() ? nullptr : group.c_str(), name.empty() ? nullptr : name.c_str()));
}

} // namespace demo
