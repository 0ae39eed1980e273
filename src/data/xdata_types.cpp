// SPDX-License-Identifier: MIT
#include "data/xdata_types.h"

#include "base/layout.h"

VARNEL_OFFSET32(xstring, len, 4);
VARNEL_SIZE32(xstring, 8);
VARNEL_OFFSET32(xdata, value, 8);
VARNEL_SIZE32(xdata, 16);
static_assert(offsetof(xdata, value) == 8 && alignof(xdata) == 8);

const char *xdata_type_as_char(xdata_type type) {
    return varnel::type_info(type).name;
}
