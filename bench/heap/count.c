/* SPDX-License-Identifier: MIT */
#include "count.h"

#include <varnel/memory.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* In front of every block; as large as the strictest alignment, so that blocks are aligned as malloc's are. */
typedef struct block_head {
    _Alignas(max_align_t) size_t size;
} block_head;

static heap_use live;

static void *register_block(block_head *head, size_t size) {
    if (head == NULL)
        return NULL;
    head->size = size;
    live.bytes += size;
    ++live.blocks;
    return head + 1;
}

static void *count_allocate(size_t size) {
    return size <= SIZE_MAX - sizeof(block_head) ? register_block(malloc(sizeof(block_head) + size), size) : NULL;
}

static void *count_allocate_zeroed(size_t count, size_t size) {
    size_t total;
    if (__builtin_mul_overflow(count, size, &total))
        return NULL;
    void *const block = count_allocate(total);
    return block != NULL ? memset(block, 0, total) : NULL;
}

static void count_release(void *block) {
    if (block == NULL)
        return;
    block_head *const head = (block_head *)block - 1;
    live.bytes -= head->size;
    --live.blocks;
    free(head);
}

static void *count_reallocate(void *block, size_t size) {
    void *const moved = count_allocate(size);
    if (moved != NULL && block != NULL) {
        const size_t old_size = ((block_head *)block - 1)->size;
        memcpy(moved, block, old_size < size ? old_size : size);
        count_release(block);
    }
    return moved;
}

void count_install(void) {
    if (x_replace_allocator(count_allocate, count_reallocate, count_allocate_zeroed, count_release) == 0)
        return;
    fputs("heap: the library does not take the counting functions\n", stderr);
    exit(1);
}

heap_use count_now(void) {
    return live;
}

heap_use count_since(heap_use earlier) {
    if (live.bytes < earlier.bytes || live.blocks < earlier.blocks) {
        fputs("heap: more was released than was made\n", stderr);
        exit(1);
    }
    return (heap_use){live.bytes - earlier.bytes, live.blocks - earlier.blocks};
}
