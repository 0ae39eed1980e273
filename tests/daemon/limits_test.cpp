// SPDX-License-Identifier: MIT
#include "daemon/limits.h"

#include <gtest/gtest.h>

using varnel::daemon::Limit;
using varnel::daemon::Limits;
using varnel::protocol::kLimits;

TEST(Limits, AreThoseOfTheTableAtFirst) {
    const Limits limits;
    for (std::size_t i = 0; i < std::size(kLimits); ++i)
        EXPECT_EQ(limits[static_cast<Limit>(i)], kLimits[i].fallback) << kLimits[i].name;
}

TEST(Limits, TakeEveryNumberWithinTheBounds) {
    for (std::size_t i = 0; i < std::size(kLimits); ++i) {
        Limits limits;
        for (const std::uint32_t number : {kLimits[i].least, kLimits[i].most, kLimits[i].fallback}) {
            EXPECT_EQ(limits.set(kLimits[i].name, std::to_string(number)), std::nullopt);
            EXPECT_EQ(limits[static_cast<Limit>(i)], number) << kLimits[i].name;
        }
    }
}

TEST(Limits, SetOneAndNoOther) {
    Limits limits;
    EXPECT_EQ(limits.set("locks", "7"), std::nullopt);
    const Limits untouched;
    for (std::size_t i = 0; i < std::size(kLimits); ++i)
        EXPECT_EQ(limits[static_cast<Limit>(i)],
                  static_cast<Limit>(i) == Limit::locks ? 7 : untouched[static_cast<Limit>(i)]);
}

TEST(Limits, RefuseEveryNumberOutsideTheBounds) {
    for (std::size_t i = 0; i < std::size(kLimits); ++i) {
        Limits limits;
        for (const std::uint64_t number :
             {std::uint64_t{kLimits[i].least} - 1, std::uint64_t{kLimits[i].most} + 1, std::uint64_t{UINT32_MAX} + 1,
              std::uint64_t{UINT32_MAX} + 1 + kLimits[i].fallback}) {
            const std::string text = std::to_string(number);
            EXPECT_EQ(limits.set(kLimits[i].name, text).value_or(""),
                      std::string("limit ") + kLimits[i].name + ": \"" + text + "\" is no number from " +
                          std::to_string(kLimits[i].least) + " to " + std::to_string(kLimits[i].most));
            EXPECT_EQ(limits[static_cast<Limit>(i)], kLimits[i].fallback);
        }
    }
}

TEST(Limits, RefuseTextsThatAreNoNumbers) {
    Limits limits;
    for (const char *const text : {"", " ", "many", "64 ", " 64", "+64", "-64", "64k", "0x40", "6.4", "64\n"})
        EXPECT_NE(limits.set("locks", text), std::nullopt) << "\"" << text << "\"";
    EXPECT_EQ(limits[Limit::locks], 64U);
}

TEST(Limits, PromiseNoLargerMessagesThanThePacketsHold) {
    Limits limits;
    EXPECT_EQ(limits.fit(), std::nullopt);
    limits.set("packets", "3");
    EXPECT_EQ(limits.fit().value_or(""),
              "limit message_bytes is 3006, not 262144: that is what the limit packets of 3 holds");
    EXPECT_EQ(limits[Limit::message_bytes], 3006U);
    EXPECT_EQ(limits[Limit::packets], 3U);
    EXPECT_EQ(limits.fit(), std::nullopt);
    limits.set("packets", "65536");
    EXPECT_EQ(limits.fit(), std::nullopt);
}

TEST(Limits, RefuseNamesThatAreNone) {
    Limits limits;
    EXPECT_EQ(limits.set("lock", "1").value_or(""), "there is no limit \"lock\"");
    EXPECT_EQ(limits.set("", "1").value_or(""), "there is no limit \"\"");
    EXPECT_NE(limits.set("LOCKS", "1"), std::nullopt);
}
