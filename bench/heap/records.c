/* SPDX-License-Identifier: MIT */
/* What records take, each made on its own. */
#include "rows.h"

#include <varnel/varnel.h>

#include <stdio.h>
#include <string.h>

static void count_value(xdata_type type, const void *value) {
    const heap_use before = count_now();
    xdata *const x = xdata_new(type, value);
    require_that(x != NULL, "xdata_new");
    char title[64];
    snprintf(title, sizeof title, "xdata, %s%s", xdata_type_as_char(type),
             type == XDATA_STRING ? " of 16 characters" : "");
    print_row(title, count_since(before));
    xdata_free(x);
}

static void count_values(void) {
    const uint64_t zero = 0; /* as wide as the widest value */
    count_value(XDATA_STRING, "sixteen letters.");
    for (xdata_type type = XDATA_INT32; type <= XDATA_BOOLEAN; ++type)
        count_value(type, &zero);
}

static void count_key(void) {
    const heap_use before = count_now();
    xkey *const key = xkey_new("user", "network", "hostname");
    print_row("xkey, \"user:network:hostname\"", count_since(before));
    const heap_use with_key = count_now();
    xpair *const pair = xpair_new(key, NULL, NULL);
    print_row("xpair, without its key and value", count_since(with_key));
    xpair_basefree(pair);
}

static void count_list(void) {
    static char item;
    const heap_use before = count_now();
    xlist *list = NULL;
    require_that(xlist_append(&list, &item), "xlist_append");
    print_row("xlist, a node", count_since(before));
    xlist_free(&list);
}

static void count_array(uint16_t items) {
    static char item;
    const heap_use before = count_now();
    xarray *array = xarray_new();
    for (uint16_t i = 0; i < items; ++i)
        require_that(xarray_add(array, &item), "xarray_add");
    char title[64];
    snprintf(title, sizeof title, "xarray, %d items", items);
    print_row(title, count_since(before));
    xarray_free(&array, NULL);
}

static void count_map(unsigned entries) {
    static char keys[10000];
    require_that(entries <= sizeof keys, "too many entries");
    const heap_use before = count_now();
    hashmap *const map = hashmap_new(NULL, NULL);
    require_that(map != NULL, "hashmap_new");
    for (unsigned i = 0; i < entries; ++i)
        require_that(hashmap_put(map, &keys[i], map) == 1, "hashmap_put");
    const heap_use use = count_since(before);
    char title[64];
    snprintf(title, sizeof title, "hashmap, %u entries, %u buckets", entries, hashmap_buckets(map));
    print_row(title, use);
    if (entries != 0)
        print_each("  an entry of it, all shared out", use, entries);
    hashmap_free(map);
}

static void count_message(int32_t packets) {
    const heap_use before = count_now();
    msginfo *const info = msginfo_new_by_packet(packets);
    require_that(info != NULL, "msginfo_new_by_packet");
    const heap_use use = count_since(before);
    char title[64];
    snprintf(title, sizeof title, "msginfo, %d packets", (int)packets);
    print_row(title, use);
    print_each("  a packet of it, all shared out", use, (unsigned)packets);
    msginfo_free(info);
}

static void count_transport(void) {
    const heap_use before = count_now();
    circle_buf *const ring = circle_buf_new(0);
    print_row("circle_buf, empty", count_since(before));
    circle_buf_del(ring);
    count_message(1);
    count_message(10);
    const heap_use without_client = count_now();
    client *const c = client_new(CLIENT_STREAM, 0, NULL);
    require_that(c != NULL, "client_new");
    print_row("client, with its ring, maps and id tracker", count_since(without_client));
    client_free(c);
}

void count_records(void) {
    count_values();
    count_key();
    count_list();
    count_array(0);
    count_array(1);
    count_array(64);
    count_array(1000);
    count_map(0);
    count_map(10);
    count_map(100);
    count_map(1000);
    count_map(10000);
    count_transport();
}
