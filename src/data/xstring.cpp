// SPDX-License-Identifier: MIT
#include <varnel/xdata.h>

#include "base/block.h"

#include <strings.h>

using namespace varnel;

// A NULL buffer with a length (which keys have for absent parts) copies as that many zero bytes.
xstring *xstring_copy(xstring *destination, const xstring *source) {
    if (destination == nullptr || source == nullptr)
        return nullptr;
    const auto size = sum_or_abort<uint32_t>(source->len, 1);
    auto *const copy = new_bytes<char>(size);
    if (source->str != nullptr)
        memcpy(copy, source->str, source->len);
    *destination = {copy, source->len};
    return destination;
}

// Exactly len bytes, without the extra terminator of xstring_copy.
xstring *xstring_dup(const xstring *s) {
    if (s == nullptr)
        return nullptr;
    auto *const copy = new_record<xstring>();
    *copy = {copy_bytes(s->str, s->len), s->len};
    return copy;
}

int xstring_compare(const xstring *a, const xstring *b, int ignore_case) {
    if (a == nullptr || b == nullptr)
        return (b == nullptr) - (a == nullptr);
    if (a->str == nullptr || b->str == nullptr)
        return (b->str == nullptr) - (a->str == nullptr);
    if (a->len != b->len)
        return static_cast<int>(a->len - b->len);
    return ignore_case != 0 ? strncasecmp(a->str, b->str, a->len) : strncmp(a->str, b->str, a->len);
}

int xstring_isempty(const xstring *s) {
    return s == nullptr || s->str == nullptr || s->len == 0;
}

void xstring_free(xstring *s) {
    if (s == nullptr)
        return;
    _xfree(s->str);
    _xfree(s);
}
