// SPDX-License-Identifier: MIT
// Text forms of values.
#include <varnel/xdata.h>

#include "base/block.h"
#include "base/log.h"
#include "data/xdata_types.h"

#include <inttypes.h>
#include <stdio.h>

using namespace varnel;

bool varnel::format_value(char *out, size_t size, const xdata *x) {
    switch (x->type) {
    case XDATA_STRING:
        snprintf(out, size, "%s", printable(x->value.s.str));
        return true;
    case XDATA_INT32:
        snprintf(out, size, "%" PRId32, x->value.i32);
        return true;
    case XDATA_UINT32:
        snprintf(out, size, "%" PRIu32, x->value.u32);
        return true;
    case XDATA_INT64:
        snprintf(out, size, "%" PRId64, x->value.i64);
        return true;
    case XDATA_UINT64:
        snprintf(out, size, "%" PRIu64, x->value.u64);
        return true;
    case XDATA_FLOAT:
        snprintf(out, size, "%f", static_cast<double>(x->value.f));
        return true;
    case XDATA_DOUBLE:
        snprintf(out, size, "%f", x->value.d);
        return true;
    case XDATA_BOOLEAN:
        snprintf(out, size, "%s", x->value.b != 0 ? "true" : "false");
        return true;
    default:
        return false;
    }
}

char *xdata_value_as_char(const xdata *x) {
    if (x == nullptr)
        return nullptr;
    constexpr size_t kSmallest = 64;
    const size_t size = x->type == XDATA_STRING && x->value.s.len > kSmallest ? x->value.s.len : kSmallest;
    char *const text = new_bytes<char>(size);
    if (!format_value(text, size, x)) {
        free(text); // not _xfree: programs with an allocator of their own know this block as the platform's
        return nullptr;
    }
    return text;
}

void xdata_out(const xdata *x) {
    if (x == nullptr) {
        log_debug("xdata is null.\n");
        return;
    }
    char text[1024] = {};
    snprintf(text, sizeof text, "%s = ", xdata_type_as_char(x->type));
    const size_t length = strlen(text);
    if (!format_value(text + length, sizeof text - length, x))
        snprintf(text + length, sizeof text - length, "[unknown]\n");
    log_debug("xdata: %s\n", text);
}
