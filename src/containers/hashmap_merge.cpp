// SPDX-License-Identifier: MIT
// Operations on two maps.
#include "containers/hashmap_core.h"

#include "base/lock.h"

#include <errno.h>

using namespace varnel;

int hashmap_merge(hashmap *map, hashmap *other) {
    if (map == nullptr || other == nullptr || map == other)
        return 0;
    const ReadLock lock(other->lock);
    for (const hashmap_entry *entry = other->order_first; entry != nullptr; entry = entry->order_next) {
        const int result = hashmap_put(map, entry->key, entry->value);
        if (result < 0 && result != -EEXIST)
            return result;
    }
    return 0;
}

void hashmap_move(hashmap *map, hashmap *other) {
    if (map == nullptr || other == nullptr || map == other)
        return;
    const WriteLock lock_other(other->lock);
    const WriteLock lock_map(map->lock);
    for (hashmap_entry *entry = other->order_first; entry != nullptr;) {
        hashmap_entry *const next = entry->order_next;
        const uint32_t bucket = bucket_of(map, entry->key);
        if (find_in_bucket(map, bucket, entry->key) == nullptr) {
            unlink_entry(other, entry);
            link_entry(map, entry, bucket);
        }
        entry = next;
    }
}

static void unlink_locked(hashmap *map, hashmap_entry *entry) {
    const WriteLock lock(map->lock);
    unlink_entry(map, entry);
}

int hashmap_move_one(hashmap *map, hashmap *other, const void *key) {
    if (other == nullptr)
        return 0;
    if (map == nullptr)
        return -ENOENT;
    if (hashmap_contains(map, key))
        return -EEXIST;
    hashmap_entry *const entry = find_locked(other, key);
    if (entry == nullptr)
        return -ENOENT;
    unlink_locked(other, entry);
    const WriteLock lock(map->lock);
    link_entry(map, entry, bucket_of(map, key));
    return 0;
}

hashmap *hashmap_copy(hashmap *map) {
    if (map == nullptr)
        return nullptr;
    hashmap *const copy = hashmap_new(map->hash_fn, map->compare_fn);
    if (copy != nullptr && hashmap_merge(copy, map) < 0) {
        hashmap_free(copy);
        return nullptr;
    }
    return copy;
}
