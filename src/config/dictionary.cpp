// SPDX-License-Identifier: MIT
// Entries of one dictionary: a flat, open array of slots. Look-ups scan them all; the stored hash makes that cheap.
#include "config/dictionary_private.h"

#include <varnel/hashmap.h>

#include "base/block.h"
#include "base/layout.h"
#include "base/log.h"

#include <strings.h>

using namespace varnel;

VARNEL_OFFSET32(xdictionary, count, 4);
VARNEL_OFFSET32(xdictionary, size, 8);
VARNEL_OFFSET32(xdictionary, values, 12);
VARNEL_OFFSET32(xdictionary, keys, 16);
VARNEL_OFFSET32(xdictionary, hashes, 20);
VARNEL_OFFSET32(xdictionary, types, 24);
VARNEL_OFFSET32(xdictionary, parent, 28);
VARNEL_SIZE32(xdictionary, 32);

xdictionary *varnel::require_dictionary(xdictionary *d, const char *message) {
    return require(d != nullptr && has_slots(d) ? d : nullptr, message);
}

xdictionary *xdictionary_new(uint32_t size) {
    auto *const d = new_record<xdictionary>();
    d->size = size < XDICTIONARY_MIN_SIZE ? XDICTIONARY_MIN_SIZE : size;
    d->values = try_new_array<void *>(d->size);
    d->keys = try_new_array<char *>(d->size);
    d->hashes = try_new_array<uint32_t>(d->size);
    d->types = try_new_array<uint32_t>(d->size);
    return d;
}

namespace {

constexpr uint32_t kNoSlot = UINT32_MAX;

// The hash, which is over the exact bytes, must be equal and then the key, case aside. So a key that differs in case
// only is not found: callers look keys up in lower case.
uint32_t find_slot(const xdictionary *d, const char *key, uint32_t hash) {
    if (d->count == 0 || !has_slots(d))
        return kNoSlot;
    for (uint32_t slot = 0; slot < d->size; ++slot)
        if (is_occupied(d, slot) && d->hashes[slot] == hash && strncasecmp(d->keys[slot], key, SIZE_MAX) == 0)
            return slot;
    return kNoSlot;
}

void release_value(void *value, uint32_t type) {
    if (type != XDICTIONARY_STRING)
        xdictionary_del(static_cast<xdictionary *>(value));
    else
        _xfree(value);
}

// The new value is taken before the old one is released: they may be the same. A nested dictionary gains an owner here,
// but not in a new slot: callers drop their own accordingly.
void replace_value(xdictionary *d, uint32_t slot, const void *value, uint32_t type) {
    void *taken = const_cast<void *>(value);
    if (type == XDICTIONARY_STRING)
        taken = xstrdup(static_cast<const char *>(value));
    else if (taken != nullptr)
        ++static_cast<xdictionary *>(taken)->ref_count;
    release_value(d->values[slot], d->types[slot]);
    d->values[slot] = taken;
    d->types[slot] = type;
}

template <class T> void double_array(T *&array, uint32_t size) {
    array = static_cast<T *>(x_mem_double(array, size * sizeof(T)));
}

bool grow(xdictionary *d) {
    if (uint64_t{d->size} * 2 * sizeof(void *) > SIZE_MAX || d->size > UINT32_MAX / 2)
        return false;
    double_array(d->values, d->size);
    double_array(d->keys, d->size);
    double_array(d->hashes, d->size);
    double_array(d->types, d->size);
    d->size *= 2;
    return true;
}

// The first free slot from the count of entries onward, around the end. There is one.
uint32_t find_free_slot(const xdictionary *d) {
    uint32_t slot = d->count;
    while (is_occupied(d, slot))
        slot = slot + 1 < d->size ? slot + 1 : 0;
    return slot;
}

void fill_slot(xdictionary *d, uint32_t slot, const char *key, uint32_t hash, const void *value, uint32_t type) {
    d->keys[slot] = xstrdup(key);
    d->values[slot] =
        type == XDICTIONARY_STRING ? xstrdup(static_cast<const char *>(value)) : const_cast<void *>(value);
    d->hashes[slot] = hash;
    d->types[slot] = type;
    ++d->count;
}

} // namespace

int xdictionary_set(xdictionary *d, const char *key, const void *value, uint32_t type) {
    if (d == nullptr || key == nullptr || !has_slots(d))
        return -1;
    const uint32_t hash = string_hash_func(key);
    const uint32_t slot = find_slot(d, key, hash);
    if (slot != kNoSlot) {
        replace_value(d, slot, value, type);
        return 0;
    }
    if (d->count == d->size && !grow(d))
        return -1;
    fill_slot(d, find_free_slot(d), key, hash, value, type);
    return 0;
}

void *xdictionary_get(const xdictionary *d, const char *key, uint32_t *type) {
    const uint32_t slot = d != nullptr && key != nullptr ? find_slot(d, key, string_hash_func(key)) : kNoSlot;
    if (slot == kNoSlot)
        return nullptr;
    if (type != nullptr)
        *type = d->types[slot];
    return d->values[slot];
}

// The pointer and type of a nested dictionary stay in the hole; whoever looks at slots looks at the key first.
void xdictionary_unset(xdictionary *d, const char *key) {
    const uint32_t slot = d != nullptr && key != nullptr ? find_slot(d, key, string_hash_func(key)) : kNoSlot;
    if (slot == kNoSlot)
        return;
    _xfree(d->keys[slot]);
    d->keys[slot] = nullptr;
    release_value(d->values[slot], d->types[slot]);
    if (d->types[slot] == XDICTIONARY_STRING)
        d->values[slot] = nullptr;
    d->hashes[slot] = 0;
    --d->count;
}
