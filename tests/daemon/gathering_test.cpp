// SPDX-License-Identifier: MIT
#include "daemon/gathering.h"

#include <gtest/gtest.h>

using varnel::daemon::Gathering;

TEST(Gathering, EndsATurnWithoutRequests) {
    Gathering gathering;
    EXPECT_FALSE(gathering.goes_on(0));
    EXPECT_FALSE(gathering.goes_on(0));
}

TEST(Gathering, AnswersARequestAloneAtOnce) {
    Gathering gathering;
    for (std::uint64_t requests = 1; requests < 10; ++requests)
        EXPECT_FALSE(gathering.goes_on(requests));
}

TEST(Gathering, LooksAgainForAsLongAsMoreArrive) {
    Gathering gathering;
    EXPECT_TRUE(gathering.goes_on(25));
    EXPECT_TRUE(gathering.goes_on(40));
    EXPECT_FALSE(gathering.goes_on(40));
    EXPECT_FALSE(gathering.goes_on(41)); // the next turn has brought one only
    EXPECT_TRUE(gathering.goes_on(43));
    EXPECT_FALSE(gathering.goes_on(43));
}

TEST(Gathering, EndsATurnInWhichRequestsNeverStop) {
    Gathering gathering;
    std::uint64_t requests = 0;
    for (int turn = 0; turn < 3; ++turn) {
        for (int again = 0; again < Gathering::kMost; ++again)
            EXPECT_TRUE(gathering.goes_on(requests += 2)) << turn << " " << again;
        EXPECT_FALSE(gathering.goes_on(requests += 2)) << turn;
    }
}
