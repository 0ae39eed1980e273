// SPDX-License-Identifier: MIT
// The parts of a map that its operations are made of: look-up, linking, growth. None of them locks.
#pragma once

#include <varnel/hashmap.h>

namespace varnel {

uint32_t bucket_of(const hashmap *map, const void *key);

// The first entry for key in its bucket's chain, or nullptr.
hashmap_entry *find_in_bucket(const hashmap *map, uint32_t bucket, const void *key);
hashmap_entry *find_entry(const hashmap *map, const void *key);

// find_entry under the read lock, which is released again: by the time the caller acts, the result may be stale.
hashmap_entry *find_locked(hashmap *map, const void *key);

// Puts an entry at the head of a bucket's chain and at the end of the order.
void link_entry(hashmap *map, hashmap_entry *entry, uint32_t bucket);

// Takes an entry out of its chain and of the order; its record stays.
void unlink_entry(hashmap *map, hashmap_entry *entry);

// Unlinks an entry and frees its record; key and value stay.
void remove_entry(hashmap *map, hashmap_entry *entry);

// Makes the bucket array larger when another entry would load it too much. No growth when memory is short.
void grow_if_loaded(hashmap *map);

} // namespace varnel
