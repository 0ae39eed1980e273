// SPDX-License-Identifier: MIT
// Walking the insertion order.
#include "containers/hashmap_core.h"

#include "base/block.h"
#include "base/lock.h"

using namespace varnel;

namespace {

// One direction of a walk.
struct Direction {
    uintptr_t start; // token before the first step
    uintptr_t end;   // token after the last step
    hashmap_entry *hashmap::*first;
    hashmap_entry *hashmap_entry::*next;
};

constexpr Direction kForwards = {HASHMAP_ITERATE_START, HASHMAP_ITERATE_END, &hashmap::order_first,
                                 &hashmap_entry::order_next};
constexpr Direction kBackwards = {HASHMAP_ITERATE_END, HASHMAP_ITERATE_START, &hashmap::order_last,
                                  &hashmap_entry::order_prev};

// The entry that the token names, or nullptr when the map is empty.
hashmap_entry *current_entry(const hashmap *map, const Direction &direction, uintptr_t token) {
    return token == direction.start ? map->*direction.first : reinterpret_cast<hashmap_entry *>(token);
}

void *finish(const Direction &direction, uintptr_t *token, void **key) {
    *token = direction.end;
    if (key != nullptr)
        *key = nullptr;
    return nullptr;
}

void *step(hashmap *map, const Direction &direction, uintptr_t *token, void **key) {
    if (map == nullptr || *token == direction.end)
        return finish(direction, token, key);
    const ReadLock lock(map->lock);
    const hashmap_entry *const entry = current_entry(map, direction, *token);
    if (entry == nullptr)
        return finish(direction, token, key);
    const hashmap_entry *const next = entry->*direction.next;
    *token = next != nullptr ? reinterpret_cast<uintptr_t>(next) : direction.end;
    if (key != nullptr)
        *key = entry->key;
    return entry->value;
}

} // namespace

void *hashmap_iterate(hashmap *map, uintptr_t *token, void **key) {
    return step(map, kForwards, token, key);
}

void *hashmap_iterate_backwards(hashmap *map, uintptr_t *token, void **key) {
    return step(map, kBackwards, token, key);
}

void *hashmap_iterate_skip(hashmap *map, const void *key, uintptr_t *token) {
    hashmap_entry *const entry = map != nullptr ? find_entry(map, key) : nullptr;
    if (entry == nullptr)
        return nullptr;
    *token = reinterpret_cast<uintptr_t>(entry);
    return entry->value;
}

static bool has_entries(const hashmap *map) {
    return map != nullptr && map->order_first != nullptr;
}

void *hashmap_first(const hashmap *map) {
    return has_entries(map) ? map->order_first->value : nullptr;
}

void *hashmap_first_key(const hashmap *map) {
    return has_entries(map) ? map->order_first->key : nullptr;
}

void *hashmap_last(const hashmap *map) {
    return has_entries(map) ? map->order_last->value : nullptr;
}

void *hashmap_next(hashmap *map, const void *key) {
    const hashmap_entry *const entry = map != nullptr ? find_locked(map, key) : nullptr;
    const hashmap_entry *const next = entry != nullptr ? entry->order_next : nullptr;
    return next != nullptr ? next->value : nullptr;
}

void **hashmap_get_strv(hashmap *map) {
    const size_t count = hashmap_size(map);
    auto *const values = try_new_array<void *>(count + 1);
    if (values == nullptr)
        return nullptr;
    uintptr_t token = HASHMAP_ITERATE_START;
    for (size_t i = 0; i < count; ++i) {
        values[i] = hashmap_iterate(map, &token, nullptr);
        if (values[i] == nullptr)
            break;
    }
    return values;
}
