// SPDX-License-Identifier: MIT
#include "common/device_log.h"

#include <tavi_util.h>

#include <algorithm>
#include <cstdarg>

namespace varnel {

namespace {

using LogFunction = int (*)(const char *prefix, const char *format, va_list arguments);

void pass_on(LogFunction function, const char *prefix, const char *format, ...) __attribute__((format(printf, 3, 4)));

void pass_on(LogFunction function, const char *prefix, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    function(prefix, format, arguments);
    va_end(arguments);
}

std::string printable(std::string line) {
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
    return line;
}

} // namespace

void log_error(const char *prefix, const std::string &line) {
    pass_on(log_vperr, prefix, "%s\n", printable(line).c_str());
}

void log_info(const char *prefix, const std::string &line) {
    pass_on(log_vpinfo, prefix, "%s\n", printable(line).c_str());
}

} // namespace varnel
