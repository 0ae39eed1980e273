// SPDX-License-Identifier: MIT
// Whole trees. Releasing and copying use no recursion: a file can nest groups deeper than a small stack is.
#include "config/dictionary_private.h"

#include "base/block.h"
#include "base/log.h"

#include <stdio.h>

using namespace varnel;

namespace {

// Drops one owner of d; when that was the last, d joins the chain of dictionaries to release, linked by parent.
void release_later(xdictionary *d, xdictionary **chain) {
    if (d == nullptr)
        return;
    if (d->ref_count != 0) {
        --d->ref_count;
        return;
    }
    d->parent = *chain;
    *chain = d;
}

void release_entries(xdictionary *d, xdictionary **chain) {
    for (uint32_t slot = 0; has_slots(d) && slot < d->size; ++slot) {
        if (!is_occupied(d, slot))
            continue;
        _xfree(d->keys[slot]);
        if (d->types[slot] != XDICTIONARY_STRING)
            release_later(nested_at(d, slot), chain);
        else
            _xfree(d->values[slot]);
    }
}

} // namespace

void xdictionary_del(xdictionary *d) {
    xdictionary *chain = nullptr;
    release_later(d, &chain);
    while (chain != nullptr) {
        d = chain;
        chain = d->parent;
        release_entries(d, &chain);
        _xfree(d->values);
        _xfree(d->keys);
        _xfree(d->hashes);
        _xfree(d->types);
        _xfree(d);
    }
}

namespace {

// A copy of one dictionary at the same slots, whose nested ones are still the source's.
xdictionary *copy_slots(const xdictionary *d) {
    xdictionary *const copy = xdictionary_new(d->size);
    if (!has_slots(d) || !has_slots(copy))
        return copy;
    copy->count = d->count;
    for (uint32_t slot = 0; slot < d->size; ++slot) {
        copy->hashes[slot] = d->hashes[slot];
        copy->types[slot] = d->types[slot];
        if (!is_occupied(d, slot)) // what a removed group left in the hole is not the source's any more
            continue;
        const bool nested = d->types[slot] != XDICTIONARY_STRING;
        copy->keys[slot] = xstrdup(d->keys[slot]);
        copy->values[slot] = nested ? d->values[slot] : xstrdup(static_cast<const char *>(d->values[slot]));
    }
    return copy;
}

// Until a copy is complete, its ref_count holds the slot from which on nested dictionaries are still the source's.
uint32_t &cursor_of(xdictionary *copy) {
    return copy->ref_count;
}

// Replaces the next nested dictionary that is still the source's by a copy, and returns that; nullptr when none is
// left.
xdictionary *copy_next_nested(xdictionary *copy) {
    for (uint32_t &slot = cursor_of(copy); has_slots(copy) && slot < copy->size; ++slot) {
        if (!is_occupied(copy, slot) || copy->types[slot] == XDICTIONARY_STRING || copy->values[slot] == nullptr)
            continue;
        xdictionary *const nested_copy = copy_slots(nested_at(copy, slot));
        nested_copy->parent = copy;
        copy->values[slot] = nested_copy;
        ++slot;
        return nested_copy;
    }
    cursor_of(copy) = 0;
    return nullptr;
}

} // namespace

xdictionary *xdictionary_dup(const xdictionary *d) {
    if (d == nullptr)
        return nullptr;
    xdictionary *const copy = copy_slots(d);
    for (xdictionary *at = copy; at != nullptr;) {
        xdictionary *const nested = copy_next_nested(at);
        at = nested != nullptr ? nested : at->parent;
    }
    return copy;
}

xdictionary *xdictionary_merge(xdictionary *destination, const xdictionary *source) {
    if (destination == nullptr)
        destination = xdictionary_new(0);
    for_each_entry(source,
                   [=](const Entry &entry) { xdictionary_set(destination, entry.key, entry.value, entry.type); });
    return destination;
}

static void print_indent(int indent) {
    for (int i = 0; i < indent; ++i)
        printf("    ");
}

static void print_entry(const Entry &entry, int indent) {
    const bool is_string = entry.type == XDICTIONARY_STRING;
    print_indent(indent);
    printf("%s = %s\n", entry.key, is_string ? printable(static_cast<const char *>(entry.value)) : "{");
    if (is_string)
        return;
    xdictionary_out(static_cast<const xdictionary *>(entry.value), indent + 1);
    print_indent(indent);
    puts("}");
}

void xdictionary_out(const xdictionary *d, int indent) {
    if (d == nullptr)
        puts("xdictionary is null.");
    for_each_entry(d, [indent](const Entry &entry) { print_entry(entry, indent); });
}
