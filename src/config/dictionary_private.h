// SPDX-License-Identifier: MIT
// What the other parts of the library know about a dictionary's slots.
#pragma once

#include <varnel/config.h>

namespace varnel {

// Whether the slots could be had when the dictionary was made; without them it holds nothing and takes nothing.
inline bool has_slots(const xdictionary *d) {
    return d->values != nullptr && d->keys != nullptr && d->hashes != nullptr && d->types != nullptr;
}

inline bool is_occupied(const xdictionary *d, uint32_t slot) {
    return d->keys[slot] != nullptr;
}

inline xdictionary *nested_at(const xdictionary *d, uint32_t slot) {
    return static_cast<xdictionary *>(d->values[slot]);
}

// One occupied slot, as for_each_entry passes it.
struct Entry {
    const char *key;
    void *value;
    uint32_t type;
};

// Calls use(entry) for every occupied slot in slot order. NULL and dictionaries without slots have none.
template <class Use> void for_each_entry(const xdictionary *d, Use use) {
    if (d == nullptr || !has_slots(d))
        return;
    for (uint32_t slot = 0; slot < d->size; ++slot)
        if (is_occupied(d, slot))
            use(Entry{d->keys[slot], d->values[slot], d->types[slot]});
}

// Passes d on, or logs message and ends the process when d is NULL or has no slots: programs that start up cannot do
// with a dictionary that loses settings.
xdictionary *require_dictionary(xdictionary *d, const char *message);

} // namespace varnel
