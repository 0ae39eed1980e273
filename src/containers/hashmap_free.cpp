// SPDX-License-Identifier: MIT
// Removing everything. None of these takes the lock: the caller is the map's last user.
#include "containers/hashmap_core.h"

#include "base/block.h"

using namespace varnel;

// Walks the order and never looks at a key: callers may have freed them already.
void hashmap_clear(hashmap *map) {
    if (map == nullptr)
        return;
    for (hashmap_entry *entry = map->order_first; entry != nullptr;) {
        hashmap_entry *const next = entry->order_next;
        _xfree(entry);
        entry = next;
    }
    map->order_first = map->order_last = nullptr;
    map->entry_count = 0;
    memset(map->buckets, 0, size_t{map->bucket_count} * sizeof *map->buckets);
}

// An entry without a value ends it, before that entry is taken.
void hashmap_clear_free(hashmap *map) {
    while (hashmap_first(map) != nullptr)
        _xfree(hashmap_steal_first(map));
}

void hashmap_clear_free_free(hashmap *map) {
    while (map != nullptr && map->order_first != nullptr) {
        void *const key = map->order_first->key;
        _xfree(hashmap_steal_first(map));
        _xfree(key);
    }
}

void hashmap_free(hashmap *map) {
    if (map == nullptr)
        return;
    hashmap_clear(map);
    if (map->buckets != map->inline_buckets)
        _xfree(map->buckets);
    pthread_rwlock_destroy(&map->lock);
    _xfree(map);
}

void hashmap_free_free(hashmap *map) {
    hashmap_clear_free(map);
    hashmap_free(map);
}

void hashmap_free_free_free(hashmap *map) {
    hashmap_clear_free_free(map);
    hashmap_free(map);
}

static void *steal_first(hashmap *map, void *hashmap_entry::*part) {
    if (map == nullptr || map->order_first == nullptr)
        return nullptr;
    void *const stolen = map->order_first->*part;
    remove_entry(map, map->order_first);
    return stolen;
}

void *hashmap_steal_first(hashmap *map) {
    return steal_first(map, &hashmap_entry::value);
}

void *hashmap_steal_first_key(hashmap *map) {
    return steal_first(map, &hashmap_entry::key);
}
