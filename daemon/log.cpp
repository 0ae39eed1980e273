// SPDX-License-Identifier: MIT
#include "daemon/log.h"

#include <tavi_util.h>

#include <algorithm>
#include <cstdarg>

namespace varnel::daemon {

namespace {

constexpr const char *kPrefix = "varneld: ";

using LogFunction = int (*)(const char *prefix, const char *format, va_list arguments);

void pass_on(LogFunction function, const char *format, ...) __attribute__((format(printf, 2, 3)));

void pass_on(LogFunction function, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    function(kPrefix, format, arguments);
    va_end(arguments);
}

std::string printable(std::string line) {
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
    return line;
}

} // namespace

void log_error(const std::string &line) {
    pass_on(log_vperr, "%s\n", printable(line).c_str());
}

void log_info(const std::string &line) {
    pass_on(log_vpinfo, "%s\n", printable(line).c_str());
}

} // namespace varnel::daemon
