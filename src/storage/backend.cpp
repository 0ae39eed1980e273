// SPDX-License-Identifier: MIT
// Life of a backend record.
#include "storage/backend_private.h"

#include "base/block.h"
#include "base/layout.h"
#include "base/log.h"
#include "config/dictionary_private.h"
#include "containers/hashmap_drain.h"

#include <dlfcn.h>
#include <errno.h>

using namespace varnel;

VARNEL_OFFSET32(backend_function, address, 4);
VARNEL_SIZE32(backend_function, 8);
VARNEL_OFFSET32(backend, handle, 4);
VARNEL_OFFSET32(backend, functions, 8);
VARNEL_OFFSET32(backend, config, 12);
VARNEL_OFFSET32(backend, user_data, 16);
VARNEL_SIZE32(backend, 28);

namespace {

// In this order they are resolved and iterated.
constexpr struct {
    char action[sizeof "destroy"]; // in place: no relocations
    char symbol[sizeof "module_unset_value"];
} kDefaultFunctions[] = {
    {"init", "module_init"},         {"destroy", "module_destroy"}, {"set", "module_set_value"},
    {"unset", "module_unset_value"}, {"get", "module_get_value"},   {"list", "module_list_all"},
    {"sync", "module_sync"},
};

hashmap *new_function_map() {
    return require(hashmap_new(string_hash_func, string_compare_func), "hashmap_new error.\n");
}

void add_function(hashmap *functions, const char *action, const char *symbol, backend_address_t address) {
    if (backend_function *const function = backend_function_set(nullptr, symbol, address))
        put_copy_of_key(functions, action, function);
}

void free_functions(hashmap *functions) {
    drain_map(functions, [](void *action, void *function) {
        _xfree(static_cast<backend_function *>(function)->symbol);
        _xfree(action);
        _xfree(function);
    });
}

} // namespace

bool varnel::put_copy_of_key(hashmap *map, const char *key, void *value) {
    char *const copy = xstrdup(key);
    const int result = hashmap_put(map, copy, value);
    if (result == 1)
        return true;
    if (result == -ENOMEM)
        abort();
    _xfree(copy);
    return false;
}

backend_function *varnel::backend_function_set(backend_function *function, const char *symbol,
                                               backend_address_t address) {
    if (symbol == nullptr)
        return nullptr;
    if (function == nullptr)
        function = new_record<backend_function>();
    char *const copy = xstrdup(symbol);
    _xfree(function->symbol);
    function->symbol = copy;
    if (address != nullptr)
        function->address = address;
    return function;
}

backend *varnel::backend_new(backend *b, const char *name) {
    if (b == nullptr)
        b = require(new_record<backend>(), "xmalloc0 backend error.\n");
    b->functions = new_function_map();
    for (const auto &function : kDefaultFunctions)
        add_function(b->functions, function.action, function.symbol, nullptr);
    if (name != nullptr)
        b->name = xstrdup(name);
    return b;
}

backend *backend_dup(hashmap *map, const char *name) {
    const auto *const source = static_cast<const backend *>(name != nullptr ? hashmap_get(map, name) : nullptr);
    if (source == nullptr)
        return nullptr;
    auto *const copy = new_record<backend>();
    copy->name = xstrdup(source->name);
    copy->handle = source->handle;
    copy->functions = new_function_map();
    uintptr_t token = HASHMAP_ITERATE_START;
    void *action = nullptr;
    while (const void *const value = hashmap_iterate(source->functions, &token, &action)) {
        const auto *const function = static_cast<const backend_function *>(value);
        add_function(copy->functions, static_cast<const char *>(action), function->symbol, function->address);
    }
    if (source->config != nullptr)
        copy->config = require_dictionary(xdictionary_dup(source->config), "Can't new xdictionary.\n");
    return copy;
}

// Copies share the module, and each closes it once more: modules are linked so that this never unloads them.
void backend_free(backend *b) {
    if (b == nullptr)
        return;
    _xfree(b->name);
    xdictionary_del(b->config);
    free_functions(b->functions);
    if (b->handle != nullptr)
        dlclose(b->handle);
    _xfree(b);
}

void backends_free(hashmap *map) {
    drain_map(map, [](void *name, void *b) {
        _xfree(name);
        backend_free(static_cast<backend *>(b));
    });
}

backend_function *backend_get_function(const backend *b, const char *action) {
    return b != nullptr ? static_cast<backend_function *>(hashmap_get(b->functions, action)) : nullptr;
}

unsigned char backend_check_readonly(const backend *b) {
    const unsigned char readonly = b != nullptr ? confparser_getboolean(b->config, "readonly", 0) : 0;
    if (readonly != 0)
        log_info("The backend %s was readonly.\n", printable(b->name));
    return readonly;
}
