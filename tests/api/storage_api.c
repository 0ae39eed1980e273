/* SPDX-License-Identifier: MIT */
#include "api_test.h"

#include <varnel/storage.h>

#include <stddef.h>
#include <string.h>

static void set(xdictionary *d, const char *key, const char *value) {
    CHECK(xdictionary_set(d, key, value, XDICTIONARY_STRING) == 0);
}

static xdictionary *add_group(xdictionary *parent, const char *name) {
    xdictionary *group = xdictionary_new(0);
    CHECK(xdictionary_set(parent, name, group, XDICTIONARY_GROUP) == 0);
    return group;
}

static uintptr_t count_of(const void *user_data) {
    return (uintptr_t)user_data;
}

/* store = { library = lifecycle_module; readonly = yes } */
static xdictionary *new_backend_config(void) {
    xdictionary *config = xdictionary_new(0);
    xdictionary *store = add_group(config, "store");
    set(store, "library", "lifecycle_module");
    set(store, "readonly", "yes");
    return config;
}

static void test_backends(void) {
    xdictionary *config = new_backend_config();
    hashmap *map = backends_load(NULL, config);
    CHECK(map != NULL && hashmap_size(map) == 1 && backends_load(map, NULL) == map);
    backend *store = hashmap_get(map, "store");
    CHECK(strcmp(store->name, "store") == 0 && store->handle == NULL);
    CHECK(backend_get_function(store, "init") != NULL && backend_get_function(store, "init")->address == NULL);
    CHECK(backend_get_function(store, "none") == NULL && backend_get_function(NULL, "init") == NULL);

    CHECK(backend_load_library(store, VARNEL_TEST_MODULE_DIR) == 0 && backend_load_library(NULL, ".") == -1);
    CHECK(store->handle != NULL && backend_get_function(store, "sync")->address != NULL);
    CHECK(backend_check_readonly(store) == 1);
    CHECK_LOG("I The backend store was readonly.\n");

    backend *copy = backend_dup(map, "store");
    CHECK(copy != NULL && copy != store && copy->handle == store->handle && backend_dup(map, "none") == NULL);
    backend_free(copy);
    backend_free(NULL);
    backends_free(map);
    xdictionary_del(config);
}

/* user = { store = { priority = 2 }; readonly = yes }; sys = { store = { } } */
static xdictionary *new_layer_config(void) {
    xdictionary *config = xdictionary_new(0);
    xdictionary *user = add_group(config, "user");
    set(add_group(user, "store"), "priority", "2");
    set(user, "readonly", "yes");
    add_group(add_group(config, "sys"), "store");
    set(config, "default", "sys");
    return config;
}

static void test_layers(void) {
    xdictionary *backend_config = new_backend_config();
    hashmap *backends = backends_init(backend_config, VARNEL_TEST_MODULE_DIR);
    CHECK(backends != NULL && backends_init(NULL, NULL) == NULL);
    CHECK_LOG("I init backend(store) success.\n");
    xdictionary *config = new_layer_config();
    hashmap *layers = layers_init(backends, config);
    CHECK_LOG("I init layer(user) end.\nI init layer(sys) end.\n");
    CHECK(layers != NULL && hashmap_size(layers) == 3 && layers_init(NULL, config) == NULL);

    layer *user = get_layer(layers, "user");
    layer *sys = get_layer(layers, "default");
    CHECK(user != NULL && sys == get_layer(layers, "sys") && sys->is_default == 1 && get_layer(layers, "none") == NULL);
    CHECK(layer_check_readonly(user) == 1 && layer_check_readonly(sys) == 0 && layer_check_readonly(NULL) == 0);
    CHECK(user->backend_count == 1 && confparser_getint(user->backends[0]->config, "priority", 0) == 2);
    CHECK(count_of(user->backends[0]->user_data[0]) == 1 && count_of(user->backends[0]->user_data[1]) == 0);

    layers_free(layers); /* all but the default layer */
    CHECK(count_of(sys->backends[0]->user_data[0]) == 1 && count_of(sys->backends[0]->user_data[1]) == 0);
    layer_free(sys);
    layer_free(NULL);
    backends_free(backends);
    xdictionary_del(config);
    xdictionary_del(backend_config);
}

void test_storage(void) {
    test_backends();
    test_layers();
}
