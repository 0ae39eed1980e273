// SPDX-License-Identifier: MIT
#include "base/log.h"

#include <stdarg.h>

// The log library's interface, as the device has it.
extern "C" {
int log_vperr(const char *prefix, const char *format, va_list arguments);
int log_vpinfo(const char *prefix, const char *format, va_list arguments);
int log_vpdebug(const char *prefix, const char *format, va_list arguments);
}

namespace varnel {

static constexpr char kPrefix[] = "_varnel: ";

void log_error(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_vperr(kPrefix, format, arguments);
    va_end(arguments);
}

static void log_unchecked(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_vperr(kPrefix, format, arguments);
    va_end(arguments);
}

void log_errno(const char *format) {
    log_unchecked(format);
}

void log_info(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_vpinfo(kPrefix, format, arguments);
    va_end(arguments);
}

void log_debug(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_vpdebug(kPrefix, format, arguments);
    va_end(arguments);
}

void fatal(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_vperr(kPrefix, format, arguments);
    va_end(arguments);
    abort();
}

} // namespace varnel
