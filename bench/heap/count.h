/* SPDX-License-Identifier: MIT */
/* An allocator for the library that counts: live blocks, and the bytes that were asked for in them. */
#ifndef VARNEL_BENCH_HEAP_COUNT_H
#define VARNEL_BENCH_HEAP_COUNT_H

#include <stddef.h>

typedef struct heap_use {
    size_t bytes;
    size_t blocks;
} heap_use;

/* Gives the library the counting functions; before anything else is called. Ends the program when that fails. */
void count_install(void);

/* What lives now. */
heap_use count_now(void);

/* What has come to live since earlier. Ends the program when there is less than then. */
heap_use count_since(heap_use earlier);

#endif
