/* SPDX-License-Identifier: MIT */
/* The worked bytes of tests/vectors, written and read by the shared library. */
#include "api_test.h"
#include "value_rows.h"
#include "vector_file.h"

#include <varnel/memory.h>
#include <varnel/serialize.h>

#include <stdio.h>
#include <string.h>

static void test_value_blocks(void) {
    static const row rows[] = {
        STRING("abc\0"),
        STRING(""),
        SCALAR(XDATA_INT32, 0xFFFFFFFE),
        SCALAR(XDATA_UINT32, 0x81020304),
        SCALAR(XDATA_INT64, 0xFFFFFFFFFFFFFFFD),
        SCALAR(XDATA_UINT64, 0x8102030405060708),
        SCALAR(XDATA_FLOAT, 0x3FC00000),
        SCALAR(XDATA_FLOAT, 0x7FA00001),
        SCALAR(XDATA_DOUBLE, 0xC004000000000000),
        SCALAR(XDATA_DOUBLE, 0x7FF4000000000001),
        SCALAR(XDATA_BOOLEAN, 1),
        SCALAR(XDATA_BOOLEAN, 0),
    };
    char name[32];
    vector v;
    snprintf(name, sizeof name, "value_blocks_%s", byte_order());
    vector_read(&v, name);
    uint8_t written[sizeof v.bytes];
    uint32_t used = 0;
    for (uint32_t i = 0; i < COUNT(rows); ++i) {
        char text[16];
        const xdata value = value_of(&rows[i], text);
        uint8_t *block = NULL;
        const uint32_t size = xserialize(&value, &block);
        CHECK(size <= v.count - used);
        xdata *const read = xdeserialize(v.bytes + used, size);
        CHECK(value_is(read, &rows[i]));
        memcpy(written + used, block, size);
        used += size;
        xdata_free(read);
        _xfree(block);
    }
    CHECK(vector_is(&v, written, used));
}

static void check_written(const char *name, uint32_t code, const row *rows, uint32_t count) {
    xdata values[16];
    char texts[16][16];
    CHECK(count <= 16);
    xarray *params = xarray_new();
    for (uint32_t i = 0; i < count; ++i) {
        values[i] = value_of(&rows[i], texts[i]);
        CHECK(xarray_add(params, &values[i]) == 1);
    }
    vector v;
    vector_read(&v, name);
    uint8_t *message = NULL;
    const uint32_t length = xserialize_message(&message, code, params);
    CHECK(vector_is(&v, message, length));
    _xfree(message);
    xarray_free(&params, NULL);
}

static void check_read(const char *name, uint32_t code, const row *rows, uint32_t count) {
    vector v;
    vector_read(&v, name);
    const uint32_t length = (uint32_t)v.count;
    CHECK(get_xmessage_size(v.bytes, length) == length);
    uint32_t read_code = 0;
    xdata *records = NULL;
    CHECK(xdeserialize_message(v.bytes, length, &read_code, &records) == (int32_t)count);
    CHECK(read_code == code);
    for (uint32_t i = 0; i < count; ++i)
        CHECK(value_is(&records[i], &rows[i]));
    release_records(records, count);
}

static void test_messages_of_one_byte_order(void) {
    static const row get[] = {STRING("ab\0"), SCALAR(XDATA_UINT64, 0x0102030405060708)};
    static const row set[] = {
        STRING("net:host\0"),
        SCALAR(XDATA_INT32, 0xFFFFFFFE),
        SCALAR(XDATA_UINT32, 0x81020304),
        SCALAR(XDATA_INT64, 0xFFFFFFFFFFFFFFFD),
        SCALAR(XDATA_UINT64, 0x8102030405060708),
        SCALAR(XDATA_BOOLEAN, 1),
        STRING(""),
        SCALAR(XDATA_BOOLEAN, 0),
        STRING("\xff\0\x80\0"),
    };
    check_written("message_get", control_get, get, COUNT(get));
    check_read("message_get", control_get, get, COUNT(get));
    check_written("message_parameters", control_set, set, COUNT(set));
    check_read("message_parameters", control_set, set, COUNT(set));
}

/* Floating-point values travel in their writer's byte order, and a reader takes them for its own. */
static void test_floats(void) {
    static const row own[] = {
        SCALAR(XDATA_FLOAT, 0x3FC00000),
        SCALAR(XDATA_FLOAT, 0x7FA00001),
        SCALAR(XDATA_DOUBLE, 0xC004000000000000),
        SCALAR(XDATA_DOUBLE, 0x7FF4000000000001),
    };
    row others[COUNT(own)];
    for (uint32_t i = 0; i < COUNT(own); ++i)
        others[i] = row_of_other_order(&own[i]);
    const int little = strcmp(byte_order(), "little") == 0;
    check_written(little ? "message_floats_little" : "message_floats_big", control_changed, own, COUNT(own));
    check_read("message_floats_little", control_changed, little ? own : others, COUNT(own));
    check_read("message_floats_big", control_changed, little ? others : own, COUNT(own));
}

static void test_every_code(void) {
    vector v;
    vector_read(&v, "messages_every_code");
    CHECK(v.count == 16 * 12);
    uint8_t written[16 * 12];
    xarray *none = xarray_new();
    for (uint32_t code = 1; code <= 16; ++code) {
        const size_t at = (size_t)(code - 1) * 12;
        uint8_t *message = NULL;
        CHECK(xserialize_message(&message, code, none) == 12);
        memcpy(written + at, message, 12);
        _xfree(message);
        uint32_t read_code = 0;
        xdata *records = NULL;
        CHECK(xdeserialize_message(v.bytes + at, 12, &read_code, &records) == 0 && records == NULL);
        CHECK(read_code == code);
    }
    CHECK(vector_is(&v, written, sizeof written));
    xarray_free(&none, NULL);
}

void test_codec_vectors(void) {
    test_value_blocks();
    test_every_code();
    test_messages_of_one_byte_order();
    test_floats();
}
