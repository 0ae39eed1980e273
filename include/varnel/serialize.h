/* SPDX-License-Identifier: MIT */
/*
 * Two byte formats: the value block, one value in host byte order, and the control message, which clients and the
 * daemon exchange. docs/formats.md has both, byte by byte.
 *
 * Threads: no state between calls; any thread may call.
 */
#ifndef VARNEL_SERIALIZE_H
#define VARNEL_SERIALIZE_H

#include "collections.h"
#include "xdata.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Control codes. They travel on the wire: never change or reuse one. A message carries 1 to 16; the two bounds are
 * not messages. */
enum {
    control_min = 0,
    control_create_group = 1,
    control_remove_group = 2,
    control_set = 3,
    control_get = 4,
    control_unset = 5,
    control_notify = 6,
    control_unnotify = 7,
    control_list = 8,
    control_list_keys = 9,
    control_status = 10,
    control_changed = 11,
    control_sync = 12,
    control_trylock = 13,
    control_lock = 14,
    control_unlock = 15,
    control_other = 16,
    control_max = 17
};

/* Most parameters of one control message. */
#define XMESSAGE_MAX_PARAMS 4096

/* Writes value as a new value block: type and length (32 bits each, host order), then the payload: the bytes of a
 * string, or 8 bytes for every other type. Stores the block in *buffer (the caller releases it with _xfree) and
 * returns its size in bytes. Aborts for a type outside 1 to 8 and when memory is short. */
uint32_t xserialize(const xdata *value, uint8_t **buffer);

/* Reads a value block that xserialize wrote and returns a new value (xdata_free). The block is trusted: size is not
 * consulted, so never pass bytes from elsewhere. Aborts for a type outside 1 to 8, with a log line, and when memory
 * is short. */
xdata *xdeserialize(const void *buffer, uint32_t size);

/* Builds a control message from a code (1 to 16) and an array of at most 4096 xdata pointers, which are read, not
 * consumed. Stores the new block in *buffer (the caller releases it with _xfree) and returns its length in bytes.
 * 0 on failure, with *buffer untouched and errno set: EINVAL (code, count, a NULL array or item, a type outside 1 to
 * 8), ENOMEM. Keep strings below 65536 bytes, ended by a counted zero byte: others are written without complaint, in a
 * form that no reader takes. */
uint32_t xserialize_message(uint8_t **buffer, uint32_t control, const xarray *params);

/* Decodes the control message in the size bytes at buffer, which are not trusted. Returns the number of parameters and
 * stores the code in *control and a new array of that many records in *params (NULL for none); the caller releases the
 * value.s.str of each string and then the array with _xfree. -1 on failure, with both outputs untouched, nothing kept
 * and errno set: EINVAL (malformed), ENOMEM.
 * The last entry must have 6 bytes from its start to the end of the buffer: a message that ends in a boolean, or in a
 * string of fewer than two bytes, needs up to two spare bytes behind it, counted in size. */
int32_t xdeserialize_message(const void *buffer, uint32_t size, uint32_t *control, xdata **params);

/* The total length that the message header at buffer announces; 0 when fewer than 12 bytes are there or it says less
 * than 12. Neither the magic nor an upper bound is checked. */
uint32_t get_xmessage_size(const void *buffer, uint32_t size);

/* The static name of a control code, such as "control_get"; "[unknown]" above 17. */
const char *control_string(uint32_t code);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
