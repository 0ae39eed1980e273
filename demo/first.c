/* SPDX-License-Identifier: MIT */
#include <stdio.h>
#include <varnel/varnel.h>

int main(void) {
    xdata *name = xdata_char("hostname");
    xarray *params = xarray_new();
    xarray_add(params, name);
    uint8_t *message = NULL;
    const uint32_t length = xserialize_message(&message, control_get, params);

    uint32_t code = 0;
    xdata *records = NULL;
    if (xdeserialize_message(message, length, &code, &records) != 1)
        return 1;
    printf("%s %s: %u bytes\n", control_string(code), records[0].value.s.str, length);

    _xfree(records[0].value.s.str);
    _xfree(records);
    _xfree(message);
    xarray_free(&params, NULL);
    xdata_free(name);
}
