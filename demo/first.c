/* SPDX-License-Identifier: MIT */
#include <stdio.h>
#include <varnel/varnel.h>

static void release(void *value) {
    xdata_free(value);
}

int main(void) {
    xarray *params = xarray_new();
    xarray_add(params, xdata_char("network"));
    xarray_add(params, xdata_char("hostname"));
    uint8_t *message = NULL;
    const uint32_t length = xserialize_message(&message, control_get, params);

    uint32_t code = 0;
    xdata *records = NULL;
    const int32_t count = xdeserialize_message(message, length, &code, &records);
    printf("%s: %d parameters in %u bytes\n", control_string(code), count, length);
    for (int32_t i = 0; i < count; ++i) {
        printf("%s %s\n", xdata_type_as_char(records[i].type), records[i].value.s.str);
        _xfree(records[i].value.s.str);
    }
    _xfree(records);
    _xfree(message);
    xarray_free(&params, release);
    return count == 2 ? 0 : 1;
}
