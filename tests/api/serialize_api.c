/* SPDX-License-Identifier: MIT */
#include "api_test.h"

#include <varnel/memory.h>
#include <varnel/serialize.h>

#include <errno.h>
#include <string.h>

static void test_value_block(void) {
    xdata *value = xdata_char("ab");
    uint8_t *block = NULL;
    const uint32_t header[2] = {XDATA_STRING, 3};
    CHECK(xserialize(value, &block) == 11);
    CHECK(memcmp(block, header, 8) == 0 && memcmp(block + 8, "ab", 3) == 0);
    xdata *read = xdeserialize(block, 11);
    CHECK(read != NULL && xdata_cmp(read, value) == 0);
    xdata_free(read);
    _xfree(block);
    xdata_free(value);
}

static void test_message(void) {
    static const uint8_t expected[] = {0x06, 0x72, 0, 3, 0,   0,   0, 19, 0, 0, 0, 1, /* header */
                                       0,    1,    0, 3, 'a', 'b', 0};                /* "ab" */
    xdata value = {0};
    char text[] = "ab";
    xdata_set_string(&value, text, sizeof text);
    xarray *params = xarray_new();
    CHECK(xarray_add(params, &value) == 1);
    uint8_t *block = NULL;
    CHECK(xserialize_message(&block, control_set, params) == sizeof expected);
    CHECK(memcmp(block, expected, sizeof expected) == 0);
    CHECK(get_xmessage_size(block, sizeof expected) == sizeof expected && get_xmessage_size(block, 11) == 0);

    uint32_t control = 0;
    xdata *records = NULL;
    CHECK(xdeserialize_message(block, sizeof expected, &control, &records) == 1);
    CHECK(control == control_set && xdata_cmp(&records[0], &value) == 0);
    _xfree(records[0].value.s.str);
    _xfree(records);

    errno = 0;
    CHECK(xdeserialize_message(block, sizeof expected - 1, &control, &records) == -1 && errno == EINVAL);
    errno = 0;
    CHECK(xserialize_message(&block, control_max, params) == 0 && errno == EINVAL);
    value.type = XDATA_TYPE_END;
    CHECK(xserialize_message(&block, control_set, params) == 0);
    CHECK_LOG("E Invalid parameter type 9\n");
    _xfree(block);
    xarray_free(&params, NULL);
}

void test_serialize(void) {
    test_value_block();
    test_message();
    CHECK(strcmp(control_string(control_lock), "control_lock") == 0);
    CHECK(strcmp(control_string(18), "[unknown]") == 0);
}
