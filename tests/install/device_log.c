/* SPDX-License-Identifier: MIT */
/* A logging library as a device has it, instead of the stand-in: everything to standard error. */
#include <stdarg.h>
#include <stdio.h>

int log_vperr(const char *prefix, const char *format, va_list arguments);
int log_vpinfo(const char *prefix, const char *format, va_list arguments);
int log_vpdebug(const char *prefix, const char *format, va_list arguments);

__attribute__((format(printf, 2, 0))) static int write_line(const char *prefix, const char *format, va_list arguments) {
    fprintf(stderr, "device%s", prefix);
    return vfprintf(stderr, format, arguments);
}

int log_vperr(const char *prefix, const char *format, va_list arguments) {
    return write_line(prefix, format, arguments);
}

int log_vpinfo(const char *prefix, const char *format, va_list arguments) {
    return write_line(prefix, format, arguments);
}

int log_vpdebug(const char *prefix, const char *format, va_list arguments) {
    return write_line(prefix, format, arguments);
}
