// SPDX-License-Identifier: MIT
#include "daemon/lock_table.h"

#include <gtest/gtest.h>

using namespace varnel::daemon;

namespace {

Scope key(const char *group, const char *name = "") {
    return {"user", group, name};
}

// A table, with what became of waits in words: "2:7 granted" is request 7 of connection 2.
class LockTableTest : public testing::Test {
public:
    std::string words() {
        std::string text;
        for (const Waited &wait : done_) {
            EXPECT_EQ(wait.layer, "user");
            text += std::to_string(wait.connection) + ":" + std::to_string(wait.request) +
                    (wait.granted ? " granted " : " ended ");
        }
        done_.clear();
        return text;
    }
    bool unlock(ConnectionNumber connection, const Scope &scope) { return table.unlock(connection, scope, &done_); }
    std::string forget(ConnectionNumber connection) {
        table.forget(connection, &done_);
        return words();
    }
    std::string expire(std::uint64_t now) {
        table.expire(now, &done_);
        return words();
    }
    void wait(ConnectionNumber connection, std::uint32_t request, const Scope &scope, std::uint64_t deadline = 1000) {
        EXPECT_FALSE(table.try_lock(connection, scope));
        table.wait(connection, request, scope, deadline);
    }

    LockTable table;

private:
    std::vector<Waited> done_;
};

} // namespace

TEST_F(LockTableTest, LocksConflictOnTheSameKeyAndWithTheGroupThatIncludesIt) {
    const struct {
        Scope held, asked;
        bool conflict;
    } rows[] = {
        {key("net"), key("net"), true},
        {key("net"), key("net", "port"), true},
        {key("net", "port"), key("net"), true},
        {key("net", "port"), key("net", "port"), true},
        {key("net", "port"), key("net", "host"), false},
        {key("net"), key("nets"), false},
        {key("net", "port"), key("other", "port"), false},
        {key("net"), {"volatile", "net", ""}, false},
        {key("net", "port"), {"volatile", "net", "port"}, false},
    };
    for (const auto &row : rows) {
        LockTable locks;
        EXPECT_TRUE(locks.try_lock(1, row.held));
        EXPECT_EQ(locks.try_lock(2, row.asked), !row.conflict) << row.held.name << " " << row.asked.name;
        EXPECT_EQ(locks.holder(row.asked, 9), row.conflict ? 1U : 2U);
        EXPECT_EQ(locks.holder(row.asked, row.conflict ? 1 : 2), std::nullopt); // but for itself
    }
}

TEST_F(LockTableTest, WhatOneHoldsCountsOnce) {
    EXPECT_TRUE(table.try_lock(1, key("net")));
    EXPECT_TRUE(table.try_lock(1, key("net")));
    EXPECT_EQ(table.count(1), 1U);
    EXPECT_TRUE(unlock(1, key("net")));
    EXPECT_FALSE(unlock(1, key("net")));
    EXPECT_TRUE(table.try_lock(2, key("net")));
}

TEST_F(LockTableTest, OneConnectionsLocksDoNotConflict) {
    EXPECT_TRUE(table.try_lock(1, key("net")));
    EXPECT_TRUE(table.try_lock(1, key("net", "port")));
    EXPECT_TRUE(table.try_lock(1, key("net", "host")));
    EXPECT_EQ(table.count(1), 3U);
    EXPECT_TRUE(table.holds(1, key("net", "port")));
    EXPECT_FALSE(table.holds(1, key("net", "mask")));
    EXPECT_FALSE(table.holds(2, key("net", "port")));
    EXPECT_TRUE(unlock(1, key("net")));
    EXPECT_FALSE(table.try_lock(2, key("net"))); // the values are locked still
    EXPECT_TRUE(table.try_lock(2, key("net", "mask")));
}

TEST_F(LockTableTest, UnlockingWhatIsNotHeldIsFalse) {
    EXPECT_FALSE(unlock(1, key("net")));
    EXPECT_TRUE(table.try_lock(1, key("net", "port")));
    EXPECT_FALSE(unlock(1, key("net")));
    EXPECT_FALSE(unlock(2, key("net", "port")));
    EXPECT_TRUE(table.holds(1, key("net", "port")));
}

TEST_F(LockTableTest, WaitersAreServedInTheOrderInWhichTheyCame) {
    EXPECT_TRUE(table.try_lock(1, key("net")));
    wait(2, 20, key("net"));
    wait(3, 30, key("net", "port"));
    wait(4, 40, key("net", "host"));
    EXPECT_TRUE(unlock(1, key("net")));
    EXPECT_EQ(words(), "2:20 granted ");
    EXPECT_TRUE(unlock(2, key("net")));
    EXPECT_EQ(words(), "3:30 granted 4:40 granted ");
    EXPECT_EQ(table.holder(key("net", "port")).value_or(0), 3U);
}

TEST_F(LockTableTest, NobodyPassesThoseWhoWait) {
    EXPECT_TRUE(table.try_lock(1, key("net", "port")));
    wait(2, 20, key("net"));
    EXPECT_FALSE(table.try_lock(3, key("net", "host"))); // free, but 2 waits for the group
    EXPECT_TRUE(table.try_lock(3, key("other")));
    EXPECT_TRUE(unlock(1, key("net", "port")));
    EXPECT_EQ(words(), "2:20 granted ");
}

// Whoever waits for this very connection cannot be served before it: letting it wait behind them would be for ever.
TEST_F(LockTableTest, AHolderPassesThoseWhoWaitForIt) {
    EXPECT_TRUE(table.try_lock(1, key("net")));
    wait(2, 20, key("net"));
    EXPECT_TRUE(table.try_lock(1, key("net", "port")));

    EXPECT_TRUE(table.try_lock(5, key("disk", "size")));
    wait(6, 60, key("disk"));
    EXPECT_TRUE(table.try_lock(5, key("disk")));
    EXPECT_TRUE(unlock(5, key("disk", "size")));
    EXPECT_EQ(words(), "");
    EXPECT_TRUE(unlock(5, key("disk")));
    EXPECT_EQ(words(), "6:60 granted ");
}

// The same for a holder that waits for somebody else.
TEST_F(LockTableTest, AWaitingHolderIsServedBeforeThoseWhoWaitForIt) {
    EXPECT_TRUE(table.try_lock(1, key("net", "port")));
    EXPECT_TRUE(table.try_lock(2, key("net", "host")));
    wait(3, 30, key("net"));
    wait(1, 10, key("net"));
    EXPECT_TRUE(unlock(2, key("net", "host")));
    EXPECT_EQ(words(), "1:10 granted ");
    EXPECT_EQ(forget(1), "3:30 granted ");
}

TEST_F(LockTableTest, WaitsEndAtTheirDeadlines) {
    EXPECT_TRUE(table.try_lock(1, key("net")));
    EXPECT_EQ(table.next_deadline(), std::nullopt);
    wait(2, 20, key("net"), 500);
    wait(3, 30, key("net"), 300);
    EXPECT_EQ(table.next_deadline(), 300U);
    EXPECT_EQ(expire(299), "");
    EXPECT_EQ(expire(300), "3:30 ended ");
    EXPECT_EQ(table.next_deadline(), 500U);
    EXPECT_EQ(expire(10000), "2:20 ended ");
    EXPECT_EQ(table.next_deadline(), std::nullopt);
    EXPECT_EQ(table.count(2) + table.count(3), 0U);
}

TEST_F(LockTableTest, AWaitThatEndsLetsThoseBehindItPass) {
    EXPECT_TRUE(table.try_lock(1, key("net", "port")));
    wait(2, 20, key("net"), 300);
    wait(3, 30, key("net", "host"), 500);
    EXPECT_EQ(expire(300), "2:20 ended 3:30 granted ");
}

TEST_F(LockTableTest, UnlockingEndsTheConnectionsOwnWait) {
    EXPECT_TRUE(table.try_lock(1, key("net", "port")));
    wait(2, 20, key("net"));
    wait(3, 30, key("net", "host"));
    EXPECT_TRUE(unlock(2, key("net")));
    EXPECT_EQ(words(), "2:20 ended 3:30 granted ");
    EXPECT_EQ(table.count(2), 0U);
}

TEST_F(LockTableTest, AWaitCountsAsALock) {
    EXPECT_TRUE(table.try_lock(1, key("net")));
    EXPECT_TRUE(table.try_lock(2, key("other")));
    wait(2, 20, key("net"));
    EXPECT_EQ(table.count(2), 2U);
    EXPECT_TRUE(unlock(1, key("net")));
    EXPECT_EQ(table.count(2), 2U);
    EXPECT_EQ(table.count(1), 0U);
}

TEST_F(LockTableTest, TwoWaitsForOneKeyBecomeOneLock) {
    EXPECT_TRUE(table.try_lock(1, key("net")));
    wait(2, 20, key("net"));
    wait(2, 21, key("net"));
    EXPECT_TRUE(unlock(1, key("net")));
    EXPECT_EQ(words(), "2:20 granted 2:21 granted ");
    EXPECT_EQ(table.count(2), 1U);
    EXPECT_TRUE(unlock(2, key("net")));
    EXPECT_TRUE(table.try_lock(3, key("net")));
}

TEST_F(LockTableTest, ForgettingGivesUpEverything) {
    EXPECT_TRUE(table.try_lock(1, key("net")));
    EXPECT_TRUE(table.try_lock(1, key("disk", "size")));
    EXPECT_TRUE(table.try_lock(9, key("other")));
    wait(1, 10, key("other"));
    wait(2, 20, key("net"));
    wait(3, 30, key("disk"));
    EXPECT_EQ(forget(1), "2:20 granted 3:30 granted "); // nothing about its own wait
    EXPECT_EQ(table.count(1), 0U);
    EXPECT_TRUE(unlock(9, key("other")));
    EXPECT_EQ(words(), "");
    EXPECT_TRUE(table.try_lock(4, key("other")));
}

TEST_F(LockTableTest, ForgettingAConnectionWithoutLocksChangesNothing) {
    EXPECT_TRUE(table.try_lock(1, key("net")));
    wait(2, 20, key("net"));
    EXPECT_EQ(forget(7), "");
    EXPECT_EQ(table.holder(key("net")).value_or(0), 1U);
}
