/* SPDX-License-Identifier: MIT */
/*
 * Memory and strings: the lowest layer, used by everything else in the library.
 *
 * Every block that the library allocates or releases goes through one process-wide table of four
 * functions shaped like malloc, realloc, calloc and free (ISO C). x_replace_allocator swaps it, so
 * that a program can route all of the library's memory through its own allocator.
 *
 * Ownership: every returned block or string belongs to the caller and is released with _xfree.
 * Errors:    where this header says "aborts", exhausted memory ends the process with abort(3).
 *            A size sum that would wrap counts as exhausted memory.
 * NULL:      every string function accepts a NULL string and answers it with NULL or 0.
 * Threads:   nothing here locks. The table is an unguarded global: replace it, if at all, before any
 *            other thread uses the library.
 */
#ifndef VARNEL_MEMORY_H
#define VARNEL_MEMORY_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* The shapes of the four functions of the allocator table. */
typedef void *(*x_allocate_t)(size_t size);
typedef void *(*x_reallocate_t)(void *block, size_t size);
typedef void *(*x_allocate_zeroed_t)(size_t count, size_t size);
typedef void (*x_release_t)(void *block);

/* Allocates size bytes, not zeroed. Returns whatever the table's allocate function returns, NULL
 * included. */
void *xmalloc(size_t size);

/* Allocates size zero bytes. Never returns NULL: aborts when the table's allocate function does
 * (which it may for size 0). */
void *xmalloc0(size_t size) __attribute__((returns_nonnull));

/* Allocates a zeroed array of count elements of size bytes with the table's allocate-zeroed-array
 * function, and passes its result on, NULL included. */
void *xcalloc(size_t count, size_t size);

/* Resizes block (which may be NULL) to size bytes with the table's reallocate function, and passes
 * its result on; when that is NULL the old block is still the caller's. */
void *xrealloc(void *block, size_t size);

/* Releases block with the table's release function. NULL is ignored. errno is preserved, so that an
 * error path can free first and report afterwards. */
void _xfree(void *block);

/* Replaces the four functions of the table, all or none.
 * Returns 0, or -22 (-EINVAL) when one of them is NULL: the table then stays as it was.
 * Blocks allocated before the change are later released with the new release function; making the
 * two compatible is the caller's business. */
int x_replace_allocator(x_allocate_t allocate, x_reallocate_t reallocate, x_allocate_zeroed_t allocate_zeroed,
                        x_release_t release);

/* Grows an append buffer: *block holds *allocated bytes of capacity, need bytes are wanted.
 * Returns the (possibly moved) block, which is also stored in *block, with the new capacity in
 * *allocated: twice need (unsigned, wrapping: keep need below half of SIZE_MAX), at least 512.
 * A capacity that suffices is returned without a call. Returns NULL when reallocation fails; block
 * and capacity are then untouched and the old block is still valid. */
void *greedy_realloc(void **block, size_t *allocated, size_t need);

/* Returns a new zeroed block of 2 * size bytes that starts with the size bytes of block, and releases
 * block (NULL counts as size zero bytes). Never grows in place. Aborts when memory is short. */
void *x_mem_double(void *block, size_t size);

/* The system's page size in bytes, as sysconf(_SC_PAGESIZE) (POSIX) gives it, asked once per thread.
 * An error result of -1 comes back as the largest size_t. */
size_t page_size(void);

/* A new copy of s, or NULL for NULL. Aborts when memory is short. */
char *xstrdup(const char *s);

/* A new zeroed block of n + 1 bytes (also when s is shorter) that starts with at most n bytes of s;
 * always terminated. NULL for NULL. s must be terminated even when n is small. Aborts when memory is
 * short. */
char *xstrndup(const char *s, size_t n);

/* strncpy(destination, source, n): no terminator when source has n or more characters.
 * NULL, with nothing touched, when destination or source is NULL or n is 0. */
char *xstrncpy(char *destination, const char *source, size_t n);

/* strncpy(destination, source, size - 1). Mind the order: the size comes before the source.
 * Writes no terminator of its own: with a source of size - 1 or more characters the last byte of the
 * destination stays as it was, so pass a zeroed buffer. size must be at least 1: 0 wraps to the largest
 * count. NULL when destination or source is NULL. */
char *xstrcpy(char *destination, size_t size, const char *source);

/* strlen(s), 0 for NULL. */
size_t xstrlen(const char *s);

/* The smaller of strlen(s) and max, 0 for NULL. s must be terminated even when max is small. */
size_t xstrlen_max(const char *s, size_t max);

/* A new lower-cased copy of s (tolower of every byte, in the current locale), or NULL for NULL and for
 * the empty string. Aborts when memory is short. */
char *xstrlwc(const char *s);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
