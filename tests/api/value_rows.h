/* SPDX-License-Identifier: MIT */
/* Values for the C programs' tables, by their bits. */
#ifndef VALUE_ROWS_H
#define VALUE_ROWS_H

#include <varnel/xdata.h>

#include <stddef.h>

/* A value: a string's bytes, or the bits of another type, which need not pass through a register that may change a
 * signalling NaN. */
typedef struct row {
    xdata_type type;
    uint32_t length;
    const char *text;
    uint64_t bits;
} row;

#define STRING(text)                                                                                                   \
    { XDATA_STRING, sizeof(text) - 1, text, 0 } /* write the terminator into the text */
#define SCALAR(type, bits)                                                                                             \
    { type, 0, NULL, bits }
#define COUNT(array) ((uint32_t)(sizeof(array) / sizeof(array)[0]))

enum { ROW_TEXT_MAX = 16 };

/* The row's value; a string's bytes lie in text. */
xdata value_of(const row *r, char text[ROW_TEXT_MAX]);

/* Whether value is exactly the row's, bit by bit. */
int value_is(const xdata *value, const row *r);

/* What a reader of the other byte order takes a float or double for; every other row as it is. */
row row_of_other_order(const row *r);

/* Releases what xdeserialize_message made. */
void release_records(xdata *records, uint32_t count);

/* "little" or "big": this machine's byte order. */
const char *byte_order(void);

#endif
