// SPDX-License-Identifier: MIT
#include "daemon/failure_log.h"

#include "support/log_capture.h"

#include <gtest/gtest.h>

using varnel::daemon::FailureLog;

namespace {

using Lines = std::vector<std::string>;

const std::string kComesAndGoes = "disk is full; it comes and goes, and is told again in a minute\n";

class FailureLogTest : public testing::Test {
public:
    static constexpr std::uint64_t kMinute = 60000; // milliseconds

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
    failures.recovered("disk", "works", 1);
    failures.failed("disk", "is full", 1);
    failures.failed("disk", "is full", 2);
    failures.failed("disk", "is broken", 3);
    failures.failed("disk", "is broken", 4);
    EXPECT_TRUE(failures.has_failures());
    failures.recovered("stick", "works", 5);
    failures.recovered("disk", "works", 5);
    failures.recovered("disk", "works", 6);
    EXPECT_FALSE(failures.has_failures());
    EXPECT_EQ(infos(), Lines{"disk works (2 failures have not been logged)\n"});
}

// Large writes that fail and small ones that do not, in turn, are no way to fill the log either.
TEST_F(FailureLogTest, IsNotFilledByFailuresThatComeAndGo) {
    for (std::uint64_t now = 1; now < 2 * kMinute; now += 100) {
        failures.failed("disk", "is full", now);
        failures.recovered("disk", "works", now);
    }
    EXPECT_EQ(errors(), (Lines{"disk is full\n", kComesAndGoes, "disk is full (600 times since the last line)\n",
                               kComesAndGoes}));
    EXPECT_EQ(infos(), (Lines{"disk works\n", "disk works\n"}));
}

TEST_F(FailureLogTest, TellsThatItFailsAgainSoonAfterItHasWorked) {
    failures.failed("disk", "is full", 1);
    failures.recovered("disk", "works", 2);
    failures.failed("disk", "is full", 3);
    EXPECT_EQ(errors(), (Lines{"disk is full\n", kComesAndGoes}));
    failures.failed("disk", "is full", 4);
    failures.catch_up(2 + kMinute);
    EXPECT_EQ(errors().size(), 2U);
    failures.catch_up(3 + kMinute);
    EXPECT_EQ(errors().back(), "disk is full (2 times since the last line)\n");
    failures.catch_up(4 + kMinute);
    EXPECT_EQ(errors().size(), 3U);
}

// Nothing may happen any more that would tell it otherwise.
TEST_F(FailureLogTest, TellsThatWhatHasComeAndGoneWorksInTheEnd) {
    failures.failed("disk", "is full", 1);
    failures.recovered("disk", "works", 2);
    failures.failed("disk", "is full", 3);
    failures.recovered("disk", "works", 4);
    EXPECT_EQ(infos().size(), 1U);
    EXPECT_TRUE(failures.has_failures());
    failures.catch_up(3 + kMinute);
    EXPECT_EQ(infos(), (Lines{"disk works\n", "disk works\n"}));
    EXPECT_FALSE(failures.has_failures());
}

TEST_F(FailureLogTest, TellsANewKindOfWhatComesAndGoes) {
    failures.failed("disk", "is full", 1);
    failures.recovered("disk", "works", 2);
    failures.failed("disk", "is full", 3);
    failures.failed("disk", "is broken", 4);
    EXPECT_EQ(errors().back(), "disk is broken; it comes and goes, and is told again in a minute\n");
}
