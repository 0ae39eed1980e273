// SPDX-License-Identifier: MIT
#include "containers/hashmap_core.h"

#include "base/block.h"
#include "base/layout.h"
#include "base/lock.h"
#include "base/remainder.h"

VARNEL_OFFSET32(hashmap_entry, value, 4);
VARNEL_OFFSET32(hashmap_entry, chain_next, 8);
VARNEL_OFFSET32(hashmap_entry, chain_prev, 12);
VARNEL_OFFSET32(hashmap_entry, order_next, 16);
VARNEL_OFFSET32(hashmap_entry, order_prev, 20);
VARNEL_SIZE32(hashmap_entry, 24);
VARNEL_OFFSET32(hashmap, buckets, 16);
VARNEL_OFFSET32(hashmap, bucket_count, 20);
VARNEL_OFFSET32(hashmap, entry_count, 24);
VARNEL_OFFSET32(hashmap, pooled, 28);
VARNEL_OFFSET32(hashmap, lock, 32);
VARNEL_OFFSET32(hashmap, inline_buckets, 32 + sizeof(pthread_rwlock_t));
VARNEL_SIZE32(hashmap, 32 + sizeof(pthread_rwlock_t) + size_t{4} * HASHMAP_INLINE_BUCKETS);

namespace varnel {

uint32_t bucket_of(const hashmap *map, const void *key) {
    const uint32_t hash = map->hash_fn(key);
    return remainder(hash, map->bucket_count);
}

hashmap_entry *find_in_bucket(const hashmap *map, uint32_t bucket, const void *key) {
    hashmap_entry *entry = map->buckets[bucket];
    while (entry != nullptr && map->compare_fn(entry->key, key) != 0)
        entry = entry->chain_next;
    return entry;
}

hashmap_entry *find_entry(const hashmap *map, const void *key) {
    return find_in_bucket(map, bucket_of(map, key), key);
}

hashmap_entry *find_locked(hashmap *map, const void *key) {
    const ReadLock lock(map->lock);
    return find_entry(map, key);
}

static void push_chain(hashmap_entry **head, hashmap_entry *entry) {
    entry->chain_prev = nullptr;
    entry->chain_next = *head;
    if (*head != nullptr)
        (*head)->chain_prev = entry;
    *head = entry;
}

// The bucket whose chain begins with entry: that of its key, but for an entry that was put while another thread's put
// made the map grow, which stands on the bucket of the old count.
static hashmap_entry **head_slot(hashmap *map, const hashmap_entry *entry) {
    hashmap_entry **slot = &map->buckets[bucket_of(map, entry->key)];
    if (*slot != entry) {
        slot = map->buckets;
        while (*slot != entry)
            ++slot;
    }
    return slot;
}

void link_entry(hashmap *map, hashmap_entry *entry, uint32_t bucket) {
    push_chain(&map->buckets[bucket], entry);
    entry->order_next = nullptr;
    entry->order_prev = map->order_last;
    (map->order_last != nullptr ? map->order_last->order_next : map->order_first) = entry;
    map->order_last = entry;
    ++map->entry_count;
}

void unlink_entry(hashmap *map, hashmap_entry *entry) {
    (entry->chain_prev != nullptr ? entry->chain_prev->chain_next : *head_slot(map, entry)) = entry->chain_next;
    if (entry->chain_next != nullptr)
        entry->chain_next->chain_prev = entry->chain_prev;
    (entry->order_prev != nullptr ? entry->order_prev->order_next : map->order_first) = entry->order_next;
    (entry->order_next != nullptr ? entry->order_next->order_prev : map->order_last) = entry->order_prev;
    --map->entry_count;
}

void remove_entry(hashmap *map, hashmap_entry *entry) {
    unlink_entry(map, entry);
    _xfree(entry);
}

// Load at most three entries per four buckets; about four times as many buckets at each growth.
void grow_if_loaded(hashmap *map) {
    if (uint64_t{map->entry_count} * 4 < uint64_t{map->bucket_count} * 3)
        return;
    const uint32_t count = (map->entry_count + 1) * 4 - 1;
    auto *const buckets = try_new_array<hashmap_entry *>(count);
    if (buckets == nullptr)
        return;
    for (hashmap_entry *entry = map->order_first; entry != nullptr; entry = entry->order_next)
        push_chain(&buckets[remainder(map->hash_fn(entry->key), count)], entry);
    if (map->buckets != map->inline_buckets)
        _xfree(map->buckets);
    map->buckets = buckets;
    map->bucket_count = count;
}

} // namespace varnel
