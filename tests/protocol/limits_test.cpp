// SPDX-License-Identifier: MIT
#include "protocol/limits.h"

#include <varnel/serialize.h>
#include <varnel/transport.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

using namespace varnel::protocol;

namespace {

const LimitRow &row_of(Limit limit) {
    return kLimits[static_cast<std::size_t>(limit)];
}

} // namespace

TEST(LimitTable, EveryRowHasItsDefaultWithinItsBounds) {
    for (const LimitRow &row : kLimits) {
        EXPECT_LE(row.least, row.fallback) << row.name;
        EXPECT_LE(row.fallback, row.most) << row.name;
        EXPECT_GE(row.least, 1U) << row.name;
    }
}

TEST(LimitTable, EveryRowHasANameOfItsOwnAUnitAndAReason) {
    std::set<std::string> names;
    for (const LimitRow &row : kLimits) {
        names.insert(row.name);
        EXPECT_EQ(std::string(row.name).find_first_not_of("abcdefghijklmnopqrstuvwxyz_"), std::string::npos);
        EXPECT_STRNE(row.unit, "");
        EXPECT_STRNE(row.reason, "");
    }
    EXPECT_EQ(names.size(), std::size(kLimits));
}

TEST(LimitTable, IsInTheOrderOfTheEnumeration) {
    EXPECT_STREQ(row_of(Limit::clients).name, "clients");
    EXPECT_STREQ(row_of(Limit::message_bytes).name, "message_bytes");
    EXPECT_STREQ(row_of(Limit::packets).name, "packets");
    EXPECT_STREQ(row_of(Limit::unfinished).name, "unfinished");
    EXPECT_STREQ(row_of(Limit::parameters).name, "parameters");
    EXPECT_STREQ(row_of(Limit::value_bytes).name, "value_bytes");
    EXPECT_STREQ(row_of(Limit::queue_bytes).name, "queue_bytes");
    EXPECT_STREQ(row_of(Limit::queue_messages).name, "queue_messages");
    EXPECT_STREQ(row_of(Limit::events).name, "events");
    EXPECT_STREQ(row_of(Limit::event_bytes).name, "event_bytes");
    EXPECT_STREQ(row_of(Limit::subscriptions).name, "subscriptions");
    EXPECT_STREQ(row_of(Limit::locks).name, "locks");
    EXPECT_STREQ(row_of(Limit::lock_wait).name, "lock_wait");
    EXPECT_STREQ(row_of(Limit::staged_bytes).name, "staged_bytes");
    EXPECT_STREQ(row_of(Limit::kept_bytes).name, "kept_bytes");
    EXPECT_STREQ(row_of(Limit::history_events).name, "history_events");
    EXPECT_STREQ(row_of(Limit::history_bytes).name, "history_bytes");
    EXPECT_STREQ(row_of(Limit::idle).name, "idle");
    EXPECT_STREQ(row_of(Limit::stall).name, "stall");
    EXPECT_STREQ(row_of(Limit::rate).name, "rate");
}

TEST(LimitTable, AgreesWithTheFormats) {
    EXPECT_EQ(kMostParameters, std::uint32_t{XMESSAGE_MAX_PARAMS});
    EXPECT_EQ(row_of(Limit::value_bytes).most, 65535U); // a string's length has 16 bits
    // A request of the largest size arrives whole by default.
    EXPECT_GE(row_of(Limit::packets).fallback * PACKET_PAYLOAD_MAX, row_of(Limit::message_bytes).fallback);
    // And one client may do all that it may do without being the one that has too much.
    EXPECT_GE(row_of(Limit::kept_bytes).fallback,
              2 * row_of(Limit::queue_bytes).fallback + row_of(Limit::staged_bytes).fallback +
                  2 * row_of(Limit::event_bytes).fallback +
                  row_of(Limit::unfinished).fallback * row_of(Limit::packets).fallback * PACKET_SIZE);
    // So does an event: two values of the largest size.
    EXPECT_GE(row_of(Limit::history_bytes).least, 2 * row_of(Limit::value_bytes).most);
    EXPECT_GE(row_of(Limit::message_bytes).fallback, 2 * row_of(Limit::value_bytes).most);
}
