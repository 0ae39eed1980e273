// SPDX-License-Identifier: MIT
// Settings trees in tests: owners, and a text that shows every slot, type, parent link and extra owner.
#pragma once

#include <varnel/config.h>

#include <memory>
#include <string>

struct TreeDeleter {
    void operator()(xdictionary *d) const { xdictionary_del(d); }
};
using Tree = std::unique_ptr<xdictionary, TreeDeleter>;

// "key=value;" for a string, "key{...}" for a group, with "*n" before the brace for n extra owners, "!" for a parent
// that is not the enclosing dictionary; "<n>" before a key that is not in slot n, where n counts the entries so far.
inline std::string tree_text(const xdictionary *d) {
    std::string text;
    if (d == nullptr)
        return "NULL";
    uint32_t entries = 0;
    for (uint32_t i = 0; i < d->size; ++i) {
        if (d->keys[i] == nullptr)
            continue;
        if (i != entries)
            text += "<" + std::to_string(i) + ">";
        ++entries;
        text += d->keys[i];
        if (d->types[i] == XDICTIONARY_STRING) {
            const char *const value = static_cast<const char *>(d->values[i]);
            text += value != nullptr ? "=" + std::string(value) + ";" : "=NULL;";
            continue;
        }
        const xdictionary *const group = static_cast<const xdictionary *>(d->values[i]);
        if (group != nullptr && group->ref_count != 0)
            text += "*" + std::to_string(group->ref_count);
        if (group != nullptr && group->parent != d)
            text += "!";
        text += "{" + tree_text(group) + "}";
    }
    return entries == d->count ? text : text + "(count is " + std::to_string(d->count) + ")";
}

inline std::string tree_text(const Tree &tree) {
    return tree_text(tree.get());
}

inline const char *string_at(const xdictionary *d, const char *key) {
    uint32_t type = XDICTIONARY_GROUP;
    void *const value = xdictionary_get(d, key, &type);
    return type == XDICTIONARY_STRING ? static_cast<const char *>(value) : nullptr;
}

inline xdictionary *group_at(const xdictionary *d, const char *key) {
    uint32_t type = XDICTIONARY_STRING;
    void *const value = xdictionary_get(d, key, &type);
    return type == XDICTIONARY_STRING ? nullptr : static_cast<xdictionary *>(value);
}

inline int set_string(xdictionary *d, const char *key, const char *value) {
    return xdictionary_set(d, key, value, XDICTIONARY_STRING);
}

// A new group under a new key.
inline xdictionary *add_group(xdictionary *d, const char *key) {
    xdictionary *const group = xdictionary_new(0);
    group->parent = d;
    xdictionary_set(d, key, group, XDICTIONARY_GROUP);
    return group;
}
