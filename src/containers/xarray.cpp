// SPDX-License-Identifier: MIT
#include <varnel/collections.h>

#include "base/block.h"
#include "base/layout.h"
#include "base/log.h"

using namespace varnel;

VARNEL_OFFSET32(xarray, count, 4);
VARNEL_SIZE32(xarray, 8);

xarray *xarray_new() {
    return require(new_record<xarray>(), "xarray_new: xmalloc0 error.\n");
}

// The array keeps no capacity, so every add reallocates. A failed growth loses the block, but not the count: the lost
// items read as NULL from then on.
int xarray_add(xarray *array, void *item) {
    if (array == nullptr || item == nullptr)
        return 0;
    size_t size = size_t{array->count} * sizeof(void *);
    if (array->items == nullptr) {
        void *const first = xmalloc0(size != 0 ? size : sizeof(void *));
        array->items = static_cast<void **>(require(first, "xarray_add: xmalloc0 error.\n"));
    }
    if (array->count == UINT16_MAX)
        return 0;
    void *block = array->items;
    array->items = static_cast<void **>(greedy_realloc(&block, &size, size + sizeof(void *)));
    if (array->items == nullptr)
        return 0;
    array->items[array->count++] = item;
    return 1;
}

void *xarray_get(const xarray *array, uint16_t index) {
    if (array == nullptr || array->items == nullptr || index >= array->count)
        return nullptr;
    return array->items[index];
}

void xarray_free(xarray **array, xarray_free_t free_fn) {
    if (array == nullptr || *array == nullptr)
        return;
    for (uint16_t i = 0; free_fn != nullptr && i < (*array)->count; ++i)
        if (void *const item = xarray_get(*array, i))
            free_fn(item);
    _xfree((*array)->items);
    _xfree(*array);
    *array = nullptr;
}
