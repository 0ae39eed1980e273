// SPDX-License-Identifier: MIT
// Start-up of the storage: a store that lacks a part is of no use, so every refused allocation ends the process.
#include "sweep/sweep.h"

#include <varnel/storage.h>

#include <gtest/gtest.h>

namespace {

constexpr char kMapMessage[] = "_varnel: hashmap_new error.\n";
constexpr char kSettingsMessage[] = "_varnel: Can't new xdictionary.\n";

void set(xdictionary *d, const char *key, const char *value) {
    EXPECT_EQ(xdictionary_set(d, key, value, XDICTIONARY_STRING), 0);
}

xdictionary *add_group(xdictionary *parent, const char *name) {
    xdictionary *const group = xdictionary_new(0);
    EXPECT_EQ(xdictionary_set(parent, name, group, XDICTIONARY_GROUP), 0);
    return group;
}

// store = { library = lifecycle_module; function = { extra = module_sync } }
xdictionary *new_backend_config() {
    xdictionary *const config = xdictionary_new(0);
    xdictionary *const store = add_group(config, "store");
    set(store, "library", "lifecycle_module");
    set(add_group(store, "function"), "extra", "module_sync");
    return config;
}

// user = { readonly = yes; store = { priority = 2 } }
xdictionary *new_layer_config() {
    xdictionary *const config = xdictionary_new(0);
    xdictionary *const user = add_group(config, "user");
    set(user, "readonly", "yes");
    set(add_group(user, "store"), "priority", "2");
    return config;
}

// The module counts in user_data; see lifecycle_module.c.
void *as_count(uintptr_t count) {
    return reinterpret_cast<void *>(count);
}

// A function: record, symbol, key, entry.
constexpr size_t kFunction = 4;
constexpr size_t kDefaultFunctions = 7;

const Steps kBackendSteps = {{1, End::aborted, "map of backends"},
                             {1, End::aborted, "backend"},
                             {1, End::aborted, "map of functions", kMapMessage},
                             {kDefaultFunctions * kFunction, End::aborted, "default functions"},
                             {1, End::aborted, "name"},
                             {2, End::aborted, "key and entry of the backend"},
                             {1, End::aborted, "settings"},
                             {4, End::aborted, "arrays of the settings", kSettingsMessage},
                             {2, End::aborted, "key and value of the library"},
                             {kFunction, End::aborted, "function of the configuration"}};

TEST(StorageSweep, BackendsAbort) {
    sweep(
        [](SweepRun &run) {
            xdictionary *const config = new_backend_config();
            run.begin();
            hashmap *const backends = backends_init(config, VARNEL_TEST_MODULE_DIR);
            const auto *const store = static_cast<const backend *>(hashmap_get(backends, "store"));
            EXPECT_NE(store->handle, nullptr);
            EXPECT_NE(backend_get_function(store, "extra")->address, nullptr);
            EXPECT_EQ(backend_check_readonly(store), 0);
            backends_free(backends);
            xdictionary_del(config);
            return End::complete;
        },
        kBackendSteps);
}

const Steps kCopySteps = {{1, End::aborted, "backend"},
                          {1, End::aborted, "name"},
                          {1, End::aborted, "map of functions", kMapMessage},
                          {(kDefaultFunctions + 1) * kFunction, End::aborted, "functions"},
                          {1, End::aborted, "settings"},
                          {4, End::aborted, "arrays of the settings", kSettingsMessage},
                          {2, End::aborted, "key and value of the library"}};

TEST(StorageSweep, CopyOfABackendAborts) {
    sweep(
        [](SweepRun &run) {
            xdictionary *const config = new_backend_config();
            hashmap *const backends = backends_load(nullptr, config);
            run.begin();
            backend *const copy = backend_dup(backends, "store");
            EXPECT_EQ(hashmap_size(copy->functions), kDefaultFunctions + 1);
            backend_free(copy);
            backends_free(backends);
            xdictionary_del(config);
            return End::complete;
        },
        kCopySteps);
}

void expect_user_layer(hashmap *layers, hashmap *backends) {
    layer *const user = get_layer(layers, "user");
    EXPECT_EQ(get_layer(layers, "default"), user);
    EXPECT_EQ(layer_check_readonly(user), 1);
    EXPECT_EQ(user->backend_count, 1);
    EXPECT_EQ(confparser_getint(user->backends[0]->config, "priority", 0), 2);
    EXPECT_EQ(user->backends[0]->user_data[0], as_count(1)); // module_init was called for the copy alone
    EXPECT_EQ(static_cast<const backend *>(hashmap_first(backends))->user_data[0], nullptr);
}

const Steps kLayerHead = {{1, End::aborted, "map of layers"},
                          {1, End::aborted, "layer"},
                          {1, End::aborted, "name"},
                          {1, End::aborted, "settings"},
                          {4, End::aborted, "arrays of the settings", kSettingsMessage},
                          {1, End::aborted, "array of backends"},
                          {2, End::aborted, "key and value of the layer's setting"}};

const Steps kLayerTail = {{2, End::aborted, "key and value of the backend's setting"},
                          {2, End::aborted, "key and entry of the layer"},
                          {2, End::aborted, "key and entry of the default layer"}};

TEST(StorageSweep, LayersAbort) {
    sweep(
        [](SweepRun &run) {
            xdictionary *const backend_config = new_backend_config();
            hashmap *const backends = backends_init(backend_config, VARNEL_TEST_MODULE_DIR);
            xdictionary *const config = new_layer_config();
            run.begin();
            hashmap *const layers = layers_init(backends, config);
            expect_user_layer(layers, backends);
            layer *const user = get_layer(layers, "default");
            layers_free(layers);
            layer_free(user);
            backends_free(backends);
            xdictionary_del(config);
            xdictionary_del(backend_config);
            return End::complete;
        },
        kLayerHead + kCopySteps + kLayerTail);
}

} // namespace
