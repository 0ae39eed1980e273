// SPDX-License-Identifier: MIT
#include "daemon/failure_log.h"

#include "support/log_capture.h"

#include <gtest/gtest.h>

using varnel::daemon::FailureLog;

namespace {

constexpr std::uint64_t kMinute = 60000;

using Lines = std::vector<std::string>;

class FailureLogTest : public testing::Test {
public:
    Lines errors() const { return log_.texts(LogLine::error); }
    Lines infos() const { return log_.texts(LogLine::info); }
    FailureLog failures;

private:
    LogCapture log_;
};

} // namespace

TEST_F(FailureLogTest, TellsTheFirstFailureAtOnceAndTheNextOnesOnceAMinute) {
    for (std::uint64_t i = 0; i < 1000; ++i)
        failures.failed("disk", "is full", 5000 + i);
    EXPECT_EQ(errors(), Lines{"disk is full\n"});
    failures.failed("disk", "is full", 5000 + kMinute - 1);
    EXPECT_EQ(errors().size(), 1U);
    failures.failed("disk", "is full", 5000 + kMinute);
    EXPECT_EQ(errors(), (Lines{"disk is full\n", "disk is full (1001 times since the last line)\n"}));
    failures.failed("disk", "is full", 5000 + 2 * kMinute);
    EXPECT_EQ(errors().back(), "disk is full\n");
}

TEST_F(FailureLogTest, TellsEveryKindOfEverySubject) {
    failures.failed("disk", "is full", 1);
    failures.failed("disk", "is broken", 2);
    failures.failed("stick", "is full", 3);
    failures.failed("disk", "is full", 4);
    EXPECT_EQ(errors(), (Lines{"disk is full\n", "disk is broken\n", "stick is full\n"}));
}

TEST_F(FailureLogTest, TellsOnceThatItWorksAgain) {
    EXPECT_FALSE(failures.has_failures());
    failures.recovered("disk", "works");
    failures.failed("disk", "is full", 1);
    failures.failed("disk", "is full", 2);
    failures.failed("disk", "is broken", 3);
    failures.failed("disk", "is broken", 4);
    EXPECT_TRUE(failures.has_failures());
    failures.recovered("stick", "works");
    failures.recovered("disk", "works");
    failures.recovered("disk", "works");
    EXPECT_FALSE(failures.has_failures());
    EXPECT_EQ(infos(), Lines{"disk works (2 failures have not been logged)\n"});
}

// Large writes that fail and small ones that do not, in turn, are no way to fill the log either.
TEST_F(FailureLogTest, IsNotFilledByFailuresThatComeAndGo) {
    for (std::uint64_t now = 1; now < 2 * kMinute; now += 100) {
        failures.failed("disk", "is full", now);
        failures.recovered("disk", "works");
    }
    EXPECT_EQ(errors(), (Lines{"disk is full\n", "disk is full (600 times since the last line)\n"}));
    EXPECT_EQ(infos(), (Lines{"disk works\n", "disk works\n"}));
}
