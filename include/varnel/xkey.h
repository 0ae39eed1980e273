/* SPDX-License-Identifier: MIT */
/*
 * xkey: the three-part name of a setting, layer:group:name; xpair: a key bound to its value.
 *
 * Ownership: every present field of a key owns its buffer, whose len counts the terminator. A pair owns its key and
 * its value. Records come from the library's allocator (memory.h); making them aborts when memory is short.
 * Threads:   nothing locks; keys and pairs have one holder at a time.
 */
#ifndef VARNEL_XKEY_H
#define VARNEL_XKEY_H

#include "xdata.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

typedef struct xkey {
    xstring layer; /* "default" when the creator gave none */
    xstring group; /* absent: str NULL */
    xstring name;  /* absent: str NULL */
} xkey;

typedef struct xpair {
    xkey *key;
    xdata *value;
    void *user_data; /* the caller's; released only through the function given to xpair_free */
} xpair;

/* Releases the user_data of a pair. */
typedef void (*xpair_release_t)(void *user_data);

/* A new key from copies of the texts. A NULL layer becomes "default"; so does a NULL group when there is a name.
 * A field that stays absent has str NULL and len 1. */
xkey *xkey_new(const char *layer, const char *group, const char *name);

/* Releases a key and its buffers. NULL is ignored. */
void xkey_free(xkey *key);

/* A new deep copy, or NULL for NULL. */
xkey *xkey_dup(const xkey *source);

/* Fills destination with copies of the fields that source has; absent ones leave the destination's as they were. Old
 * buffers are overwritten, not released. Returns destination; NULL when either is NULL. */
xkey *xkey_copy(xkey *destination, const xkey *source);

/* As xkey_copy for the group and the layer; the name becomes absent, without releasing what was there. */
xkey *xkey_copy_group(xkey *destination, const xkey *source);

/* 0 when equal or when either key is NULL; otherwise the first difference of layer, group and name, each as
 * xstring_compare with case gives it. */
int xkey_cmp(const xkey *a, const xkey *b);

/* A new copy of that field's text; NULL for a NULL key or an absent field. */
char *xkey_get_layer(const xkey *key);
char *xkey_get_group(const xkey *key);
char *xkey_get_name(const xkey *key);

/* New text: layer, layer:group or layer:group:name, by what the key has (a name without a group is left out). NULL for
 * a NULL key or an absent layer. */
char *xkey_to_string(const xkey *key);

/* Logs layer:group:name in one debug line, cut to 1023 characters, with "default" for an absent layer or group and
 * "NULL" for an absent name. */
void xkey_out(const xkey *key);

/* A new pair that takes key and value over; NULLs are allowed. */
xpair *xpair_new(xkey *key, xdata *value, void *user_data);

/* Releases key, value and record; before the record, calls release (which may be NULL) with a non-NULL user_data.
 * xpair_basefree never touches user_data. NULL pairs are ignored. */
void xpair_free(xpair *pair, xpair_release_t release);
void xpair_basefree(xpair *pair);

/* Logs the key and the value in debug lines between two rules. */
void xpair_out(const xpair *pair);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
