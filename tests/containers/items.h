// SPDX-License-Identifier: MIT
// Pointers for containers to hold, in ascending order; nothing is behind them.
#pragma once

#include <cstddef>

inline char cells[65536];
inline void *item(std::size_t n) {
    return &cells[n];
}
