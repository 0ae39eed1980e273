/* SPDX-License-Identifier: MIT */
/* What programs and storage modules have compiled into themselves: the numbers of the public headers, as they were
 * promised. No function of the library takes or returns these types, so the descriptions in abi/ do not have them. A
 * row is added with a new name (check_numbers.py misses it); the number in an old row never changes. */
#include "module.h"
#include "tavi_util.h"
#include <varnel/varnel.h>

#include <stdint.h>
#include <stdio.h>
#include <string.h>

typedef struct number {
    const char *name;
    uintmax_t actual;
    uintmax_t promised;
} number;

/* clang-format off */
#define NUMBER(name, promised) {#name, (uintmax_t)(name), promised}

static const number numbers[] = {
    /* config.h */
    NUMBER(XDICTIONARY_STRING, 0),
    NUMBER(XDICTIONARY_GROUP, 1),
    NUMBER(XDICTIONARY_MIN_SIZE, 128),
    /* hashmap.h */
    NUMBER(HASHMAP_INLINE_BUCKETS, 31),
    NUMBER(HASHMAP_ITERATE_START, 0),
    NUMBER(HASHMAP_ITERATE_END, UINTPTR_MAX),
    /* serialize.h */
    NUMBER(control_min, 0),
    NUMBER(control_create_group, 1),
    NUMBER(control_remove_group, 2),
    NUMBER(control_set, 3),
    NUMBER(control_get, 4),
    NUMBER(control_unset, 5),
    NUMBER(control_notify, 6),
    NUMBER(control_unnotify, 7),
    NUMBER(control_list, 8),
    NUMBER(control_list_keys, 9),
    NUMBER(control_status, 10),
    NUMBER(control_changed, 11),
    NUMBER(control_sync, 12),
    NUMBER(control_trylock, 13),
    NUMBER(control_lock, 14),
    NUMBER(control_unlock, 15),
    NUMBER(control_other, 16),
    NUMBER(control_max, 17),
    NUMBER(XMESSAGE_MAX_PARAMS, 4096),
    /* transport.h */
    NUMBER(PACKET_MAGIC_SIZE, 6),
    NUMBER(PACKET_HEADER_SIZE, 22),
    NUMBER(PACKET_SIZE, 1024),
    NUMBER(PACKET_PAYLOAD_MAX, 1002),
    NUMBER(CIRCLE_BUF_MIN, 1024),
    NUMBER(CLIENT_STREAM, 1),
    NUMBER(CLIENT_STREAM_ALT, 2),
    NUMBER(CLIENT_DATAGRAM, 3),
    /* xdata.h */
    NUMBER(XDATA_STRING, 1),
    NUMBER(XDATA_INT32, 2),
    NUMBER(XDATA_UINT32, 3),
    NUMBER(XDATA_INT64, 4),
    NUMBER(XDATA_UINT64, 5),
    NUMBER(XDATA_FLOAT, 6),
    NUMBER(XDATA_DOUBLE, 7),
    NUMBER(XDATA_BOOLEAN, 8),
    NUMBER(XDATA_TYPE_END, 9),
    /* module.h */
    NUMBER(DURABILITY_MEMORY, 0),
    NUMBER(DURABILITY_FILE, 1),
    NUMBER(DURABILITY_FOLDER, 2),
    /* tavi_util.h */
    NUMBER(TAVI_LINE_MAX, 2048),
    NUMBER(TAVI_LEVEL_ERROR, 0),
    NUMBER(TAVI_LEVEL_INFO, 1),
    NUMBER(TAVI_LEVEL_DEBUG, 2),
};
/* clang-format on */

static int say(const char *name, uintmax_t actual, uintmax_t promised) {
    fprintf(stderr, "%s is %ju instead of %ju\n", name, actual, promised);
    return 1;
}

/* The magic is the one text, and is not terminated on the wire. */
static int magic_differs(void) {
    if (strcmp(PACKET_MAGIC, "VARNEL") == 0)
        return 0;
    fprintf(stderr, "PACKET_MAGIC is \"%s\"\n", PACKET_MAGIC);
    return 1;
}

int main(void) {
    const size_t count = sizeof numbers / sizeof numbers[0];
    int differing = magic_differs();
    for (const number *row = numbers; row != numbers + count; ++row) {
        if (row->actual != row->promised)
            differing += say(row->name, row->actual, row->promised);
    }
    printf("%zu numbers, %d differ\n", count, differing);
    return differing != 0;
}
