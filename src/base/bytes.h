// SPDX-License-Identifier: MIT
// Big-endian integers in byte buffers, at any address.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace varnel {

template <class T> constexpr T load_be(const uint8_t *bytes) {
    T value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value = static_cast<T>((value << 8) | bytes[i]);
    return value;
}

template <class T> constexpr void store_be(uint8_t *bytes, T value) {
    for (size_t i = sizeof(T); i-- > 0; value = static_cast<T>(value >> 8))
        bytes[i] = static_cast<uint8_t>(value);
}

inline constexpr bool kHostIsBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

// Copies an integer of width bytes between host order and big-endian order (either way), as bytes.
inline void copy_big_endian(uint8_t *to, const uint8_t *from, size_t width) {
    for (size_t i = 0; i < width; ++i)
        to[i] = from[kHostIsBigEndian ? i : width - 1 - i];
}

} // namespace varnel
