// SPDX-License-Identifier: MIT
#include "base/block.h"

#include <ctype.h>

using varnel::sum_or_abort;

char *xstrdup(const char *s) {
    if (s == nullptr)
        return nullptr;
    const size_t length = strlen(s);
    char *const copy = static_cast<char *>(xmalloc0(length + 1));
    memcpy(copy, s, length);
    return copy;
}

char *xstrndup(const char *s, size_t n) {
    if (s == nullptr)
        return nullptr;
    char *const copy = static_cast<char *>(xmalloc0(sum_or_abort<size_t>(n, 1)));
    memcpy(copy, s, xstrlen_max(s, n));
    return copy;
}

char *xstrncpy(char *destination, const char *source, size_t n) {
    if (destination == nullptr || source == nullptr || n == 0)
        return nullptr;
    return strncpy(destination, source, n);
}

char *xstrcpy(char *destination, size_t size, const char *source) {
    if (destination == nullptr || source == nullptr)
        return nullptr;
    return strncpy(destination, source, size - 1);
}

size_t xstrlen(const char *s) {
    return s != nullptr ? strlen(s) : 0;
}

size_t xstrlen_max(const char *s, size_t max) {
    const size_t length = xstrlen(s);
    return length < max ? length : max;
}

char *xstrlwc(const char *s) {
    const int length = static_cast<int>(xstrlen(s));
    if (s == nullptr || length < 1)
        return nullptr;
    char *const lower = static_cast<char *>(xmalloc0(static_cast<size_t>(length) + 1));
    for (int i = 0; i < length; ++i)
        lower[i] = static_cast<char>(tolower(static_cast<signed char>(s[i])));
    return lower;
}
