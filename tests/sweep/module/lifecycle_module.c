/* SPDX-License-Identifier: MIT */
/*
 * The smallest storage module: it stores nothing, and counts the calls of module_init and module_destroy in the first
 * two words of the backend's user_data.
 */
#include <varnel/storage.h>

#include <errno.h>
#include <stdint.h>

static void *count_one_more(void *count) {
    return (void *)((uintptr_t)count + 1);
}

__attribute__((visibility("default"))) int module_init(backend *b, layer *l);
__attribute__((visibility("default"))) int module_destroy(backend *b, layer *l);
__attribute__((visibility("default"))) int module_set_value(void);
__attribute__((visibility("default"))) int module_unset_value(void);
__attribute__((visibility("default"))) int module_get_value(void);
__attribute__((visibility("default"))) int module_list_all(void);
__attribute__((visibility("default"))) int module_sync(void);

int module_init(backend *b, layer *l) {
    (void)l;
    b->user_data[0] = count_one_more(b->user_data[0]);
    return 0;
}

int module_destroy(backend *b, layer *l) {
    (void)l;
    b->user_data[1] = count_one_more(b->user_data[1]);
    return 0;
}

int module_set_value(void) {
    return -EROFS;
}

int module_unset_value(void) {
    return -EROFS;
}

int module_get_value(void) {
    return -ENOENT;
}

int module_list_all(void) {
    return 0;
}

int module_sync(void) {
    return 0;
}
