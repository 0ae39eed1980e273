/* SPDX-License-Identifier: MIT */
/*
 * What a storage module of Varnel exports, and how the daemon calls it.
 *
 * A module is a shared object that keeps settings somewhere: in memory, in a database, in read-only defaults. The
 * daemon opens it with backends_init (varnel/storage.h), which resolves the seven functions below under the names given
 * here, or under those that the "function" group of the backend's configuration maps them to. layers_init then makes a
 * copy of the backend for every layer that names it and calls module_init with each copy.
 *
 * Copies.   One backend copy in one layer is one store, independent of every other: state lies behind b->user_data,
 *           which belongs to the module and is all zero before module_init, never in variables of the module.
 * Settings. b->config has the backend's settings with the layer's laid over them, l->name the layer's name; both last
 *           until module_destroy. When module_init runs, the layer is still being filled: look at nothing else in it.
 * Keys.     An xkey names a group, or a value in a group when it has a name. Its layer is the one that the client asked
 *           for; a module does not look at it. Group and name are compared byte by byte up to their terminator.
 * Changes.  Setting and unsetting may keep a change in memory, where every reader sees it; module_sync brings it to the
 *           storage. The daemon calls that once for all changes of many clients before it answers them.
 * Results.  0, or a negative errno value (POSIX): -ENOENT no such group or value, -EINVAL a key, value or backend that
 *           makes no sense, -EROFS the store takes no changes, -EDQUOT the store holds as much as its settings allow,
 *           -ENOMEM, -EIO, -ENOSPC. Outputs change on success only.
 * Read-only The settings "readonly" of a backend and of a layer are the daemon's to obey (backend_check_readonly,
 *           layer_check_readonly): it does not call module_set_value and module_unset_value there. A module whose
 *           storage cannot be written answers -EROFS by itself.
 * Threads.  module_init and module_destroy are called by one thread, before and after everything else on that copy;
 *           the others by any thread, also at once on one copy.
 * Linking.  Link modules with -Wl,-z,nodelete: every copy that is released closes the shared handle once more. Export
 *           the entry points only. No exception leaves a module.
 */
#ifndef VARNEL_MODULE_H
#define VARNEL_MODULE_H

#include <varnel/storage.h>
#include <varnel/xdata.h>
#include <varnel/xkey.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Receives one entry of a listing: a group (value is NULL and key has no name) or a value. Both belong to the module
 * and are good for the call only. It may run under the module's lock, so it must not call the module. 0 goes on; any
 * other result ends the listing, which returns it. */
typedef int (*module_visit_t)(void *context, const xkey *key, const xdata *value);

/* The types to which the daemon casts the addresses that backend_get_function finds: "init", "destroy", "set", "unset",
 * "get", "list" and "sync". */
typedef int (*module_init_t)(backend *b, layer *l);
typedef int (*module_destroy_t)(backend *b, layer *l);
typedef int (*module_set_value_t)(backend *b, const xkey *key, const xdata *value);
typedef int (*module_unset_value_t)(backend *b, const xkey *key);
typedef int (*module_get_value_t)(backend *b, const xkey *key, xdata **value);
typedef int (*module_list_all_t)(backend *b, const xkey *key, module_visit_t visit, void *context);
typedef int (*module_sync_t)(backend *b, int wanted);

/* How safe a change is. The numbers travel on the wire: never change or reuse one. */
enum {
    DURABILITY_MEMORY = 0, /* in memory: it can be lost when the daemon or the device ends */
    DURABILITY_FILE = 1,   /* in a file whose content has been synced: it survives a loss of power */
    DURABILITY_FOLDER = 2  /* the same, and the folder that names the file has been synced, too */
};

#pragma GCC visibility push(default)

/* Opens the store of a copy and remembers it in b->user_data. The library ignores the result, so a store that could not
 * be opened must answer every later call: with -ENODEV, or with the reason. */
int module_init(backend *b, layer *l);

/* Writes out what is still to be written, closes the store and clears b->user_data. Nothing for a copy that has no
 * store. */
int module_destroy(backend *b, layer *l);

/* Stores a copy of value (types 1 to 8) under a key with a name, replacing an earlier value of any type; the group
 * comes into being with it. With a key without a name and a NULL value, makes an empty group: -EEXIST when it is
 * there. */
int module_set_value(backend *b, const xkey *key, const xdata *value);

/* Removes a value; its group stays, empty or not. With a key without a name, removes the group with all its values.
 * -ENOENT when there is no such value or group. */
int module_unset_value(backend *b, const xkey *key);

/* Stores a new copy of the value (xdata_free) in *value. With a key without a name, asks whether the group is there:
 * *value is then NULL. -ENOENT when there is no such value or group. */
int module_get_value(backend *b, const xkey *key, xdata **value);

/* Visits the groups in ascending order of their bytes, each followed by its values in ascending order. A NULL key, or
 * one without a group, lists everything; a key with a group that group alone (its name is not looked at): -ENOENT when
 * there is no such group. What other threads change meanwhile is seen wholly or not at all. */
int module_list_all(backend *b, const xkey *key, module_visit_t visit, void *context);

/* Returns when every change made before the call is at least as safe as wanted asks (DURABILITY_...), as far as the
 * storage can promise it, with the class that all changes have now: a store in memory answers DURABILITY_MEMORY
 * whatever is wanted. Changes between two calls reach the storage together: after a crash all of them are there or
 * none. A negative result leaves them in memory, seen by readers as before, for the next call to try again. */
int module_sync(backend *b, int wanted);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
