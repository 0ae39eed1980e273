// SPDX-License-Identifier: MIT
#include "daemon/repeats.h"

#include <gtest/gtest.h>

using varnel::daemon::Repeats;
using varnel::protocol::Bytes;

TEST(Repeats, AreTheSameIdWithTheSameContent) {
    Repeats repeats;
    EXPECT_TRUE(repeats.is_new(1, Bytes{1, 2}));
    EXPECT_TRUE(repeats.is_new(2, Bytes{1, 2}));
    EXPECT_TRUE(repeats.is_new(1, Bytes{1, 3}));
    EXPECT_FALSE(repeats.is_new(1, Bytes{1, 2}));
    EXPECT_FALSE(repeats.is_new(2, Bytes{1, 2}));
}

TEST(Repeats, OfTheLatestRequestsAreKnown) {
    Repeats repeats;
    const std::uint32_t last = 3 * Repeats::kMost + 7;
    for (std::uint32_t id = 1; id <= last; ++id)
        EXPECT_TRUE(repeats.is_new(id, Bytes{1}));
    for (std::uint32_t id = last - Repeats::kMost + 1; id <= last; ++id)
        EXPECT_FALSE(repeats.is_new(id, Bytes{1})) << id;
    EXPECT_TRUE(repeats.is_new(last - Repeats::kMost, Bytes{1}));
}
