// SPDX-License-Identifier: MIT
// Walks over a group of settings.
#pragma once

#include <varnel/config.h>

#include <cstdint>

namespace varnel::modules {

// Calls body with the key and the value of every entry of the given type; in no order.
template <class Body> void for_each_entry(const xdictionary *d, std::uint32_t type, Body body) {
    for (std::uint32_t slot = 0; d != nullptr && slot < d->size; ++slot) {
        if (d->keys[slot] != nullptr && d->types[slot] == type && d->values[slot] != nullptr)
            body(d->keys[slot], d->values[slot]);
    }
}

} // namespace varnel::modules
