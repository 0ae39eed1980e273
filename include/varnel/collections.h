/* SPDX-License-Identifier: MIT */
/*
 * xarray and xlist: two small containers of untyped item pointers.
 *
 * Neither copies items: both store the caller's pointers unchanged. Neither locks: callers serialise access
 * to a container themselves. Records and nodes come from the library's allocator (memory.h); making one aborts
 * when memory is short. Functions that can change the caller's pointer take its address.
 */
#ifndef VARNEL_COLLECTIONS_H
#define VARNEL_COLLECTIONS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A growable array of at most 65535 items. It keeps no capacity: every add reallocates the block, to at
 * least 512 bytes. */
typedef struct xarray {
    void **items; /* NULL until the first add */
    uint16_t count;
} xarray;

/* A node of a singly linked list; a list is a pointer to its first node, an empty list a NULL pointer. The
 * head describes the whole list; in other nodes tail and count are stale or zero and nothing reads them. */
typedef struct xlist xlist;
struct xlist {
    void *data;
    xlist *next;
    xlist *tail;    /* last node of the list */
    uint64_t count; /* nodes in the list */
};

/* Releases one item of an array. */
typedef void (*xarray_free_t)(void *item);

/* A new empty array; never NULL. */
xarray *xarray_new(void);

/* Appends item. 1, or 0 for a NULL array, a NULL item, a full array, or a block that could not be grown: the
 * earlier items are then lost, their places read as NULL, and later adds follow them. */
int xarray_add(xarray *array, void *item);

/* Item index, counted from 0; NULL for a NULL array and past the end. */
void *xarray_get(const xarray *array, uint16_t index);

/* Calls free_fn (which may be NULL) once for every item, first to last, releases the array and sets *array to
 * NULL. Nothing for a NULL address or array. */
void xarray_free(xarray **array, xarray_free_t free_fn);

/* Adds item at the end or at the front, both in constant time. 1, or 0 for a NULL address. NULL items may be
 * stored. */
int xlist_append(xlist **list, void *item);
int xlist_prepend(xlist **list, void *item);

/* Removes the first node that holds exactly this pointer; a non-zero free_data releases the item with _xfree.
 * 1, or 0 when there is none. Linear time. */
int xlist_remove(xlist **list, const void *item, unsigned char free_data);

/* Releases all nodes and sets *list to NULL; xlist_free_all first releases every item with _xfree. */
void xlist_free(xlist **list);
void xlist_free_all(xlist **list);

/* Appends the nodes of source, which belong to *destination from then on: do not free source separately. */
void xlist_merge(xlist **destination, xlist *source);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
