/* SPDX-License-Identifier: MIT */
#include "api_test.h"

#include <varnel/collections.h>
#include <varnel/memory.h>

#include <stddef.h>

static int items[4];
static unsigned released;

static void count_release(void *item) {
    CHECK(item == &items[released]);
    ++released;
}

static void test_array(void) {
    xarray *array = xarray_new();
    CHECK(array->items == NULL && array->count == 0);
    CHECK(xarray_add(array, &items[0]) == 1 && xarray_add(array, &items[1]) == 1);
    CHECK(xarray_add(array, NULL) == 0 && xarray_add(NULL, &items[0]) == 0 && array->count == 2);
    CHECK(xarray_get(array, 1) == &items[1] && xarray_get(array, 2) == NULL && xarray_get(NULL, 0) == NULL);
    xarray_free(&array, count_release);
    CHECK(array == NULL && released == 2);
    xarray_free(&array, NULL);
    xarray_free(NULL, NULL);
}

static void test_list(void) {
    xlist *list = NULL;
    CHECK(xlist_append(&list, &items[1]) == 1 && xlist_append(&list, &items[2]) == 1);
    CHECK(xlist_prepend(&list, &items[0]) == 1 && xlist_append(NULL, items) == 0 && xlist_prepend(NULL, items) == 0);
    CHECK(list->data == &items[0] && list->count == 3 && list->tail->data == &items[2]);

    xlist *more = NULL;
    CHECK(xlist_append(&more, &items[3]) == 1);
    xlist_merge(&list, more);
    CHECK(list->count == 4 && list->tail == more);
    CHECK(xlist_remove(&list, &items[3], 0) == 1 && xlist_remove(&list, &items[3], 0) == 0);
    CHECK(list->count == 3 && list->tail->data == &items[2]);
    xlist_free(&list);
    CHECK(list == NULL);

    CHECK(xlist_append(&list, xstrdup("owned")) == 1 && xlist_append(&list, xstrdup("too")) == 1);
    CHECK(xlist_remove(&list, list->data, 1) == 1 && list->count == 1);
    xlist_free_all(&list);
    CHECK(list == NULL);
}

void test_collections(void) {
    test_array();
    test_list();
}
