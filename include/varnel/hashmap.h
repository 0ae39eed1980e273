/* SPDX-License-Identifier: MIT */
/*
 * hashmap: an associative container of untyped pointers that remembers the order of insertion.
 *
 * Hashing and equality are two functions given per map. The map never owns what keys and values point
 * to, except in the operations whose names say that they free (hashmap_free_free, ...), which release
 * with _xfree. Map and entry records come from the library's allocator (memory.h).
 *
 * Threads: every map carries a read/write lock. "Locked" below means that the operation may run beside
 * other locked operations; "unlocked" means that the caller must know that nobody else uses the map.
 * A modifying operation searches under the read lock, releases it, and only then takes the write lock,
 * without searching again: two threads that put the same new key can both insert it, and two that remove
 * the same key can both free it. Callers that need an atomic look-up-and-change serialise themselves.
 * hashmap_merge and hashmap_move hold the lock of one map while they take the other's: two threads must not run them on
 * one pair of maps in opposite directions.
 *
 * Results: 0 or 1 for success, negative errno values otherwise: -2 (ENOENT), -12 (ENOMEM), -17 (EEXIST).
 * A NULL map counts as an empty one, except in hashmap_put, hashmap_replace and hashmap_update, which
 * need a map. Nothing here logs.
 */
#ifndef VARNEL_HASHMAP_H
#define VARNEL_HASHMAP_H

#include <pthread.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The POSIX read/write lock. In strict ISO C (-std=c11) without a POSIX feature macro, glibc's <pthread.h> leaves the
 * type out: its size, which glibc then still tells, stands in for it, so that the records keep their shape. */
#if defined(PTHREAD_RWLOCK_INITIALIZER)
typedef pthread_rwlock_t varnel_rwlock;
#elif defined(__SIZEOF_PTHREAD_RWLOCK_T)
typedef union varnel_rwlock {
    char bytes[__SIZEOF_PTHREAD_RWLOCK_T];
    long alignment;
} varnel_rwlock;
#else
#error "hashmap.h needs POSIX read/write locks: define _POSIX_C_SOURCE 200809L"
#endif

#pragma GCC visibility push(default)

/* The hash of a key. */
typedef uint32_t (*hash_func_t)(const void *key);

/* Compares the stored key (first) with the key looked for (second); 0 means equal. */
typedef int (*compare_func_t)(const void *stored, const void *key);

/* Buckets of a new map; they lie inside the map record. */
#define HASHMAP_INLINE_BUCKETS 31

typedef struct hashmap hashmap;
typedef struct hashmap_entry hashmap_entry;

struct hashmap_entry {
    void *key;
    void *value;
    hashmap_entry *chain_next; /* bucket chain */
    hashmap_entry *chain_prev;
    hashmap_entry *order_next; /* insertion order */
    hashmap_entry *order_prev;
};

struct hashmap {
    hash_func_t hash_fn;
    compare_func_t compare_fn;
    hashmap_entry *order_first;
    hashmap_entry *order_last;
    hashmap_entry **buckets; /* heads of the chains; inline_buckets until the first growth */
    uint32_t bucket_count;
    uint32_t entry_count;
    uint8_t pooled; /* always 0: every map uses the general allocator */
    varnel_rwlock lock;
    hashmap_entry *inline_buckets[HASHMAP_INLINE_BUCKETS];
};

/* Iterator tokens. Any other value is the address of the next entry to be returned. */
#define HASHMAP_ITERATE_START 0
#define HASHMAP_ITERATE_END UINTPTR_MAX

/* Hash and comparison functions.
 *   string:  NUL-terminated text; h = 5381, then h * 33 + c for each byte c read as a signed char (so
 *            bytes of 0x80 and above differ from the unsigned variant); compared with strcmp
 *   trivial: the pointer value itself
 *   uint64:  pointer to a 64-bit unsigned value; high word XOR low word
 *   uint32:  pointer to a 32-bit unsigned value; the value itself
 * All comparisons but the string one give -1, 0 or 1 as an unsigned comparison. */
uint32_t string_hash_func(const void *key);
int string_compare_func(const void *stored, const void *key);
uint32_t trivial_hash_func(const void *key);
int trivial_compare_func(const void *stored, const void *key);
uint32_t uint64_hash_func(const void *key);
int uint64_compare_func(const void *stored, const void *key);
uint32_t uint32_hash_func(const void *key);
int uint32_compare_func(const void *stored, const void *key);

/* A new empty map, or NULL when memory is short. NULL functions mean the trivial ones. */
hashmap *hashmap_new(hash_func_t hash_fn, compare_func_t compare_fn);

/* Makes *map unless there is one already. 0, or -12 when making it failed. */
int hashmap_ensure_allocated(hashmap **map, hash_func_t hash_fn, compare_func_t compare_fn);

/* Removes every entry, releases the map. Unlocked. NULL allowed.
 *   hashmap_free            keys and values untouched (and not looked at: they may be gone already)
 *   hashmap_free_free       as hashmap_clear_free first
 *   hashmap_free_free_free  as hashmap_clear_free_free first */
void hashmap_free(hashmap *map);
void hashmap_free_free(hashmap *map);
void hashmap_free_free_free(hashmap *map);

/* Removes entries, first to last; the map stays usable and keeps its buckets. Unlocked.
 *   hashmap_clear            all; keys and values untouched (and not looked at)
 *   hashmap_clear_free       frees each value; stops at the first entry whose value is NULL and leaves
 *                            it and all later ones in the map
 *   hashmap_clear_free_free  all; frees each value, then its key */
void hashmap_clear(hashmap *map);
void hashmap_clear_free(hashmap *map);
void hashmap_clear_free_free(hashmap *map);

/* Adds a key. 1 added; 0 the key is there with this very value pointer; -17 it is there with another one
 * (nothing changes); -12 no memory. Locked; the map must not be NULL. May grow the bucket array; a growth
 * that cannot be had is done without. */
int hashmap_put(hashmap *map, const void *key, void *value);

/* Replaces the stored key and value of a key that is there (0), otherwise as hashmap_put. */
int hashmap_replace(hashmap *map, const void *key, void *value);

/* Replaces the value of a key that is there and keeps the stored key. 0, or -2 when it is absent. */
int hashmap_update(hashmap *map, const void *key, void *value);

/* The value of a key, or NULL. Locked. hashmap_get answers a NULL key with NULL; hashmap_get2 looks it up,
 * and stores the stored key in *stored_key (which may be NULL) when it finds one. */
void *hashmap_get(hashmap *map, const void *key);
void *hashmap_get2(hashmap *map, const void *key, void **stored_key);

/* 1 when the key is there, else 0. Locked. */
int hashmap_contains(hashmap *map, const void *key);

/* Removes a key; returns its value, or NULL. Locked. The key and value themselves are not freed.
 *   hashmap_remove2       also stores the stored key in *stored_key (which may be NULL)
 *   hashmap_remove_value  only when the entry holds exactly this value pointer */
void *hashmap_remove(hashmap *map, const void *key);
void *hashmap_remove2(hashmap *map, const void *key, void **stored_key);
void *hashmap_remove_value(hashmap *map, const void *key, void *value);

/* Gives the entry of old_key a new key and value and moves it to the end of the order. Locked.
 *   hashmap_remove_and_put      only when new_key has an entry already, which stays: the map then holds two
 *                               entries for new_key, the moved one found first. 0; -2 old_key absent; -17
 *                               new_key absent
 *   hashmap_remove_and_replace  another entry of new_key is removed first. 0; -2 old_key absent */
int hashmap_remove_and_put(hashmap *map, const void *old_key, const void *new_key, void *value);
int hashmap_remove_and_replace(hashmap *map, const void *old_key, const void *new_key, void *value);

/* Walks the map in insertion order (or against it). *token starts as HASHMAP_ITERATE_START (backwards:
 * HASHMAP_ITERATE_END) and is left at the opposite one at the end. Returns the value, with its key in *key
 * (which may be NULL), or NULL at the end, with *key NULL. Locked per step: safe beside look-ups, not beside
 * the removal of the entry that the token names. */
void *hashmap_iterate(hashmap *map, uintptr_t *token, void **key);
void *hashmap_iterate_backwards(hashmap *map, uintptr_t *token, void **key);

/* Sets *token to the key's entry and returns its value; NULL, with the token untouched, when it is absent.
 * Unlocked. */
void *hashmap_iterate_skip(hashmap *map, const void *key, uintptr_t *token);

/* Value or key of the first or last entry; NULL for an empty map. Unlocked. */
void *hashmap_first(const hashmap *map);
void *hashmap_first_key(const hashmap *map);
void *hashmap_last(const hashmap *map);

/* Removes the first entry and returns its value or its key; NULL for an empty map. Unlocked. */
void *hashmap_steal_first(hashmap *map);
void *hashmap_steal_first_key(hashmap *map);

/* Entries; buckets (31 when new); 1 when there is no entry. A NULL map gives 0, 0 and 1. Unlocked. */
uint32_t hashmap_size(const hashmap *map);
uint32_t hashmap_buckets(const hashmap *map);
int hashmap_isempty(const hashmap *map);

/* Puts every entry of other into map, which keeps its own value where both have a key. other keeps its
 * entries. 0, or the first error of hashmap_put other than -17. other's read lock is held for the whole walk.
 * With a NULL map nothing is merged and the result is 0. */
int hashmap_merge(hashmap *map, hashmap *other);

/* Moves every entry of other whose key map lacks into map; the rest stays in other. Never allocates, never
 * grows map. Holds the write locks of other and of map, taken in this order. */
void hashmap_move(hashmap *map, hashmap *other);

/* Moves one entry. 0 (also for a NULL other); -17 the key is in map already; -2 it is not in other (or map is
 * NULL). Never allocates, never grows map. Locked. */
int hashmap_move_one(hashmap *map, hashmap *other, const void *key);

/* A new map with the same two functions and all entries, or NULL (also for a NULL map). */
hashmap *hashmap_copy(hashmap *map);

/* A new NULL-terminated array of the values in insertion order (it ends early at a NULL value), or NULL when
 * memory is short. The caller releases the array with _xfree; the values are the map's. A NULL map gives an
 * empty array. */
void **hashmap_get_strv(hashmap *map);

/* Value of the entry after the key's one in insertion order; NULL when the key is absent or last. The key is
 * found locked, the next entry read unlocked. */
void *hashmap_next(hashmap *map, const void *key);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
