/* SPDX-License-Identifier: MIT */
/*
 * A storage module that stores nothing and tells an observer of its life. Built in several variants:
 *   WITHOUT_SYNC  no module_sync
 *   WITH_EXTRAS   my_init, my_get and my_dump beside the usual entry points
 * and with entry points renamed by definitions.
 */
#include "store_module.h"

#include <stddef.h>

static store_observer_t observe;

void module_observe(store_observer_t observer);
int module_init(backend *b, layer *l);
int module_destroy(backend *b, layer *l);
int module_set_value(void);
int module_unset_value(void);
int module_get_value(void);
int module_list_all(void);

static void report(const char *function, backend *b, layer *l) {
    if (observe != NULL)
        observe(function, b, l);
}

void module_observe(store_observer_t observer) {
    observe = observer;
}

/* Fails, which nobody asks about. */
int module_init(backend *b, layer *l) {
    report("module_init", b, l);
    return -1;
}

int module_destroy(backend *b, layer *l) {
    report("module_destroy", b, l);
    return -1;
}

int module_set_value(void) {
    return STORE_SET;
}

int module_unset_value(void) {
    return STORE_UNSET;
}

int module_get_value(void) {
    return STORE_GET;
}

int module_list_all(void) {
    return STORE_LIST;
}

#ifndef WITHOUT_SYNC
int module_sync(void);

int module_sync(void) {
    return STORE_SYNC;
}
#endif

#ifdef WITH_EXTRAS
int my_init(backend *b, layer *l);
int my_get(void);
int my_dump(void);

int my_init(backend *b, layer *l) {
    report("my_init", b, l);
    return 0;
}

int my_get(void) {
    return STORE_MY_GET;
}

int my_dump(void) {
    return STORE_MY_DUMP;
}
#endif
