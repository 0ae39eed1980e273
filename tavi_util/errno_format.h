/* SPDX-License-Identifier: MIT */
/* "%m", the text of errno, for C libraries whose vsnprintf does not know it: no standard has it for printf. */
#ifndef TAVI_ERRNO_FORMAT_H
#define TAVI_ERRNO_FORMAT_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Copies a printf-style format with the text of error in the place of every "%m"; it then means the same to any
 * vsnprintf. Returns expanded, which has size bytes, or NULL when that is too small. "%m" with flags or a width stays
 * as it is. */
const char *tavi_expand_errno(char *expanded, size_t size, const char *format, int error);

#ifdef __cplusplus
}
#endif

#endif
