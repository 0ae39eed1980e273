// SPDX-License-Identifier: MIT
// Releasing a map with what its keys and values point to, when values need more than _xfree.
#pragma once

#include <varnel/hashmap.h>

namespace varnel {

// Takes every entry out, first to last, hands its key and value to release, and frees the map (NULL allowed). An entry
// has left the map before release sees it, so keys may be freed there. Unlocked.
template <class Release> void drain_map(hashmap *map, Release release) {
    while (!hashmap_isempty(map)) {
        void *const key = hashmap_first_key(map);
        void *const value = hashmap_steal_first(map);
        release(key, value);
    }
    hashmap_free(map);
}

} // namespace varnel
