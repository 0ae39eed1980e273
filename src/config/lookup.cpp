// SPDX-License-Identifier: MIT
#include "config/lookup.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

using namespace varnel;

namespace {

constexpr size_t kNameSize = 1024; // a name of a path and its terminator

// The group of that name in d. A name that does not fit finds nothing.
const xdictionary *find_group(const xdictionary *d, const char *name, size_t length) {
    if (length >= kNameSize)
        return nullptr;
    char text[kNameSize];
    memcpy(text, name, length);
    text[length] = '\0';
    uint32_t type = XDICTIONARY_STRING;
    const void *const value = xdictionary_get(d, text, &type);
    return type == XDICTIONARY_GROUP ? static_cast<const xdictionary *>(value) : nullptr;
}

// A name that does not fit is cut.
void *find_last(const xdictionary *d, const char *name, uint32_t *type) {
    char text[kNameSize] = {};
    strncpy(text, name, sizeof text - 1);
    return xdictionary_get(d, text, type);
}

} // namespace

void *varnel::confparser_lookup(const xdictionary *d, const char *path, uint32_t *type) {
    if (d == nullptr || path == nullptr)
        return nullptr;
    while (const char *const colon = strchr(path, ':')) {
        d = find_group(d, path, static_cast<size_t>(colon - path));
        if (d == nullptr)
            return nullptr;
        path = colon + 1;
    }
    return find_last(d, path, type);
}

xdictionary *confparser_getdic(const xdictionary *d, const char *path) {
    uint32_t type = XDICTIONARY_STRING;
    void *const value = confparser_lookup(d, path, &type);
    return type == XDICTIONARY_GROUP ? static_cast<xdictionary *>(value) : nullptr;
}

const char *confparser_getstring(const xdictionary *d, const char *path, const char *fallback) {
    uint32_t type = XDICTIONARY_STRING;
    const void *const value = confparser_lookup(d, path, &type);
    return value != nullptr && type == XDICTIONARY_STRING ? static_cast<const char *>(value) : fallback;
}

// long is wider than int on some hosts; the result saturates everywhere as it does where they are equal.
int confparser_getint(const xdictionary *d, const char *path, int fallback) {
    const char *const text = confparser_getstring(d, path, nullptr);
    if (text == nullptr)
        return fallback;
    const long value = strtol(text, nullptr, 0);
    if (value > INT_MAX)
        return INT_MAX;
    return value < INT_MIN ? INT_MIN : static_cast<int>(value);
}

double confparser_getdouble(const xdictionary *d, const char *path, double fallback) {
    const char *const text = confparser_getstring(d, path, nullptr);
    return text != nullptr ? atof(text) : fallback;
}

unsigned char confparser_getboolean(const xdictionary *d, const char *path, unsigned char fallback) {
    const char *const text = confparser_getstring(d, path, "");
    if (*text != '\0' && strchr("yY1tT", *text) != nullptr)
        return 1;
    if (*text != '\0' && strchr("nN0fF", *text) != nullptr)
        return 0;
    return fallback;
}
