// SPDX-License-Identifier: MIT
#include "daemon/line_budget.h"

#include "support/log_capture.h"

#include <gtest/gtest.h>

using varnel::daemon::LineBudget;

namespace {

using Lines = std::vector<std::string>;

class LineBudgetTest : public testing::Test {
public:
    static constexpr std::uint64_t kMinute = 60000; // milliseconds

    // Asks for lines, and how many of them may be logged.
    std::uint64_t allowed(std::uint64_t lines, std::uint64_t now) {
        std::uint64_t count = 0;
        for (std::uint64_t i = 0; i < lines; ++i)
            count += budget.allows(now) ? 1 : 0;
        return count;
    }
    Lines told() const { return log_.texts(LogLine::info); }
    LineBudget budget{"visits"};

private:
    LogCapture log_;
};

} // namespace

TEST_F(LineBudgetTest, AllowsSoManyLinesAMinuteAndTellsOfTheRest) {
    EXPECT_EQ(allowed(1000, 5000), LineBudget::kMost);
    EXPECT_EQ(allowed(1000, 5000 + kMinute - 1), 0U);
    EXPECT_EQ(told(), Lines{});
    EXPECT_EQ(allowed(1000, 5000 + kMinute), LineBudget::kMost);
    EXPECT_EQ(told(), Lines{"visits: 1980 more, which have not been logged\n"});
}

TEST_F(LineBudgetTest, SaysNothingWhenNothingWasLeftOut) {
    EXPECT_EQ(allowed(LineBudget::kMost, 5000), LineBudget::kMost);
    budget.catch_up(5000 + kMinute);
    EXPECT_EQ(allowed(LineBudget::kMost, 5000 + kMinute), LineBudget::kMost);
    budget.finish();
    EXPECT_EQ(told(), Lines{});
}

TEST_F(LineBudgetTest, TellsOfTheRestWithoutAFurtherLine) {
    allowed(LineBudget::kMost + 1, 5000);
    budget.catch_up(5000 + kMinute - 1);
    EXPECT_EQ(told(), Lines{});
    budget.catch_up(5000 + kMinute);
    budget.catch_up(5000 + 2 * kMinute);
    EXPECT_EQ(told(), Lines{"visits: 1 more, which have not been logged\n"});
}

TEST_F(LineBudgetTest, TellsOfTheRestAtTheEnd) {
    allowed(LineBudget::kMost + 2, 5000);
    budget.finish();
    budget.finish();
    EXPECT_EQ(told(), Lines{"visits: 2 more, which have not been logged\n"});
}
