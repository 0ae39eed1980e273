/* SPDX-License-Identifier: MIT */
/*
 * libtavi_util.so.0, the stand-in for the device's logging library: three levels, one line a call.
 *
 * Each function formats a printf-style format (POSIX, with %m for the text of errno) and writes prefix and text to
 * standard error, or, when the process has no standard error, to syslog(3). A line longer than TAVI_LINE_MAX bytes is
 * cut. errno is preserved. The result is 0, or -1 when the line could not be formatted.
 *
 * Error and info lines are written by default; debug lines too once the program asks for them with
 * tavi_log_set_level(TAVI_LEVEL_DEBUG) or the environment has TAVI_LOG_LEVEL=debug (also "error" or "info"), which is
 * read once, at the first line. The function wins over the environment.
 *
 * Threads: any thread may log at any time; a line is written with one write(2), so lines do not mix.
 */
#ifndef TAVI_UTIL_H
#define TAVI_UTIL_H

#include <stdarg.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Longest line, prefix and newline included, in bytes. */
#define TAVI_LINE_MAX 2048

enum { TAVI_LEVEL_ERROR = 0, TAVI_LEVEL_INFO = 1, TAVI_LEVEL_DEBUG = 2 };

int log_vperr(const char *prefix, const char *format, va_list arguments);
int log_vpinfo(const char *prefix, const char *format, va_list arguments);
int log_vpdebug(const char *prefix, const char *format, va_list arguments);

/* Writes lines up to this level. 0, or -1 for a level that is none of the three. */
int tavi_log_set_level(int level);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
