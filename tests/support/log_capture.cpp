// SPDX-License-Identifier: MIT
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

std::mutex g_mutex;
std::vector<LogLine> g_lines;
bool g_recording = false;
int g_errno_after_line = 0;

std::string format_text(const char *format, va_list arguments) {
    va_list measured;
    va_copy(measured, arguments);
    const int length = vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length < 0)
        return "[a line that cannot be formatted]";
    std::vector<char> text(static_cast<size_t>(length) + 1);
    vsnprintf(text.data(), text.size(), format, arguments);
    return {text.data(), static_cast<size_t>(length)};
}

bool echoes(LogLine::Level level) {
#if GTEST_HAS_DEATH_TEST
    if (testing::internal::InDeathTestChild())
        return true;
#endif
    return level == LogLine::error;
}

int record(LogLine::Level level, const char *prefix, const char *format, va_list arguments) {
    const int saved_errno = errno; // "%m" prints it, and formatting must not lose it before
    const LogLine line{level, prefix, format, format_text(format, arguments)};
    if (echoes(level))
        fprintf(stderr, "%s%s", line.prefix.c_str(), line.text.c_str());
    const std::lock_guard lock(g_mutex);
    if (g_recording)
        g_lines.push_back(line);
    errno = g_errno_after_line != 0 ? g_errno_after_line : saved_errno;
    return 0;
}

template <class Select> std::vector<std::string> select_lines(LogLine::Level level, Select select) {
    const std::lock_guard lock(g_mutex);
    std::vector<std::string> selected;
    for (const LogLine &line : g_lines)
        if (line.level == level)
            selected.push_back(line.*select);
    return selected;
}

} // namespace

extern "C" {
int log_vperr(const char *prefix, const char *format, va_list arguments);
int log_vpinfo(const char *prefix, const char *format, va_list arguments);
int log_vpdebug(const char *prefix, const char *format, va_list arguments);

int log_vperr(const char *prefix, const char *format, va_list arguments) {
    return record(LogLine::error, prefix, format, arguments);
}

int log_vpinfo(const char *prefix, const char *format, va_list arguments) {
    return record(LogLine::info, prefix, format, arguments);
}

int log_vpdebug(const char *prefix, const char *format, va_list arguments) {
    return record(LogLine::debug, prefix, format, arguments);
}
}

LogCapture::LogCapture() {
    const std::lock_guard lock(g_mutex);
    g_lines.clear();
    g_recording = true;
}

LogCapture::~LogCapture() {
    const std::lock_guard lock(g_mutex);
    g_lines.clear();
    g_recording = false;
    g_errno_after_line = 0;
}

std::vector<LogLine> LogCapture::lines() const {
    const std::lock_guard lock(g_mutex);
    return g_lines;
}

std::vector<std::string> LogCapture::texts(LogLine::Level level) const {
    return select_lines(level, &LogLine::text);
}

std::vector<std::string> LogCapture::formats(LogLine::Level level) const {
    return select_lines(level, &LogLine::format);
}

void LogCapture::clear() {
    const std::lock_guard lock(g_mutex);
    g_lines.clear();
}

void LogCapture::leave_errno(int value) {
    const std::lock_guard lock(g_mutex);
    g_errno_after_line = value;
}
