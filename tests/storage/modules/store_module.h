/* SPDX-License-Identifier: MIT */
/*
 * What the tests' storage modules offer beside their entry points.
 */
#ifndef VARNEL_TESTS_STORE_MODULE_H
#define VARNEL_TESTS_STORE_MODULE_H

#include <varnel/storage.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Hears of every call of "init" or "destroy", under the name of the function that was called. */
typedef void (*store_observer_t)(const char *function, backend *b, layer *l);

/* Type of module_observe, which sets a module's observer; NULL: none. */
typedef void (*store_observe_t)(store_observer_t observer);

/* Type of the other entry points: each returns its own number. */
typedef int (*store_entry_t)(void);
enum { STORE_SET = 3, STORE_UNSET, STORE_GET, STORE_LIST, STORE_SYNC, STORE_MY_GET, STORE_MY_DUMP };

#ifdef __cplusplus
}
#endif

#endif
