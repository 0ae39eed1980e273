/* SPDX-License-Identifier: MIT */
/* What trees of settings take, and what is made of them at start-up. */
#include "rows.h"

#include <varnel/varnel.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { GROUPS = 20, SETTINGS_OF_GROUP = 50, SETTINGS = GROUPS * SETTINGS_OF_GROUP };

/* A dictionary has slots for this many entries at first. */
static void count_dictionary(void) {
    const heap_use before = count_now();
    xdictionary *const d = xdictionary_new(0);
    print_row("dictionary, empty", count_since(before));
    const heap_use empty = count_now();
    require_that(xdictionary_set(d, "hostname", "sixteen letters.", XDICTIONARY_STRING) == 0, "xdictionary_set");
    print_row("  an entry in a free slot: \"hostname\", text of 16 characters", count_since(empty));
    const heap_use one = count_now();
    for (unsigned i = 1; i < XDICTIONARY_MIN_SIZE + 1; ++i) {
        char key[16];
        snprintf(key, sizeof key, "name%04u", i);
        require_that(xdictionary_set(d, key, "sixteen letters.", XDICTIONARY_STRING) == 0, "xdictionary_set");
    }
    const heap_use use = count_since(one);
    const unsigned slots = d->size;
    char title[96];
    snprintf(title, sizeof title, "  %d more entries, the slots doubled to %u, an entry", XDICTIONARY_MIN_SIZE, slots);
    print_each(title, use, XDICTIONARY_MIN_SIZE);
    xdictionary_del(d);
    require_that(count_now().blocks == before.blocks, "a dictionary was not released");
}

static void write_settings(FILE *file) {
    for (int group = 0; group < GROUPS; ++group) {
        fprintf(file, "group%02d = {\n", group);
        for (int setting = 0; setting < SETTINGS_OF_GROUP; ++setting)
            fprintf(file, "name%04d = \"sixteen letters.\"\n", setting);
        fputs("}\n", file);
    }
}

static void write_start_up(FILE *file) {
    fputs("backends = {\nmemory = {\nlibrary = memory\n}\n}\n", file);
    fputs("layers = {\nuser = {\nmemory = {\npriority = 1\n}\n}\n}\n", file);
}

static int write_and_close(FILE *file, void (*write_text)(FILE *file)) {
    if (file == NULL)
        return 0;
    write_text(file);
    return fclose(file) == 0;
}

/* The tree that a file written by write_text loads to. */
static xdictionary *load(void (*write_text)(FILE *file)) {
    char path[] = "/tmp/varnel-heap.XXXXXX";
    const int descriptor = mkstemp(path);
    FILE *const file = descriptor >= 0 ? fdopen(descriptor, "w") : NULL;
    require_that(write_and_close(file, write_text), "cannot write into /tmp");
    xdictionary *const tree = configurator_load(path);
    unlink(path);
    require_that(tree != NULL, "configurator_load");
    return tree;
}

static void count_loaded(void) {
    const heap_use before = count_now();
    xdictionary *const tree = load(write_settings);
    char title[96];
    snprintf(title, sizeof title, "configuration, loaded: %d settings in %d groups", SETTINGS, GROUPS);
    print_row(title, count_since(before));
    xdictionary_del(tree);
    require_that(count_now().blocks == before.blocks, "a configuration was not released");
}

/* Without the module: that is opened by the C library, with memory of its own. */
static void count_start_up(void) {
    const xdictionary *const tree = load(write_start_up);
    const heap_use before = count_now();
    hashmap *const backends = backends_load(NULL, confparser_getdic(tree, "backends"));
    require_that(hashmap_size(backends) == 1, "backends_load");
    print_row("backend, as configured, with the map that holds it", count_since(before));
    const heap_use with_backends = count_now();
    hashmap *const layers = layers_init(backends, confparser_getdic(tree, "layers"));
    require_that(hashmap_size(layers) == 2, "layers_init"); /* by its name, and as the default */
    print_row("layer, its copy of the backend included, with the map that holds it", count_since(with_backends));
    layer *const chosen = get_layer(layers, "default");
    layers_free(layers);
    layer_free(chosen);
    backends_free(backends);
}

void count_settings(void) {
    count_dictionary();
    count_loaded();
    count_start_up();
}
