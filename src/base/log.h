// SPDX-License-Identifier: MIT
// Logging: the one way in which the library reports, apart from the dictionary's dump to standard output.
//
// Every message goes to the log library with the prefix "_varnel: ", its format as written, trailing newline included,
// and its arguments; "%m" stands for the text of errno, so errno must still be the failure's when the call is made.
#pragma once

#include <stdlib.h>

namespace varnel {

void log_error(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_info(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_debug(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Logs an error whose format has "%m" (an extension that format attributes refuse) and no arguments.
void log_errno(const char *format);

// Logs an error and ends the process. Without a format attribute, so that require can forward its arguments.
[[noreturn]] void fatal(const char *format, ...);

// Passes block on, or ends the process with the message when it is NULL. Many callers pass a block of xmalloc0, which
// is never NULL: the message then documents what the block is for and the compiler drops the test.
template <class T, class... Arguments> T *require(T *block, const char *format, Arguments... arguments) {
    if (block == nullptr)
        fatal(format, arguments...);
    return block;
}

// What a text argument of a message prints as when it is NULL; not every C library does this by itself.
inline const char *printable(const char *text) {
    return text != nullptr ? text : "(null)";
}

} // namespace varnel
