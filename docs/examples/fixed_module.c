/* SPDX-License-Identifier: MIT */
/* fixed.so: a storage module whose settings are compiled in, and which takes no changes. */
#include "module.h"
#include <errno.h>
#include <string.h>

/* In ascending order; a group is a row without a name, in front of its values. */
static const struct setting { const char *group, *name; xdata value; } settings[] = {
    {"clock", "", {0}}, {"clock", "offset", {XDATA_UINT64, {.u64 = 3}}}, {"empty", "", {0}},
    {"network", "", {0}}, {"network", "host", {XDATA_STRING, {.s = {"device", sizeof "device"}}}},
    {"network", "port", {XDATA_INT32, {.i32 = 8080}}}, {NULL, NULL, {0}}};

static int is(const char *text, const xstring *part) {
    return strcmp(text, part->str != NULL ? part->str : "") == 0;
}

static int check(const backend *b, int makes_sense, int good) { /* the first step of every call on a copy */
    return b == NULL || !makes_sense ? -EINVAL : b->user_data[0] == NULL ? -ENODEV : good;
}

int module_init(backend *b, layer *l) {
    if (check(b, l != NULL, 0) != -ENODEV) return -EINVAL;
    b->user_data[0] = l->name; /* all that a copy has of its own here; good until module_destroy */
    return 0;
}

int module_destroy(backend *b, layer *l) {
    (void)l;
    if (b == NULL) return -EINVAL;
    b->user_data[0] = NULL;
    return 0;
}

int module_sync(backend *b, int wanted) { return check(b, wanted >= 0, DURABILITY_FOLDER); /* nothing can be lost */ }
int module_unset_value(backend *b, const xkey *k) { return check(b, k != NULL && !is("", &k->group), -EROFS); }
int module_set_value(backend *b, const xkey *k, const xdata *v) { (void)v; return module_unset_value(b, k); }

int module_get_value(backend *b, const xkey *key, xdata **value) {
    int result = check(b, value != NULL && key != NULL && !is("", &key->group), -ENOENT);
    for (const struct setting *s = settings; result == -ENOENT && s->group != NULL; ++s)
        if (is(s->group, &key->group) && is(s->name, &key->name)) {
            *value = xdata_dup(&s->value); /* NULL for a group */
            result = 0;
        }
    return result;
}

int module_list_all(backend *b, const xkey *key, module_visit_t visit, void *context) {
    const int all = key == NULL || is("", &key->group);
    int found = all;
    int result = check(b, visit != NULL, 0);
    for (const struct setting *s = settings; result == 0 && s->group != NULL; ++s) {
        if (!all && !is(s->group, &key->group)) continue;
        xkey *const entry = xkey_new(b->user_data[0], s->group, *s->name != '\0' ? s->name : NULL);
        result = visit(context, entry, *s->name != '\0' ? &s->value : NULL);
        xkey_free(entry);
        found = 1;
    }
    return result == 0 && !found ? -ENOENT : result;
}
