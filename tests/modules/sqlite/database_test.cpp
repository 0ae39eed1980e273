// SPDX-License-Identifier: MIT
// What the module makes of SQLite's failures.
#include "modules/sqlite/database.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

namespace varnel::modules {

namespace {

// What a call throws while errno holds what an earlier failure has left; 0 when it throws nothing.
int result_behind_a_failure(const std::function<void()> &call) {
    errno = ENOSPC;
    try {
        call();
    } catch (const StoreError &error) {
        return error.result();
    }
    return 0;
}

class DatabaseTest : public testing::Test {
protected:
    Database database{":memory:"};
    Statement statement{database, "SELECT ?1"};
};

} // namespace

TEST_F(DatabaseTest, TakesNoReasonFromAFailureBefore) {
    EXPECT_EQ(-EIO, result_behind_a_failure([this] { statement.bind(2, 7); })); // there is one parameter
    EXPECT_EQ(-EIO, result_behind_a_failure([this] { statement.bind_text(2, "x"); }));
    EXPECT_EQ(-EIO, result_behind_a_failure([this] { statement.bind_bytes(2, "x"); }));
    EXPECT_EQ(-EBADMSG, result_behind_a_failure([this] { const Statement wrong(database, "SELEKT"); }));
}

TEST_F(DatabaseTest, ThrowsNothingWhenASuccessLeavesErrnoBehind) {
    EXPECT_EQ(0, result_behind_a_failure([this] { statement.bind(1, 7).step(); }));
    EXPECT_EQ(7, statement.number(0));
}

} // namespace varnel::modules
