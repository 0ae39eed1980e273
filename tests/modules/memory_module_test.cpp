// SPDX-License-Identifier: MIT
// What memory.so has of its own.
#include "support/storage.h"

#include <gtest/gtest.h>

using namespace varnel::test;

TEST(MemoryModuleSettings, ValuesFillTheStore) {
    xdictionary *const backend_config = xdictionary_new(0);
    xdictionary *const settings = xdictionary_new(0);
    xdictionary_set(backend_config, "defaults", settings, XDICTIONARY_GROUP);
    xdictionary_set(settings, "library", "memory.so", XDICTIONARY_STRING);
    xdictionary *const values = xdictionary_new(0);
    xdictionary_set(settings, "values", values, XDICTIONARY_GROUP);
    ++values->ref_count; // the backend shares it
    xdictionary_set(values, "stray", "outside of a group", XDICTIONARY_STRING);
    xdictionary *const network = xdictionary_new(0);
    xdictionary_set(values, "network", network, XDICTIONARY_GROUP);
    xdictionary_set(network, "hostname", "device", XDICTIONARY_STRING);
    xdictionary_set(network, "deeper", xdictionary_new(0), XDICTIONARY_GROUP);
    hashmap *const backends = backends_init(backend_config, MODULE_DIR);
    xdictionary *const layer_config = xdictionary_new(0);
    xdictionary *const layer_group = xdictionary_new(0);
    xdictionary_set(layer_config, "user", layer_group, XDICTIONARY_GROUP);
    xdictionary_set(layer_group, "defaults", xdictionary_new(0), XDICTIONARY_GROUP);
    hashmap *const layers = layers_init(backends, layer_config);
    layer *const user = get_layer(layers, "user");

    const Store store(user->backends[0]);
    EXPECT_EQ((std::vector<std::string>{"user:network group", "user:network:hostname string device"}), store.listing());

    layers_free(layers);
    layer_free(user);
    backends_free(backends);
    xdictionary_del(backend_config);
    xdictionary_del(layer_config);
}
