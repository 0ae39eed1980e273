/* SPDX-License-Identifier: MIT */
#include "tavi_util.h"

#ifdef TAVI_EXPANDS_ERRNO
#include "errno_format.h"
#endif

#include <errno.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

/* A level, as callers and the environment name it and as syslog(3) does. */
struct level {
    const char *name;
    int priority;
};

static const struct level levels[] = {
    [TAVI_LEVEL_ERROR] = {"error", LOG_ERR},
    [TAVI_LEVEL_INFO] = {"info", LOG_INFO},
    [TAVI_LEVEL_DEBUG] = {"debug", LOG_DEBUG},
};

enum { LEVEL_COUNT = sizeof levels / sizeof levels[0], LEVEL_UNKNOWN = -1 };

/* The highest level written; unknown until the first line or tavi_log_set_level. */
static atomic_int current_level = LEVEL_UNKNOWN;

/* What TAVI_LOG_LEVEL asks for; info when it is missing or names no level. */
static int level_from_environment(void) {
    const char *name = getenv("TAVI_LOG_LEVEL");
    for (int i = 0; name != NULL && i < LEVEL_COUNT; ++i) {
        if (strcmp(name, levels[i].name) == 0)
            return i;
    }
    return TAVI_LEVEL_INFO;
}

/* Two threads that log their first lines at once read the same environment; a level set meanwhile stays. */
static int level_in_use(void) {
    int level = atomic_load(&current_level);
    if (level == LEVEL_UNKNOWN) {
        const int wanted = level_from_environment();
        level = atomic_compare_exchange_strong(&current_level, &level, wanted) ? wanted : level;
    }
    return level;
}

/* vsnprintf, with "%m" for the text of errno. */
static int format_text(char *text, size_t size, const char *format, va_list arguments) {
#ifdef TAVI_EXPANDS_ERRNO
    char expanded[TAVI_LINE_MAX];
    format = tavi_expand_errno(expanded, sizeof expanded, format, errno);
    if (format == NULL)
        return -1;
#endif
    return vsnprintf(text, size, format, arguments);
}

/* Formats prefix and text into line and returns the length: a line too long is cut, one without a newline gets one.
 * Returns -1 when the format cannot be formatted. */
static int format_line(char line[TAVI_LINE_MAX + 1], const char *prefix, const char *format, va_list arguments) {
    size_t length = strnlen(prefix, TAVI_LINE_MAX);
    memcpy(line, prefix, length);
    const int text = format_text(line + length, TAVI_LINE_MAX + 1 - length, format, arguments);
    if (text < 0)
        return -1;
    length += (size_t)text;
    if (length > TAVI_LINE_MAX)
        length = TAVI_LINE_MAX;
    if (length == TAVI_LINE_MAX || length == 0 || line[length - 1] != '\n') {
        length -= length == TAVI_LINE_MAX;
        line[length++] = '\n';
    }
    line[length] = '\0';
    return (int)length;
}

/* A process without standard error learns of it from write(2) itself: no second call, no race with a close. */
static void write_line(int level, const char *line, size_t length) {
    ssize_t written;
    do {
        written = write(STDERR_FILENO, line, length);
    } while (written < 0 && errno == EINTR);
    if (written < 0 && errno == EBADF)
        syslog(levels[level].priority, "%s", line);
}

static int log_line(int level, const char *prefix, const char *format, va_list arguments) {
    const int saved_errno = errno;
    if (level > level_in_use())
        return 0;
    char line[TAVI_LINE_MAX + 1];
    errno = saved_errno; /* %m is the caller's */
    const int length = format_line(line, prefix != NULL ? prefix : "", format, arguments);
    if (length >= 0)
        write_line(level, line, (size_t)length);
    errno = saved_errno;
    return length >= 0 ? 0 : -1;
}

int log_vperr(const char *prefix, const char *format, va_list arguments) {
    return log_line(TAVI_LEVEL_ERROR, prefix, format, arguments);
}

int log_vpinfo(const char *prefix, const char *format, va_list arguments) {
    return log_line(TAVI_LEVEL_INFO, prefix, format, arguments);
}

int log_vpdebug(const char *prefix, const char *format, va_list arguments) {
    return log_line(TAVI_LEVEL_DEBUG, prefix, format, arguments);
}

int tavi_log_set_level(int level) {
    if (level < 0 || level >= LEVEL_COUNT)
        return -1;
    atomic_store(&current_level, level);
    return 0;
}
