// SPDX-License-Identifier: MIT
// Giving an entry another key.
#include "containers/hashmap_core.h"

#include "base/lock.h"

#include <errno.h>

using namespace varnel;

namespace {

struct FoundPair {
    hashmap_entry *old_entry;
    hashmap_entry *new_entry;
};

FoundPair find_both(hashmap *map, const void *old_key, const void *new_key) {
    const ReadLock lock(map->lock);
    return {find_entry(map, old_key), find_entry(map, new_key)};
}

void relink(hashmap *map, hashmap_entry *entry, const void *key, void *value) {
    unlink_entry(map, entry);
    entry->key = const_cast<void *>(key);
    entry->value = value;
    link_entry(map, entry, bucket_of(map, key));
}

} // namespace

// Succeeds only when the new key has an entry already; callers rely on this sense of the test.
int hashmap_remove_and_put(hashmap *map, const void *old_key, const void *new_key, void *value) {
    const FoundPair found = map != nullptr ? find_both(map, old_key, new_key) : FoundPair{};
    if (found.old_entry == nullptr)
        return -ENOENT;
    if (found.new_entry == nullptr)
        return -EEXIST;
    const WriteLock lock(map->lock);
    relink(map, found.old_entry, new_key, value);
    return 0;
}

int hashmap_remove_and_replace(hashmap *map, const void *old_key, const void *new_key, void *value) {
    const FoundPair found = map != nullptr ? find_both(map, old_key, new_key) : FoundPair{};
    if (found.old_entry == nullptr)
        return -ENOENT;
    const WriteLock lock(map->lock);
    if (found.new_entry != nullptr && found.new_entry != found.old_entry)
        remove_entry(map, found.new_entry);
    relink(map, found.old_entry, new_key, value);
    return 0;
}
