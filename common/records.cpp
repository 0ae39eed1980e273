// SPDX-License-Identifier: MIT
#include "common/records.h"

#include <cstddef>
#include <cstring>

namespace varnel {

namespace {

// Bytes of a scalar; 0 for a string and for what is no type.
std::size_t width_of(xdata_type type) {
    switch (type) {
    case XDATA_INT32:
    case XDATA_UINT32:
    case XDATA_FLOAT:
        return sizeof(std::uint32_t);
    case XDATA_INT64:
    case XDATA_UINT64:
    case XDATA_DOUBLE:
        return sizeof(std::uint64_t);
    case XDATA_BOOLEAN:
        return sizeof(std::uint8_t);
    default:
        return 0;
    }
}

bool identical_strings(const xstring &a, const xstring &b) {
    if (a.len != b.len || a.len == 0)
        return a.len == b.len;
    if (a.str == nullptr || b.str == nullptr)
        return a.str == b.str;
    return std::memcmp(a.str, b.str, a.len) == 0;
}

} // namespace

std::string_view text_of(const xstring &string) {
    return string.str != nullptr ? std::string_view(string.str, strnlen(string.str, string.len)) : std::string_view();
}

bool identical(const xdata &a, const xdata &b) {
    if (a.type != b.type)
        return false;
    if (a.type == XDATA_STRING)
        return identical_strings(a.value.s, b.value.s);
    return std::memcmp(&a.value, &b.value, width_of(a.type)) == 0;
}

} // namespace varnel
