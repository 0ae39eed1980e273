/* SPDX-License-Identifier: MIT */
#include "api_test.h"

#include <varnel/hashmap.h>
#include <varnel/memory.h>

#include <errno.h>
#include <string.h>

static char one[] = "1", two[] = "2", three[] = "3";

/* a = 1, b = 2, c = 3 */
static hashmap *new_abc(void) {
    hashmap *map = hashmap_new(string_hash_func, string_compare_func);
    CHECK(map != NULL);
    CHECK(hashmap_put(map, "a", one) == 1 && hashmap_put(map, "b", two) == 1 && hashmap_put(map, "c", three) == 1);
    return map;
}

static void test_hash_functions(void) {
    CHECK(string_hash_func("") == 5381 && string_hash_func("a") == 5381u * 33 + 97);
    CHECK(string_hash_func("\xff") == 5381u * 33 - 1); /* bytes count as signed */
    CHECK(string_compare_func("a", "a") == 0 && string_compare_func("a", "b") < 0 && string_compare_func("b", "a") > 0);
    CHECK(trivial_hash_func(one) == (uint32_t)(uintptr_t)one);
    CHECK(trivial_compare_func(one, one) == 0);
    CHECK(trivial_compare_func(&one[0], &one[1]) == -1 && trivial_compare_func(&one[1], &one[0]) == 1);

    const uint64_t small = 5, large = UINT64_C(0x100000002);
    CHECK(uint64_hash_func(&small) == 5 && uint64_hash_func(&large) == 3);
    CHECK(uint64_compare_func(&small, &large) == -1 && uint64_compare_func(&large, &small) == 1);
    CHECK(uint64_compare_func(&small, &small) == 0);
    const uint32_t low = 7, high = UINT32_C(0x80000000);
    CHECK(uint32_hash_func(&high) == high);
    CHECK(uint32_compare_func(&low, &high) == -1 && uint32_compare_func(&high, &low) == 1);
    CHECK(uint32_compare_func(&low, &low) == 0);
}

static void test_put_and_get(void) {
    hashmap *map = new_abc();
    void *key = NULL;
    CHECK(hashmap_size(map) == 3 && hashmap_buckets(map) == HASHMAP_INLINE_BUCKETS && hashmap_isempty(map) == 0);
    CHECK(hashmap_put(map, "a", one) == 0 && hashmap_put(map, "a", two) == -EEXIST);
    CHECK(hashmap_get(map, "a") == one && hashmap_get(map, "x") == NULL && hashmap_get(map, NULL) == NULL);
    CHECK(hashmap_get2(map, "b", &key) == two && strcmp(key, "b") == 0);
    CHECK(hashmap_contains(map, "c") == 1 && hashmap_contains(map, "x") == 0 && hashmap_contains(NULL, "c") == 0);
    CHECK(hashmap_update(map, "a", three) == 0 && hashmap_get(map, "a") == three);
    CHECK(hashmap_update(map, "x", three) == -ENOENT);
    CHECK(hashmap_replace(map, "a", one) == 0 && hashmap_get(map, "a") == one);
    CHECK(hashmap_replace(map, "d", three) == 1 && hashmap_size(map) == 4);
    hashmap_free(map);
    hashmap_free(NULL);
}

static void test_remove(void) {
    hashmap *map = new_abc();
    void *key = NULL;
    CHECK(hashmap_remove_value(map, "a", two) == NULL && hashmap_remove_value(map, "a", one) == one);
    CHECK(hashmap_remove2(map, "b", &key) == two && strcmp(key, "b") == 0);
    CHECK(hashmap_remove(map, "c") == three && hashmap_remove(map, "c") == NULL);
    CHECK(hashmap_isempty(map) == 1);
    hashmap_free(map);

    map = new_abc();
    CHECK(hashmap_remove_and_put(map, "a", "x", one) == -EEXIST &&
          hashmap_remove_and_put(map, "x", "a", one) == -ENOENT);
    CHECK(hashmap_remove_and_put(map, "a", "b", one) == 0);
    CHECK(hashmap_size(map) == 3 && hashmap_get(map, "b") == one && hashmap_contains(map, "a") == 0);
    CHECK(hashmap_remove_and_replace(map, "x", "y", one) == -ENOENT);
    CHECK(hashmap_remove_and_replace(map, "c", "b", three) == 0 && hashmap_size(map) == 2);
    hashmap_free(map);
}

/* Clearing; the variants that free own their values and keys. */
static void test_free(void) {
    hashmap *map = new_abc();
    hashmap_clear(map);
    CHECK(hashmap_isempty(map) == 1 && hashmap_put(map, "a", one) == 1);
    hashmap_free(map);

    map = hashmap_new(string_hash_func, string_compare_func);
    CHECK(hashmap_put(map, "a", xstrdup("1")) == 1 && hashmap_put(map, "b", NULL) == 1);
    hashmap_clear_free(map);
    CHECK(hashmap_size(map) == 1 && hashmap_contains(map, "b") == 1); /* stops at the NULL value */
    CHECK(hashmap_remove(map, "b") == NULL && hashmap_put(map, "a", xstrdup("1")) == 1);
    hashmap_free_free(map);

    map = hashmap_new(string_hash_func, string_compare_func);
    CHECK(hashmap_put(map, xstrdup("a"), xstrdup("1")) == 1);
    hashmap_clear_free_free(map);
    CHECK(hashmap_isempty(map) == 1 && hashmap_put(map, xstrdup("b"), xstrdup("2")) == 1);
    hashmap_free_free_free(map);
}

void test_hashmap(void) {
    test_hash_functions();
    test_put_and_get();
    test_remove();
    test_free();

    hashmap *map = NULL;
    CHECK(hashmap_ensure_allocated(&map, NULL, NULL) == 0 && map != NULL && map->hash_fn == trivial_hash_func);
    hashmap *const made = map;
    CHECK(hashmap_ensure_allocated(&map, NULL, NULL) == 0 && map == made);
    static char keys[25];
    for (int i = 0; i < 25; ++i)
        CHECK(hashmap_put(map, &keys[i], one) == 1);
    CHECK(hashmap_buckets(map) == 99);
    hashmap_free(map);
}

static void test_iteration(void) {
    hashmap *map = new_abc();
    uintptr_t token = HASHMAP_ITERATE_START;
    void *key = NULL;
    CHECK(hashmap_iterate(map, &token, &key) == one && strcmp(key, "a") == 0);
    CHECK(hashmap_iterate(map, &token, NULL) == two && hashmap_iterate(map, &token, NULL) == three);
    CHECK(hashmap_iterate(map, &token, &key) == NULL && key == NULL && token == HASHMAP_ITERATE_END);
    CHECK(hashmap_iterate_backwards(map, &token, &key) == three && strcmp(key, "c") == 0);
    CHECK(hashmap_iterate_skip(map, "x", &token) == NULL && hashmap_iterate_skip(map, "b", &token) == two);
    CHECK(hashmap_iterate(map, &token, NULL) == two && hashmap_iterate(map, &token, NULL) == three);

    CHECK(hashmap_first(map) == one && strcmp(hashmap_first_key(map), "a") == 0 && hashmap_last(map) == three);
    CHECK(hashmap_next(map, "a") == two && hashmap_next(map, "c") == NULL);
    void **values = hashmap_get_strv(map);
    CHECK(values != NULL && values[0] == one && values[1] == two && values[2] == three && values[3] == NULL);
    _xfree(values);
    CHECK(hashmap_steal_first(map) == one && strcmp(hashmap_steal_first_key(map), "b") == 0 && hashmap_size(map) == 1);
    hashmap_free(map);
}

static void test_two_maps(void) {
    hashmap *map = new_abc();
    hashmap *other = hashmap_copy(map);
    CHECK(other != NULL && hashmap_size(other) == 3 && hashmap_get(other, "c") == three && hashmap_copy(NULL) == NULL);
    CHECK(hashmap_remove(map, "b") == two && hashmap_update(map, "a", two) == 0);
    CHECK(hashmap_merge(map, other) == 0 && hashmap_size(map) == 3 && hashmap_get(map, "a") == two);
    CHECK(hashmap_put(other, "d", one) == 1);
    hashmap_move(map, other);
    CHECK(hashmap_size(map) == 4 && hashmap_size(other) == 3 && hashmap_get(map, "d") == one);
    CHECK(hashmap_move_one(map, other, "a") == -EEXIST && hashmap_move_one(map, other, "x") == -ENOENT);
    CHECK(hashmap_remove(map, "a") == two && hashmap_move_one(map, other, "a") == 0 && hashmap_get(map, "a") == one);
    CHECK(hashmap_size(other) == 2);
    hashmap_free(map);
    hashmap_free(other);
}

void test_hashmap_order(void) {
    test_iteration();
    test_two_maps();
}
