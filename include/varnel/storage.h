/* SPDX-License-Identifier: MIT */
/*
 * Storage: modules opened at run time (backends), grouped into named layers in which they are ordered by priority.
 *
 * Start-up, on one thread: configurator_load, backends_init, layers_init. Afterwards the maps are only read, from any
 * thread. Shutdown: layers_free, then backends_free. Errors that make the store unusable are logged and end the process
 * with abort(3).
 *
 * Configuration trees: both functions share nested groups of the trees they are given by pointer; do not delete those
 * trees after start-up.
 */
#ifndef VARNEL_STORAGE_H
#define VARNEL_STORAGE_H

#include "config.h"
#include "hashmap.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Entry point of a module. Cast it to the type that the action has before calling it. */
typedef void (*backend_address_t)(void);

typedef struct backend_function {
    char *symbol;              /* name to resolve in the module; owned */
    backend_address_t address; /* NULL until the module is loaded */
} backend_function;

/* A storage module with its settings. */
typedef struct backend {
    char *name;          /* key of its configuration group; owned */
    void *handle;        /* from dlopen (POSIX), shared by all copies */
    hashmap *functions;  /* action name (owned) to backend_function */
    xdictionary *config; /* its settings, or NULL */
    void *user_data[3];  /* the module's; the library never reads them */
} backend;

/* A named group of backends. */
typedef struct layer {
    char *name;          /* key of its configuration group; owned */
    uint32_t is_default; /* 1 on the layer chosen as the default */
    int backend_count;   /* backends in use */
    backend **backends;  /* the layer's own copies, highest priority first */
    xdictionary *config; /* the layer's settings */
} layer;

/* The "init" and "destroy" entry points of a module, as this library calls them; the results are ignored. */
typedef int (*backend_lifecycle_t)(backend *b, layer *l);

/* Makes a backend for every group of config and loads its module from directory (NULL: "."). Returns the map of name to
 * backend, or NULL for a NULL config. Aborts when a module or one of its entry points is missing. */
hashmap *backends_init(const xdictionary *config, const char *directory);

/* Makes a backend, not yet loaded, for every group of config, in map (made when NULL), and returns the map. A name that
 * the map has already keeps its backend. Settings of a group: "function" (a group of action = symbol that renames or
 * adds entry points), "library" (the module's file, default the backend's name), "readonly", "priority"; the rest is
 * the module's. */
hashmap *backends_load(hashmap *map, const xdictionary *config);

/* Opens a backend's module in directory (NULL: ".") and resolves all its entry points. 0, or -1 for a NULL backend or
 * one without function table. Aborts as backends_init. */
int backend_load_library(backend *b, const char *directory);

/* The entry point of an action ("init", "destroy", "set", "unset", "get", "list", "sync" and what the configuration
 * adds), still the backend's own; NULL when there is none. Any thread. */
backend_function *backend_get_function(const backend *b, const char *action);

/* 1 when the backend's "readonly" setting is true, which is logged at info level; else 0. */
unsigned char backend_check_readonly(const backend *b);

/* A new independent copy of the named backend, with the same module, or NULL when there is none. */
backend *backend_dup(hashmap *map, const char *name);

/* Releases a backend and closes its module once, without calling "destroy". Every copy closes the shared module once
 * more, so modules are linked with -Wl,-z,nodelete. NULL is ignored. */
void backend_free(backend *b);

/* Releases every backend of the map, and the map. */
void backends_free(hashmap *map);

/* Builds a layer for every group of config out of copies of the backends that it names, calls "init" for each copy,
 * sorts by priority and chooses the default layer: the one named by the entry "default", or the first. Returns the map
 * of name to layer, with the default layer also under "default"; NULL when an argument is NULL or config has no
 * entries. Aborts when a layer is empty or names an unknown backend, or the default layer is missing. */
hashmap *layers_init(hashmap *backends, const xdictionary *config);

/* The layer of that name, or NULL. Any thread. */
layer *get_layer(hashmap *layers, const char *name);

/* 1 when the layer's "readonly" setting is true, else 0. */
int layer_check_readonly(const layer *l);

/* Calls "destroy" for each backend of the layer and releases it all. NULL is ignored. */
void layer_free(layer *l);

/* Releases every layer but the default one, and the map. The default layer, which the map holds under two names, is the
 * caller's to release: get it before the call and give it to layer_free afterwards. */
void layers_free(hashmap *layers);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
