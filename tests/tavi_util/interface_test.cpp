// SPDX-License-Identifier: MIT
// What is linked with the log library, the shared library above all, relies on these types of libtavi_util.so.0, which
// a device may replace; tests/layout/numbers_test.c has the header's numbers. The descriptions in abi/ have neither.
#include "tavi_util.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <type_traits>

extern "C" {
using Log = int (*)(const char *prefix, const char *format, va_list arguments);
using SetLevel = int (*)(int level);
}

TEST(TaviUtilInterface, FunctionsHaveTheTypesThatTheLibraryWasBuiltWith) {
    EXPECT_TRUE((std::is_same_v<decltype(&log_vperr), Log>));
    EXPECT_TRUE((std::is_same_v<decltype(&log_vpinfo), Log>));
    EXPECT_TRUE((std::is_same_v<decltype(&log_vpdebug), Log>));
    EXPECT_TRUE((std::is_same_v<decltype(&tavi_log_set_level), SetLevel>));
}
