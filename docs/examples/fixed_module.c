/* SPDX-License-Identifier: MIT */
/* fixed.so: a storage module whose settings are compiled in, and which takes no changes. */
#include "module.h"
#include <errno.h>
#include <string.h>
#include <varnel/memory.h>

/* In ascending order; a group is a row without a name, in front of its values. */
static const struct setting {
    const char *group, *name;
    xdata value;
} settings[] = {{"clock", "", {.type = 0}},
                {"clock", "offset", {XDATA_UINT64, {.u64 = 3}}},
                {"empty", "", {.type = 0}},
                {"network", "", {.type = 0}},
                {"network", "host", {XDATA_STRING, {.s = {"device", sizeof "device"}}}},
                {"network", "port", {XDATA_INT32, {.i32 = 8080}}}};
static const struct setting *const behind = settings + sizeof settings / sizeof *settings;

static int is(const char *text, const xstring *part) {
    return strcmp(text, part->str != NULL ? part->str : "") == 0;
}

/* The first step of every call on a copy. */
static int check(const backend *b, int makes_sense) {
    if (b == NULL || !makes_sense)
        return -EINVAL;
    return b->user_data[0] != NULL ? 0 : -ENODEV;
}

int module_init(backend *b, layer *l) {
    if (check(b, l != NULL) != -ENODEV)
        return -EINVAL;
    b->user_data[0] = xstrdup(l->name); /* all that a copy has of its own here */
    return 0;
}

int module_destroy(backend *b, layer *l) {
    (void)l;
    if (b == NULL)
        return -EINVAL;
    _xfree(b->user_data[0]);
    b->user_data[0] = NULL;
    return 0;
}

int module_sync(backend *b, int wanted) {
    (void)wanted;
    const int result = check(b, 1);
    return result == 0 ? DURABILITY_FOLDER : result; /* nothing here can be lost */
}

int module_unset_value(backend *b, const xkey *key) {
    const int result = check(b, key != NULL && !is("", &key->group));
    return result == 0 ? -EROFS : result;
}

int module_set_value(backend *b, const xkey *key, const xdata *value) {
    (void)value;
    return module_unset_value(b, key);
}

int module_get_value(backend *b, const xkey *key, xdata **value) {
    const int result = check(b, value != NULL && key != NULL && !is("", &key->group));
    for (const struct setting *s = settings; result == 0 && s < behind; ++s) {
        if (is(s->group, &key->group) && is(s->name, &key->name)) {
            *value = xdata_dup(&s->value); /* NULL for a group */
            return 0;
        }
    }
    return result == 0 ? -ENOENT : result;
}

int module_list_all(backend *b, const xkey *key, module_visit_t visit, void *context) {
    const int all = key == NULL || is("", &key->group);
    int result = check(b, visit != NULL);
    int found = all;
    for (const struct setting *s = settings; result == 0 && s < behind; ++s) {
        if (!all && !is(s->group, &key->group))
            continue;
        xkey *const entry = xkey_new(b->user_data[0], s->group, *s->name != '\0' ? s->name : NULL);
        result = visit(context, entry, *s->name != '\0' ? &s->value : NULL);
        xkey_free(entry);
        found = 1;
    }
    return result == 0 && !found ? -ENOENT : result;
}
