// SPDX-License-Identifier: MIT
// Making backends and their entry points.
#pragma once

#include <varnel/storage.h>

namespace varnel {

// Fills b, or a new record when b is NULL, with a new function table that holds the default entry points, not yet
// resolved, and with a copy of name when one is given.
backend *backend_new(backend *b, const char *name);

// Gives function, or a new one when it is NULL, a copy of symbol, and address unless that is NULL. NULL, with nothing
// done, when symbol is NULL.
backend_function *backend_function_set(backend_function *function, const char *symbol, backend_address_t address);

// Puts a new entry into a map of start-up, under a copy of key. Ends the process when memory is short. False, with
// nothing kept, when the key is there already.
bool put_copy_of_key(hashmap *map, const char *key, void *value);

} // namespace varnel
