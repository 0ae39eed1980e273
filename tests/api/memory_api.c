/* SPDX-License-Identifier: MIT */
#include "api_test.h"

#include <varnel/memory.h>

#include <errno.h>
#include <stdlib.h>
#include <string.h>

/* An allocator that counts its calls. */
static struct { int allocate, reallocate, allocate_zeroed, release; } calls;

static void *counting_allocate(size_t size) {
    ++calls.allocate;
    return malloc(size);
}

static void *counting_reallocate(void *block, size_t size) {
    ++calls.reallocate;
    return realloc(block, size);
}

static void *counting_allocate_zeroed(size_t count, size_t size) {
    ++calls.allocate_zeroed;
    return calloc(count, size);
}

static void counting_release(void *block) {
    ++calls.release;
    free(block);
}

static int is_zero(const void *block, size_t size) {
    const unsigned char *bytes = block;
    for (size_t i = 0; i < size; ++i) {
        if (bytes[i] != 0)
            return 0;
    }
    return 1;
}

static void test_blocks(void) {
    char *block = xmalloc(8);
    CHECK(block != NULL);
    memset(block, 1, 8);
    block = xrealloc(block, 64);
    CHECK(block != NULL && block[7] == 1);
    errno = EDOM;
    _xfree(block);
    _xfree(NULL);
    CHECK(errno == EDOM);

    char *zeroed = xmalloc0(40);
    CHECK(is_zero(zeroed, 40));
    _xfree(zeroed);
    int *array = xcalloc(10, sizeof *array);
    CHECK(array != NULL && is_zero(array, 10 * sizeof *array));
    _xfree(array);
}

static void test_growing(void) {
    void *block = NULL;
    size_t capacity = 0;
    CHECK(greedy_realloc(&block, &capacity, 10) == block && block != NULL && capacity == 512);
    void *const kept = block;
    CHECK(greedy_realloc(&block, &capacity, 512) == kept && capacity == 512);
    CHECK(greedy_realloc(&block, &capacity, 600) == block && capacity == 1200);
    _xfree(block);

    char *small = xmalloc0(8);
    memcpy(small, "12345678", 8);
    char *doubled = x_mem_double(small, 8);
    CHECK(memcmp(doubled, "12345678", 8) == 0 && is_zero(doubled + 8, 8));
    _xfree(doubled);
}

static void test_replacing(void) {
    CHECK(x_replace_allocator(counting_allocate, counting_reallocate, NULL, counting_release) == -EINVAL);
    _xfree(xmalloc(1));
    CHECK(calls.allocate == 0 && calls.release == 0);

    CHECK(x_replace_allocator(counting_allocate, counting_reallocate, counting_allocate_zeroed, counting_release) == 0);
    _xfree(xmalloc(1));
    _xfree(xmalloc0(1));
    _xfree(xcalloc(1, 1));
    _xfree(xrealloc(NULL, 1));
    CHECK(calls.allocate == 2 && calls.allocate_zeroed == 1 && calls.reallocate == 1 && calls.release == 4);
    CHECK(x_replace_allocator(malloc, realloc, calloc, free) == 0);
}

void test_memory(void) {
    test_blocks();
    test_growing();
    test_replacing();
    const size_t size = page_size();
    CHECK(size >= 512 && (size & (size - 1)) == 0 && page_size() == size);
}

static void check_text(char *text, const char *expected) {
    CHECK(text != NULL && strcmp(text, expected) == 0);
    _xfree(text);
}

static void test_copies(void) {
    check_text(xstrdup("text"), "text");
    check_text(xstrndup("abcdef", 3), "abc");
    check_text(xstrlwc("AbC"), "abc");
    char *padded = xstrndup("ab", 5);
    CHECK(strcmp(padded, "ab") == 0 && is_zero(padded + 2, 4));
    _xfree(padded);
    CHECK(xstrdup(NULL) == NULL && xstrndup(NULL, 3) == NULL);
    CHECK(xstrlwc(NULL) == NULL && xstrlwc("") == NULL);
}

void test_strings(void) {
    test_copies();
    char buffer[4] = {'?', '?', '?', '?'};
    CHECK(xstrcpy(buffer, sizeof buffer, "abcdef") == buffer && memcmp(buffer, "abc?", 4) == 0);
    CHECK(xstrncpy(buffer, "xyz", 3) == buffer && memcmp(buffer, "xyz?", 4) == 0);
    CHECK(xstrcpy(NULL, 4, "a") == NULL && xstrcpy(buffer, 4, NULL) == NULL);
    CHECK(xstrncpy(NULL, "a", 1) == NULL && xstrncpy(buffer, NULL, 1) == NULL && xstrncpy(buffer, "a", 0) == NULL);
    CHECK(xstrlen("hello") == 5 && xstrlen(NULL) == 0);
    CHECK(xstrlen_max("hello", 3) == 3 && xstrlen_max("hello", 9) == 5 && xstrlen_max(NULL, 3) == 0);
}
