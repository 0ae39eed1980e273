/* SPDX-License-Identifier: MIT */
#include "api_test.h"

#include <varnel/memory.h>
#include <varnel/xdata.h>
#include <varnel/xkey.h>

#include <stdlib.h>
#include <string.h>

static void check_value_text(xdata *x, const char *expected) {
    char *text = xdata_value_as_char(x);
    CHECK(text != NULL && strcmp(text, expected) == 0);
    _xfree(text);
}

/* The same value by xdata_new and by its setter. */
static void check_pair(xdata_type type, const void *native, xdata *set, const char *text) {
    xdata *made = xdata_new(type, native);
    CHECK(made != NULL && made->type == type && set->type == type);
    CHECK(xdata_cmp(made, set) == 0);
    check_value_text(made, text);
    check_value_text(set, text);
    xdata_free(made);
}

static void test_scalars(void) {
    xdata x = {0};
    const int32_t i32 = -5;
    xdata_set_int32(&x, i32);
    check_pair(XDATA_INT32, &i32, &x, "-5");
    const uint32_t u32 = UINT32_MAX;
    xdata_set_uint32(&x, u32);
    check_pair(XDATA_UINT32, &u32, &x, "4294967295");
    const int64_t i64 = INT64_MIN;
    xdata_set_int64(&x, i64);
    check_pair(XDATA_INT64, &i64, &x, "-9223372036854775808");
    const uint64_t u64 = UINT64_MAX;
    xdata_set_uint64(&x, u64);
    check_pair(XDATA_UINT64, &u64, &x, "18446744073709551615");
    const float f = 0.5F;
    xdata_set_float(&x, f);
    check_pair(XDATA_FLOAT, &f, &x, "0.500000");
    const double d = -0.25;
    xdata_set_double(&x, d);
    check_pair(XDATA_DOUBLE, &d, &x, "-0.250000");
    xdata_set_boolean(&x, 7); /* stored as a double */
    CHECK(x.type == XDATA_BOOLEAN && x.value.d == 1);
    const uint8_t yes = 1;
    xdata *made = xdata_new(XDATA_BOOLEAN, &yes);
    check_value_text(made, "true");
    xdata_free(made);
    CHECK(xdata_new(0, &yes) == NULL && xdata_new(XDATA_TYPE_END + 1, &yes) == NULL);
    CHECK(xdata_value_as_char(NULL) == NULL);
}

static void test_string_values(void) {
    xdata *made = xdata_new(XDATA_STRING, "text");
    xdata *from_text = xdata_char("text");
    CHECK(from_text->value.s.len == 5 && xdata_cmp(made, from_text) == 0 && xdata_char(NULL) == NULL);
    xdata set = {0};
    char text[] = "text";
    xdata_set_string(&set, text, sizeof text);
    CHECK(set.value.s.str == text && xdata_cmp(&set, made) == 0);
    check_value_text(&set, "text");

    xdata *duplicate = xdata_dup(made);
    CHECK(duplicate != NULL && duplicate->value.s.str != made->value.s.str && xdata_cmp(duplicate, made) == 0);
    xdata copy = {0};
    CHECK(xdata_copy(&copy, made) == &copy && xdata_cmp(&copy, made) == 0 && xdata_copy(NULL, made) == NULL);
    CHECK(xdata_cmp(made, NULL) == XDATA_STRING && xdata_cmp(NULL, NULL) == 0);
    xdata_out(made);
    CHECK_LOG("D xdata: string = text\n");
    _xfree(copy.value.s.str);
    xdata_free(duplicate);
    xdata_free(from_text);
    xdata_free(made);
    xdata_free(NULL);
}

/* xdata_string loses one small record a call: an allocator that remembers the blocks takes it back. */
static void *blocks[4];
static size_t block_count;

static void *remember(size_t size) {
    CHECK(block_count < sizeof blocks / sizeof blocks[0]);
    return blocks[block_count++] = malloc(size);
}

static void forget(void *block) {
    for (size_t i = 0; i < block_count; ++i) {
        if (blocks[i] == block)
            blocks[i] = NULL;
    }
    free(block);
}

static void test_string_from_string(void) {
    char text[] = "text";
    const xstring source = {text, 5};
    CHECK(xdata_string(NULL) == NULL);
    CHECK(x_replace_allocator(remember, realloc, calloc, forget) == 0);
    xdata *x = xdata_string(&source);
    CHECK(x->type == XDATA_STRING && x->value.s.len == 5 && strcmp(x->value.s.str, "text") == 0);
    xdata_free(x);
    CHECK(x_replace_allocator(malloc, realloc, calloc, free) == 0);
    unsigned lost = 0;
    for (size_t i = 0; i < block_count; ++i) {
        lost += blocks[i] != NULL;
        free(blocks[i]);
    }
    CHECK(lost == 1);
}

static void test_counted_strings(void) {
    char text[] = "Text";
    const xstring source = {text, 5};
    xstring *duplicate = xstring_dup(&source);
    CHECK(duplicate->len == 5 && strcmp(duplicate->str, "Text") == 0 && xstring_dup(NULL) == NULL);
    xstring copy = {0};
    CHECK(xstring_copy(&copy, &source) == &copy && copy.len == 5 && xstring_copy(NULL, &source) == NULL);
    CHECK(xstring_compare(&copy, duplicate, 0) == 0);
    copy.str[0] = 't';
    CHECK(xstring_compare(&copy, duplicate, 0) > 0 && xstring_compare(&copy, duplicate, 1) == 0);
    const xstring empty = {text, 0};
    CHECK(xstring_isempty(NULL) == 1 && xstring_isempty(&empty) == 1 && xstring_isempty(&source) == 0);
    _xfree(copy.str);
    xstring_free(duplicate);
    xstring_free(NULL);
}

void test_xdata(void) {
    test_scalars();
    test_string_values();
    test_string_from_string();
    test_counted_strings();
    CHECK(strcmp(xdata_type_as_char(XDATA_UINT64), "uint64_t") == 0);
    CHECK(strcmp(xdata_type_as_char(XDATA_TYPE_END), "[unknown]") == 0);
}

static void check_part(char *text, const char *expected) {
    CHECK(text != NULL && strcmp(text, expected) == 0);
    _xfree(text);
}

static void test_keys(void) {
    xkey *key = xkey_new("user", "net", "port");
    check_part(xkey_get_layer(key), "user");
    check_part(xkey_get_group(key), "net");
    check_part(xkey_get_name(key), "port");
    check_part(xkey_to_string(key), "user:net:port");
    CHECK(xkey_get_layer(NULL) == NULL && xkey_get_group(NULL) == NULL && xkey_get_name(NULL) == NULL);

    xkey *duplicate = xkey_dup(key);
    CHECK(xkey_cmp(key, duplicate) == 0 && xkey_cmp(key, NULL) == 0 && xkey_dup(NULL) == NULL);
    xkey copy = {0};
    CHECK(xkey_copy(&copy, key) == &copy && xkey_cmp(&copy, key) == 0);
    _xfree(copy.name.str);
    xkey group = {0};
    CHECK(xkey_copy_group(&group, key) == &group && group.name.str == NULL && xkey_cmp(&group, key) != 0);
    xkey_out(&group);
    CHECK_LOG("D xkey: user:net:NULL\n");
    _xfree(copy.layer.str);
    _xfree(copy.group.str);
    _xfree(group.layer.str);
    _xfree(group.group.str);
    xkey_free(duplicate);
    xkey_free(key);
    xkey_free(NULL);
}

static void release_user_data(void *user_data) {
    ++*(int *)user_data;
}

static void test_pairs(void) {
    int releases = 0;
    xpair *pair = xpair_new(xkey_new(NULL, NULL, "name"), xdata_char("value"), &releases);
    CHECK(pair->key != NULL && pair->value != NULL && pair->user_data == &releases);
    xpair_out(pair);
    CHECK_LOG("D xpair ------\n"
              "D xkey: default:default:name\n"
              "D xdata: string = value\n"
              "D ------------\n");
    xpair_free(pair, release_user_data);
    CHECK(releases == 1);
    xpair_basefree(xpair_new(NULL, NULL, &releases));
    CHECK(releases == 1);
    xpair_free(NULL, release_user_data);
    xpair_basefree(NULL);
}

void test_xkey(void) {
    test_keys();
    test_pairs();
}
