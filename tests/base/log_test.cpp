// SPDX-License-Identifier: MIT
#include "base/log.h"
#include "support/death.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace {

TEST(Log, PassesLevelPrefixFormatAndArguments) {
    const LogCapture log;
    varnel::log_error("error %d of %s\n", 3, "five");
    varnel::log_info("info\n");
    varnel::log_debug("debug %%\n");
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 3U);
    const LogLine expected[] = {{LogLine::error, "_varnel: ", "error %d of %s\n", "error 3 of five\n"},
                                {LogLine::info, "_varnel: ", "info\n", "info\n"},
                                {LogLine::debug, "_varnel: ", "debug %%\n", "debug %\n"}};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(lines[i].level, expected[i].level);
        EXPECT_EQ(lines[i].prefix, expected[i].prefix);
        EXPECT_EQ(lines[i].format, expected[i].format);
        EXPECT_EQ(lines[i].text, expected[i].text);
    }
}

TEST(Log, ErrnoReachesTheFormat) {
    const LogCapture log;
    const std::string format = "cannot open %s: %m\n"; // not a literal: strict compilers refuse "%m" in one
    errno = ENOENT;
    varnel::log_error(format.c_str(), "a");
    const std::string expected = std::string("cannot open a: ") + strerror(ENOENT) + "\n";
    EXPECT_EQ(log.texts(LogLine::error), std::vector<std::string>{expected});
}

TEST(Log, RequirePassesTheBlockOnWithoutALine) {
    const LogCapture log;
    int block = 5;
    EXPECT_EQ(varnel::require(&block, "no memory for %s\n", "a test"), &block);
    EXPECT_TRUE(log.lines().empty());
}

TEST(Log, PrintableNamesNull) {
    EXPECT_STREQ(varnel::printable("text"), "text");
    EXPECT_STREQ(varnel::printable(""), "");
    EXPECT_STREQ(varnel::printable(nullptr), "(null)");
}

TEST(LogDeathTest, FatalLogsAnErrorAndAborts) {
    EXPECT_ABORT(varnel::fatal("line %d: bad\n", 7), "^_varnel: line 7: bad\n$");
}

TEST(LogDeathTest, RequireAbortsWithItsMessageOnNull) {
    int *const none = nullptr;
    EXPECT_ABORT(varnel::require(none, "no memory for %s\n", "a test"), "^_varnel: no memory for a test\n$");
}

} // namespace
