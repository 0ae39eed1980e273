// SPDX-License-Identifier: MIT
// Making maps, and the operations on one key.
#include "containers/hashmap_core.h"

#include "base/block.h"
#include "base/lock.h"

#include <errno.h>

using namespace varnel;

hashmap *hashmap_new(hash_func_t hash_fn, compare_func_t compare_fn) {
    auto *const map = try_new_array<hashmap>(1);
    if (map == nullptr)
        return nullptr;
    map->hash_fn = hash_fn != nullptr ? hash_fn : trivial_hash_func;
    map->compare_fn = compare_fn != nullptr ? compare_fn : trivial_compare_func;
    map->buckets = map->inline_buckets;
    map->bucket_count = HASHMAP_INLINE_BUCKETS;
    pthread_rwlock_init(&map->lock, nullptr);
    return map;
}

int hashmap_ensure_allocated(hashmap **map, hash_func_t hash_fn, compare_func_t compare_fn) {
    if (*map == nullptr)
        *map = hashmap_new(hash_fn, compare_fn);
    return *map != nullptr ? 0 : -ENOMEM;
}

namespace {

// What a look-up told: the entry with its value at that time, and the bucket that a new one goes to.
struct Place {
    const hashmap_entry *entry;
    const void *value;
    uint32_t bucket;
};

Place locate(hashmap *map, const void *key) {
    const ReadLock lock(map->lock);
    const uint32_t bucket = bucket_of(map, key);
    const hashmap_entry *const entry = find_in_bucket(map, bucket, key);
    return {entry, entry != nullptr ? entry->value : nullptr, bucket};
}

// Makes room for a new key; returns its bucket.
uint32_t make_room(hashmap *map, const void *key, uint32_t bucket) {
    const WriteLock lock(map->lock);
    const uint32_t old_count = map->bucket_count;
    grow_if_loaded(map);
    return map->bucket_count != old_count ? bucket_of(map, key) : bucket;
}

} // namespace

// The lock is free between the look-up, the growth and the linking: two threads can both insert one new key. Callers
// that cannot have that serialise themselves.
int hashmap_put(hashmap *map, const void *key, void *value) {
    const Place place = locate(map, key);
    if (place.entry != nullptr)
        return place.value == value ? 0 : -EEXIST;
    const uint32_t bucket = make_room(map, key, place.bucket);
    auto *const entry = try_new_array<hashmap_entry>(1);
    if (entry == nullptr)
        return -ENOMEM;
    const WriteLock lock(map->lock);
    entry->key = const_cast<void *>(key);
    entry->value = value;
    link_entry(map, entry, bucket);
    return 1;
}

int hashmap_replace(hashmap *map, const void *key, void *value) {
    hashmap_entry *const entry = find_locked(map, key);
    if (entry == nullptr)
        return hashmap_put(map, key, value);
    const WriteLock lock(map->lock);
    entry->key = const_cast<void *>(key);
    entry->value = value;
    return 0;
}

int hashmap_update(hashmap *map, const void *key, void *value) {
    hashmap_entry *const entry = find_locked(map, key);
    if (entry == nullptr)
        return -ENOENT;
    const WriteLock lock(map->lock);
    entry->value = value;
    return 0;
}

void *hashmap_get(hashmap *map, const void *key) {
    return key != nullptr ? hashmap_get2(map, key, nullptr) : nullptr;
}

void *hashmap_get2(hashmap *map, const void *key, void **stored_key) {
    hashmap_entry *const entry = map != nullptr ? find_locked(map, key) : nullptr;
    if (entry == nullptr)
        return nullptr;
    const ReadLock lock(map->lock);
    if (stored_key != nullptr)
        *stored_key = entry->key;
    return entry->value;
}

int hashmap_contains(hashmap *map, const void *key) {
    return map != nullptr && find_locked(map, key) != nullptr;
}

void *hashmap_remove(hashmap *map, const void *key) {
    return hashmap_remove2(map, key, nullptr);
}

void *hashmap_remove2(hashmap *map, const void *key, void **stored_key) {
    hashmap_entry *const entry = map != nullptr ? find_locked(map, key) : nullptr;
    if (entry == nullptr)
        return nullptr;
    const WriteLock lock(map->lock);
    if (stored_key != nullptr)
        *stored_key = entry->key;
    void *const value = entry->value;
    remove_entry(map, entry);
    return value;
}

// The entry of key when it holds exactly this value, looked for and compared under one read lock.
static hashmap_entry *find_pair(hashmap *map, const void *key, const void *value) {
    const ReadLock lock(map->lock);
    hashmap_entry *const entry = find_entry(map, key);
    return entry != nullptr && entry->value == value ? entry : nullptr;
}

void *hashmap_remove_value(hashmap *map, const void *key, void *value) {
    hashmap_entry *const entry = map != nullptr ? find_pair(map, key, value) : nullptr;
    if (entry == nullptr)
        return nullptr;
    const WriteLock lock(map->lock);
    remove_entry(map, entry);
    return value;
}

uint32_t hashmap_size(const hashmap *map) {
    return map != nullptr ? map->entry_count : 0;
}

uint32_t hashmap_buckets(const hashmap *map) {
    return map != nullptr ? map->bucket_count : 0;
}

int hashmap_isempty(const hashmap *map) {
    return hashmap_size(map) == 0;
}
