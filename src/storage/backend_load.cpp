// SPDX-License-Identifier: MIT
// Start-up of the backends: from the configuration to loaded modules.
#include "storage/backend_private.h"

#include "base/block.h"
#include "base/log.h"
#include "config/dictionary_private.h"

#include <dlfcn.h>
#include <stdio.h>
#include <unistd.h>

using namespace varnel;

namespace {

constexpr size_t kPathSize = 256;
constexpr char kLibraryEnding[] = ".so";

// Renames or adds the entry point of an action.
void map_function(backend *b, const Entry &entry) {
    if (entry.type != XDICTIONARY_STRING || entry.value == nullptr)
        return;
    const auto *const symbol = static_cast<const char *>(entry.value);
    if (backend_function *const function = backend_get_function(b, entry.key))
        backend_function_set(function, symbol, nullptr);
    else
        put_copy_of_key(b->functions, entry.key, backend_function_set(nullptr, symbol, nullptr));
}

void add_setting(backend *b, const Entry &entry) {
    if (strcmp(entry.key, "function") == 0) {
        if (entry.type == XDICTIONARY_GROUP)
            for_each_entry(static_cast<const xdictionary *>(entry.value),
                           [b](const Entry &function) { map_function(b, function); });
        return;
    }
    if (b->config == nullptr)
        b->config = require_dictionary(xdictionary_new(0), "Can't new xdictionary.\n");
    xdictionary_set(b->config, entry.key, entry.value, entry.type);
}

// A name that the map has already keeps its backend.
void add_backend(hashmap *map, const Entry &group) {
    if (group.type != XDICTIONARY_GROUP)
        return;
    backend *const b = backend_new(nullptr, group.key);
    if (!put_copy_of_key(map, b->name, b)) {
        backend_free(b);
        return;
    }
    for_each_entry(static_cast<const xdictionary *>(group.value), [b](const Entry &entry) { add_setting(b, entry); });
}

} // namespace

hashmap *backends_load(hashmap *map, const xdictionary *config) {
    if (config == nullptr)
        return map;
    if (map == nullptr)
        map = hashmap_new(string_hash_func, string_compare_func);
    if (map == nullptr)
        abort();
    for_each_entry(config, [map](const Entry &group) { add_backend(map, group); });
    return map;
}

hashmap *backends_init(const xdictionary *config, const char *directory) {
    hashmap *const map = backends_load(nullptr, config);
    uintptr_t token = HASHMAP_ITERATE_START;
    while (void *const value = hashmap_iterate(map, &token, nullptr)) {
        auto *const b = static_cast<backend *>(value);
        if (backend_load_library(b, directory) != 0)
            log_error("init backend(%s) faild.\n", printable(b->name));
        else
            log_info("init backend(%s) success.\n", printable(b->name));
    }
    return map;
}

namespace {

bool ends_in(const char *text, const char *ending) {
    const size_t length = strlen(text);
    const size_t ending_length = strlen(ending);
    return length >= ending_length && strcmp(text + length - ending_length, ending) == 0;
}

// A path that does not fit is cut, and then not found.
void build_path(char (&path)[kPathSize], const char *directory, const char *library) {
    snprintf(path, sizeof path, "%s/%s%s", directory != nullptr ? directory : ".", library,
             ends_in(library, kLibraryEnding) ? "" : kLibraryEnding);
}

void *open_library(const char *path) {
    if (access(path, R_OK) != 0)
        fatal("Do not find the library : %s\n", path);
    void *const handle = dlopen(path, RTLD_LAZY);
    if (handle == nullptr)
        fatal("dlopen: %s\n", printable(dlerror()));
    return handle;
}

void resolve(const backend *b, backend_function *function) {
    dlerror();
    void *const address = dlsym(b->handle, function->symbol);
    const char *const error = dlerror();
    if (error != nullptr || address == nullptr)
        fatal("Can't load backend %s function %s. dlsym(): %s\n", printable(b->name), function->symbol,
              printable(error));
    memcpy(&function->address, &address, sizeof address); // the way from dlsym to a function that POSIX allows
}

} // namespace

int backend_load_library(backend *b, const char *directory) {
    if (b == nullptr || b->functions == nullptr)
        return -1;
    const char *const library = confparser_getstring(b->config, "library", printable(b->name));
    char path[kPathSize];
    build_path(path, directory, library);
    b->handle = open_library(path);
    uintptr_t token = HASHMAP_ITERATE_START;
    while (void *const value = hashmap_iterate(b->functions, &token, nullptr))
        resolve(b, static_cast<backend_function *>(value));
    return 0;
}
