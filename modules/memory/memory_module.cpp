// SPDX-License-Identifier: MIT
// memory.so: a storage module that keeps its values in memory; they last until the daemon ends.
//
// Settings: "values", a group of groups of name = text, fills the store with strings when it is opened. With
// "readonly = yes" beside it, the store serves as a set of defaults.
#include "module.h"

#include "memory/value_store.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

using varnel_memory::Value;
using varnel_memory::ValueStore;

namespace {

// Keeps exceptions inside: the callers are C.
template <class Body> int guarded(Body body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc &) {
        return -ENOMEM;
    } catch (const std::exception &) {
        return -EIO;
    }
}

ValueStore *store_of(const backend *b) {
    return b != nullptr ? static_cast<ValueStore *>(b->user_data[0]) : nullptr;
}

// The text of one part of a key, empty when the part is absent.
std::string_view text_of(const xstring &part) {
    return part.str != nullptr ? std::string_view(part.str, strnlen(part.str, part.len)) : std::string_view();
}

// Calls body with the store and the texts of a key that names a group.
template <class Body> int with_key(const backend *b, const xkey *key, Body body) {
    ValueStore *const store = store_of(b);
    if (store == nullptr)
        return b != nullptr ? -ENODEV : -EINVAL;
    if (key == nullptr || text_of(key->group).empty())
        return -EINVAL;
    return guarded([&] { return body(*store, text_of(key->group), text_of(key->name)); });
}

// Calls body with the key and the value of every occupied slot of the given type.
template <class Body> void for_each_entry(const xdictionary *d, uint32_t type, Body body) {
    for (uint32_t slot = 0; d != nullptr && slot < d->size; ++slot) {
        if (d->keys[slot] != nullptr && d->types[slot] == type && d->values[slot] != nullptr)
            body(d->keys[slot], d->values[slot]);
    }
}

void fill(ValueStore &store, const xdictionary *values) {
    for_each_entry(values, XDICTIONARY_GROUP, [&](const char *group, const void *names) {
        for_each_entry(static_cast<const xdictionary *>(names), XDICTIONARY_STRING,
                       [&](const char *name, const void *text) {
                           store.set(group, name, Value(xdata_char(static_cast<const char *>(text))));
                       });
    });
}

} // namespace

int module_init(backend *b, layer *l) {
    if (b == nullptr || l == nullptr || b->user_data[0] != nullptr)
        return -EINVAL;
    return guarded([&] {
        auto store = std::make_unique<ValueStore>(l->name != nullptr ? l->name : "");
        fill(*store, confparser_getdic(b->config, "values"));
        b->user_data[0] = store.release();
        return 0;
    });
}

int module_destroy(backend *b, layer *) {
    if (b == nullptr)
        return -EINVAL;
    delete store_of(b);
    b->user_data[0] = nullptr;
    return 0;
}

int module_set_value(backend *b, const xkey *key, const xdata *value) {
    return with_key(b, key, [value](ValueStore &store, std::string_view group, std::string_view name) {
        if (name.empty())
            return value == nullptr ? store.create_group(group) : -EINVAL;
        Value copy(xdata_dup(value));
        return copy != nullptr ? store.set(group, name, std::move(copy)) : -EINVAL;
    });
}

int module_unset_value(backend *b, const xkey *key) {
    return with_key(b, key, [](ValueStore &store, std::string_view group, std::string_view name) {
        return name.empty() ? store.remove_group(group) : store.remove(group, name);
    });
}

int module_get_value(backend *b, const xkey *key, xdata **value) {
    if (value == nullptr)
        return -EINVAL;
    return with_key(b, key, [value](const ValueStore &store, std::string_view group, std::string_view name) {
        if (!name.empty())
            return store.get(group, name, value);
        const int result = store.find_group(group);
        if (result == 0)
            *value = nullptr;
        return result;
    });
}

int module_list_all(backend *b, const xkey *key, module_visit_t visit, void *context) {
    const ValueStore *const store = store_of(b);
    if (b == nullptr || visit == nullptr)
        return -EINVAL;
    if (store == nullptr)
        return -ENODEV;
    return guarded(
        [&] { return store->list(key != nullptr ? text_of(key->group) : std::string_view(), visit, context); });
}

int module_sync(backend *b) {
    if (b == nullptr)
        return -EINVAL;
    return store_of(b) != nullptr ? 0 : -ENODEV;
}
