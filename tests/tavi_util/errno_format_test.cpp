// SPDX-License-Identifier: MIT
#include "errno_format.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>

namespace {

std::string expanded(const char *format, int error) {
    std::array<char, 200> text{};
    const char *const result = tavi_expand_errno(text.data(), text.size(), format, error);
    return result != nullptr ? result : "(too long)";
}

TEST(ErrnoFormat, PutsTheTextOfTheErrorIn) {
    const std::string text = std::strerror(ENOENT);
    EXPECT_EQ(expanded("%m", ENOENT), text);
    EXPECT_EQ(expanded("open %s: %m (%m)\n", ENOENT), "open %s: " + text + " (" + text + ")\n");
}

TEST(ErrnoFormat, LeavesOtherConversions) {
    for (const char *const format : {"", "%s %d %5.2f", "100%%", "%%m", "%%%%m", "%-5m", "%", "m%"})
        EXPECT_EQ(expanded(format, ENOENT), format);
    EXPECT_EQ(expanded("%%%m", ENOENT), "%%" + std::string(std::strerror(ENOENT)));
}

TEST(ErrnoFormat, StaysWithinItsBytes) {
    const std::string text = std::strerror(ENOENT);
    for (std::size_t size = 0; size <= text.size() + 1; ++size) {
        std::string bytes(text.size() + 2, '#');
        const char *const result = tavi_expand_errno(bytes.data(), size, "%m", ENOENT);
        EXPECT_EQ(result != nullptr, size == text.size() + 1);
        EXPECT_EQ(bytes.find_first_not_of('#', size), std::string::npos);
    }
}

} // namespace
