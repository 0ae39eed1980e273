// SPDX-License-Identifier: MIT
// The one table of the eight value types: everything that walks through them takes names, widths and wire order from
// it.
#pragma once

#include <varnel/xdata.h>

#include <stddef.h>

namespace varnel {

struct TypeInfo {
    char name[sizeof "[unknown]"]; // in place: no relocations
    uint8_t width;   // bytes of the value in its record and on the wire; 0 for a string, whose length says it
    bool big_endian; // whether the wire has it in big-endian order instead of the host's
};

inline constexpr TypeInfo kTypes[] = {
    {"[unknown]", 0, false}, // 0 is no type
    {"string", 0, false},
    {"int32_t", sizeof(int32_t), true},
    {"uint32_t", sizeof(uint32_t), true},
    {"int64_t", sizeof(int64_t), true},
    {"uint64_t", sizeof(uint64_t), true},
    {"float", sizeof(float), false}, // writer's order: both ends agree on it
    {"double", sizeof(double), false},
    {"boolean", sizeof(uint8_t), false},
};
static_assert(sizeof kTypes / sizeof kTypes[0] == XDATA_TYPE_END);
static_assert(kTypes[XDATA_STRING].width == 0 && kTypes[XDATA_UINT64].width == 8 && kTypes[XDATA_BOOLEAN].width == 1);

constexpr bool is_type(xdata_type type) {
    return type >= XDATA_STRING && type < XDATA_TYPE_END;
}

constexpr const TypeInfo &type_info(xdata_type type) {
    return kTypes[is_type(type) ? type : 0];
}

// The bytes of a value's scalar: all members of the union start at its first byte.
inline uint8_t *value_bytes(xdata *x) {
    return reinterpret_cast<uint8_t *>(&x->value);
}
inline const uint8_t *value_bytes(const xdata *x) {
    return reinterpret_cast<const uint8_t *>(&x->value);
}

// Writes the text form of a value into size bytes (at least 1), cut to fit and terminated. False, with out untouched,
// for a type outside 1 to 8.
bool format_value(char *out, size_t size, const xdata *x);

} // namespace varnel
