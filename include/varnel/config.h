/* SPDX-License-Identifier: MIT */
/*
 * Configuration: the settings tree (xdictionary), the loader of the store's configuration file, and typed look-ups.
 * docs/configuration.md has the file's grammar.
 *
 * Threads: nothing locks; a tree that may change has one user at a time.
 * Memory:  records come from the library's allocator (memory.h).
 */
#ifndef VARNEL_CONFIG_H
#define VARNEL_CONFIG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Types of an entry. Readers that look for a group test for exactly XDICTIONARY_GROUP; freeing and copying take every
 * non-zero type for one. */
enum { XDICTIONARY_STRING = 0, XDICTIONARY_GROUP = 1 };

/* Fewest slots of a dictionary. */
#define XDICTIONARY_MIN_SIZE 128

/* A tree of settings: slots that hold a key and an owned string or a nested dictionary. A slot is occupied exactly when
 * its key is not NULL; removed slots leave holes. ref_count counts the owners beyond the first. */
typedef struct xdictionary xdictionary;
struct xdictionary {
    uint32_t ref_count;
    uint32_t count; /* occupied slots */
    uint32_t size;  /* slots */
    void **values;
    char **keys;
    uint32_t *hashes;
    uint32_t *types;
    xdictionary *parent; /* the enclosing dictionary, NULL at the root */
};

/* A new empty dictionary of size slots, at least 128. Aborts when the record cannot be had; one whose slots could not
 * be had holds nothing and refuses every entry. */
xdictionary *xdictionary_new(uint32_t size);

/* Drops one owner; the last one releases the keys, the strings and, in the same way, the nested dictionaries. NULL is
 * ignored. */
void xdictionary_del(xdictionary *d);

/* The value of a key: a string or a nested dictionary, still the dictionary's own, with its type in *type (which may be
 * NULL). NULL, with *type untouched, when there is none. Keys are matched exactly, in case too; the loader's are lower
 * case. */
void *xdictionary_get(const xdictionary *d, const char *key, uint32_t *type);

/* Stores a value under a key, replacing an earlier one in place. Type 0: value is a string (or NULL) and is copied. Any
 * other type: value is a dictionary, stored by pointer: under a new key it is taken over; over an existing key it gains
 * an owner, so the caller still has to drop its own. 0, or -1 for a NULL dictionary or key and for a full dictionary
 * that cannot grow. */
int xdictionary_set(xdictionary *d, const char *key, const void *value, uint32_t type);

/* Removes a key and releases its value. */
void xdictionary_unset(xdictionary *d, const char *key);

/* A new deep copy, or NULL for NULL. */
xdictionary *xdictionary_dup(const xdictionary *d);

/* Sets every entry of source (which may be NULL) in destination (made when NULL) and returns the destination. Source
 * wins; a nested group replaces the destination's whole and is shared with source by pointer. A group that lands on a
 * new key then stands in both trees with no count of the second: delete only one of them. */
xdictionary *xdictionary_merge(xdictionary *destination, const xdictionary *source);

/* Prints the tree to standard output, a line an entry, indented by 4 * indent spaces and more inside groups. Recurses
 * once a level: not for trees that are nested thousands deep. */
void xdictionary_out(const xdictionary *d, int indent);

/* Loads a configuration file into a new tree (xdictionary_del). NULL when path is NULL, the file cannot be opened or a
 * line, continuations joined, has 1025 characters or more (logged). A syntax error is logged with file and line and
 * ends the process with abort(3): the store cannot run on half a configuration. A group that is defined twice in one
 * place keeps one owner too many and outlives the tree. */
xdictionary *configurator_load(const char *path);

/* Look up a path of names separated by ":", every name but the last a group, such as "user:net:port". Names of groups
 * have at most 1023 characters; a longer last name is cut.
 *   getdic      the group there, or NULL
 *   getstring   the string there (the tree's own), or fallback
 *   getint      strtol (ISO C) in base 0 of the string, kept within int; no digits give 0; fallback without a string
 *   getdouble   atof (ISO C) of the string; fallback without a string
 *   getboolean  1 for a first character of y, Y, 1, t, T; 0 for n, N, 0, f, F; fallback otherwise */
xdictionary *confparser_getdic(const xdictionary *d, const char *path);
const char *confparser_getstring(const xdictionary *d, const char *path, const char *fallback);
int confparser_getint(const xdictionary *d, const char *path, int fallback);
double confparser_getdouble(const xdictionary *d, const char *path, double fallback);
unsigned char confparser_getboolean(const xdictionary *d, const char *path, unsigned char fallback);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
