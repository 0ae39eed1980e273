/* SPDX-License-Identifier: MIT */
/*
 * xdata: one typed value of the store, a counted string or one of seven scalars.
 *
 * Ownership: a value of type string owns value.s.str; xdata_free releases it with the record. Records and
 * buffers come from the library's allocator (memory.h); making them aborts when memory is short. Setters and
 * copies overwrite what the record held, without releasing it.
 * Threads:   nothing locks; a value has one holder at a time.
 * Strings:   a string made from text counts its terminating zero byte in len. The text forms print a string up
 *            to its zero byte, wherever that is: end strings with one, and count it.
 */
#ifndef VARNEL_XDATA_H
#define VARNEL_XDATA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Type codes. They travel on the wire and lie in stored blocks: never change or reuse one. */
typedef uint32_t xdata_type;
enum {
    XDATA_STRING = 1,
    XDATA_INT32 = 2,
    XDATA_UINT32 = 3,
    XDATA_INT64 = 4,
    XDATA_UINT64 = 5,
    XDATA_FLOAT = 6,
    XDATA_DOUBLE = 7,
    XDATA_BOOLEAN = 8,
    XDATA_TYPE_END = 9 /* one past the last type */
};

/* A counted string: len bytes at str belong to it. */
typedef struct xstring {
    char *str;
    uint32_t len;
} xstring;

typedef union xdata_value {
    xstring s;
    int32_t i32;
    uint32_t u32;
    int64_t i64;
    uint64_t u64;
    float f;
    double d;
    uint8_t b; /* 0 or non-zero */
} xdata_value;

typedef struct xdata {
    xdata_type type;
    xdata_value value __attribute__((aligned(8)));
} xdata;

/* A new value copied from its native form: for a string the NUL-terminated characters, for the others the
 * int32_t, uint32_t, int64_t, uint64_t, float, double or one boolean byte that value points at.
 * NULL when value is NULL or type is not 1 to 9; type 9 (XDATA_TYPE_END) gives a record of all zero value. */
xdata *xdata_new(xdata_type type, const void *value);

/* A new deep copy; NULL for NULL and for a value of type 0 or above 8. */
xdata *xdata_dup(const xdata *source);

/* A new string value with a copy of the len bytes of s, or NULL for NULL. One small holder record is lost per
 * call: callers that make many strings use xdata_char. */
xdata *xdata_string(const xstring *s);

/* A new string value with a copy of text and its terminator, or NULL for NULL. */
xdata *xdata_char(const char *text);

/* Fills destination with a deep copy of source; what it held is overwritten, not released. A copied string has
 * exactly len bytes. Returns destination; NULL when either is NULL, or, with destination all zero, when source
 * has a type outside 1 to 8. */
xdata *xdata_copy(xdata *destination, const xdata *source);

/* 0 when equal: an equality test, not an order. Both NULL: 0; one NULL: the type of the other; different types:
 * a's minus b's. 64-bit integers and doubles are compared by their first four bytes in memory only (on a
 * little-endian machine the low words), so values that differ elsewhere count as equal; clients rely on it.
 * Strings: xstring_compare with case. Aborts for two values of one unknown type. */
int xdata_cmp(const xdata *a, const xdata *b);

/* Store a type and a value; what the record held is not released.
 * xdata_set_string takes str over, without copying, with len as given.
 * xdata_set_boolean stores the flag as the double 0.0 or 1.0 over the whole value, not in the byte b: on
 * little-endian machines such a value reads as false everywhere. Make booleans with xdata_new. */
void xdata_set_string(xdata *x, char *str, uint32_t len);
void xdata_set_int32(xdata *x, int32_t value);
void xdata_set_uint32(xdata *x, uint32_t value);
void xdata_set_int64(xdata *x, int64_t value);
void xdata_set_uint64(xdata *x, uint64_t value);
void xdata_set_float(xdata *x, float value);
void xdata_set_double(xdata *x, double value);
void xdata_set_boolean(xdata *x, unsigned char flag);

/* Fills destination with a copy of source and one zero byte behind it, not counted in len; the old buffer is not
 * released. Returns destination; NULL when either is NULL. */
xstring *xstring_copy(xstring *destination, const xstring *source);

/* A new counted string with a copy of exactly len bytes (no terminator is added), or NULL for NULL. */
xstring *xstring_dup(const xstring *s);

/* 0 when equal. NULL records, then NULL buffers, sort first; strings of different lengths differ by their lengths
 * (a's minus b's) and are not looked at; equal lengths: strncmp, or strncasecmp (POSIX) when ignore_case is not 0. */
int xstring_compare(const xstring *a, const xstring *b, int ignore_case);

/* 1 when s is NULL, has no buffer or length 0; else 0. */
int xstring_isempty(const xstring *s);

/* The static name of a type: "string", "int32_t", ..., "boolean"; "[unknown]" for every other code. */
const char *xdata_type_as_char(xdata_type type);

/* Releases a value and its string, or a counted string from xstring_dup. NULL is ignored. */
void xdata_free(xdata *x);
void xstring_free(xstring *s);

/* Logs the type and the value in one debug line. */
void xdata_out(const xdata *x);

/* The value as new text: decimal integers, "%f" numbers (cut to 63 characters), "true" or "false", the characters
 * of a string (cut to len - 1, or 63 when len is below 64), "(null)" for a string without buffer. NULL for NULL and
 * for types outside 1 to 8. */
char *xdata_value_as_char(const xdata *x);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
