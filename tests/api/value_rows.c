/* SPDX-License-Identifier: MIT */
#include "value_rows.h"

#include "check.h"

#include <varnel/memory.h>

#include <string.h>

static size_t width_of(xdata_type type) {
    static const size_t widths[XDATA_TYPE_END] = {0, 0, 4, 4, 8, 8, 4, 8, 1};
    return widths[type];
}

xdata value_of(const row *r, char text[ROW_TEXT_MAX]) {
    xdata value = {.type = r->type};
    const uint8_t byte = (uint8_t)r->bits;
    const uint32_t word = (uint32_t)r->bits;
    switch (width_of(r->type)) {
    case 0: /* a string */
        CHECK(r->length <= ROW_TEXT_MAX);
        memcpy(text, r->text, r->length);
        value.value.s.str = text;
        value.value.s.len = r->length;
        break;
    case 1:
        memcpy(&value.value, &byte, sizeof byte);
        break;
    case 4:
        memcpy(&value.value, &word, sizeof word);
        break;
    default:
        memcpy(&value.value, &r->bits, sizeof r->bits);
    }
    return value;
}

int value_is(const xdata *value, const row *r) {
    char text[ROW_TEXT_MAX];
    const xdata expected = value_of(r, text);
    if (value->type != r->type)
        return 0;
    if (r->type != XDATA_STRING)
        return memcmp(&value->value, &expected.value, width_of(r->type)) == 0;
    return value->value.s.len == r->length && (r->length == 0 || memcmp(value->value.s.str, r->text, r->length) == 0);
}

static uint64_t reversed(uint64_t bits, size_t width) {
    uint64_t result = 0;
    for (; width != 0; --width, bits >>= 8)
        result = result << 8 | (bits & 0xFF);
    return result;
}

row row_of_other_order(const row *r) {
    row other = *r;
    if (r->type == XDATA_FLOAT || r->type == XDATA_DOUBLE)
        other.bits = reversed(r->bits, width_of(r->type));
    return other;
}

void release_records(xdata *records, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        if (records[i].type == XDATA_STRING)
            _xfree(records[i].value.s.str);
    }
    _xfree(records);
}

const char *byte_order(void) {
    const uint16_t one = 1;
    uint8_t first;
    memcpy(&first, &one, 1);
    return first == 1 ? "little" : "big";
}
