// SPDX-License-Identifier: MIT
#include <varnel/xkey.h>

#include "base/block.h"
#include "base/layout.h"
#include "base/log.h"

#include <errno.h>
#include <stdio.h>

using namespace varnel;

VARNEL_OFFSET32(xkey, group, 8);
VARNEL_OFFSET32(xkey, name, 16);
VARNEL_SIZE32(xkey, 24);

static constexpr char kDefault[] = "default";
static constexpr xstring xkey::*kFields[] = {&xkey::layer, &xkey::group, &xkey::name};

// An absent text leaves no buffer, but the length of an empty text with its terminator.
static xstring field_of(const char *text) {
    return {xstrdup(text), static_cast<uint32_t>(xstrlen(text) + 1)};
}

xkey *xkey_new(const char *layer, const char *group, const char *name) {
    xkey *const key = require(new_record<xkey>(), "xkey_new: xmalloc0 error.\n");
    key->layer = field_of(layer != nullptr ? layer : kDefault);
    key->group = field_of(group == nullptr && name != nullptr ? kDefault : group);
    key->name = field_of(name);
    return key;
}

static void release_field(xstring &field) {
    _xfree(field.str);
    field.str = nullptr;
}

static void release_fields(xkey *key) {
    release_field(key->group);
    release_field(key->name);
    release_field(key->layer);
}

void xkey_free(xkey *key) {
    if (key == nullptr)
        return;
    release_fields(key);
    _xfree(key);
}

// False when the copy could not be made; an absent source leaves the destination as it was.
static bool copy_field(xstring &destination, const xstring &source) {
    return source.str == nullptr || xstring_copy(&destination, &source) != nullptr;
}

xkey *xkey_copy(xkey *destination, const xkey *source) {
    if (destination == nullptr || source == nullptr)
        return nullptr;
    if (copy_field(destination->group, source->group) && copy_field(destination->name, source->name) &&
        copy_field(destination->layer, source->layer))
        return destination;
    release_fields(destination);
    return nullptr;
}

xkey *xkey_dup(const xkey *source) {
    if (source == nullptr)
        return nullptr;
    xkey *const copy = require(new_record<xkey>(), "xkey_dup : xmalloc0 error.\n");
    if (xkey_copy(copy, source) == nullptr) {
        xkey_free(copy);
        return nullptr;
    }
    return copy;
}

xkey *xkey_copy_group(xkey *destination, const xkey *source) {
    if (destination == nullptr || source == nullptr)
        return nullptr;
    if (!copy_field(destination->group, source->group) || !copy_field(destination->layer, source->layer)) {
        // Not _xfree, and the pointers stay: callers of a failed copy know these blocks as the platform's and gone.
        free(destination->group.str);
        free(destination->layer.str);
        return nullptr;
    }
    destination->name = {};
    return destination;
}

// A NULL key equals everything: programs pass one as a wild card.
int xkey_cmp(const xkey *a, const xkey *b) {
    if (a == nullptr || b == nullptr)
        return 0;
    for (xstring xkey::*const field : kFields)
        if (const int difference = xstring_compare(&(a->*field), &(b->*field), 0))
            return difference;
    return 0;
}

static char *copy_text(const xkey *key, xstring xkey::*field) {
    return key != nullptr ? xstrdup((key->*field).str) : nullptr;
}

char *xkey_get_layer(const xkey *key) {
    return copy_text(key, &xkey::layer);
}

char *xkey_get_group(const xkey *key) {
    return copy_text(key, &xkey::group);
}

char *xkey_get_name(const xkey *key) {
    return copy_text(key, &xkey::name);
}

// Writes ":text" at an offset of a block of size bytes, cut to fit and terminated. Lengths that callers filled in by
// hand can put the offset outside the block: nothing is written then.
static void put_part(char *block, uint32_t size, uint32_t offset, const char *text) {
    if (offset < size)
        snprintf(block + offset, size - offset, ":%s", text);
}

char *xkey_to_string(const xkey *key) {
    if (key == nullptr || key->layer.str == nullptr)
        return nullptr;
    const bool has_group = key->group.str != nullptr;
    const bool has_name = has_group && key->name.str != nullptr;
    const uint64_t wanted =
        uint64_t{key->layer.len} + (has_group ? key->group.len : 0) + (has_name ? key->name.len : 0);
    const auto size = static_cast<uint32_t>(wanted);
    if (wanted > UINT32_MAX)
        errno = ENOMEM;
    char *const text =
        require(wanted <= UINT32_MAX ? new_bytes<char>(size) : nullptr, "xkey_to_string xmalloc0 error: %m\n");
    snprintf(text, size, "%s", key->layer.str);
    if (has_group)
        put_part(text, size, key->layer.len - 1, key->group.str);
    if (has_name)
        put_part(text, size, key->layer.len + key->group.len - 1, key->name.str);
    return text;
}

// For people: invents defaults and names absent parts, unlike xkey_to_string.
void xkey_out(const xkey *key) {
    if (key == nullptr) {
        log_debug("xkey is null.\n");
        return;
    }
    char text[1024] = {};
    snprintf(text, sizeof text, "%s:%s:%s", key->layer.str != nullptr ? key->layer.str : kDefault,
             key->group.str != nullptr ? key->group.str : kDefault, key->name.str != nullptr ? key->name.str : "NULL");
    log_debug("xkey: %s\n", text);
}
