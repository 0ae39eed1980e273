// SPDX-License-Identifier: MIT
// sqlite.so with a file that holds more than the setting allows: nothing is lost, and nothing more is taken.
#include "sqlite/sqlite_storage.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace varnel;
using namespace varnel::test;

namespace {

class SqliteBound : public testing::Test {
protected:
    // Two values of 3000 characters.
    void SetUp() override {
        const Storage storage = folder_.open();
        ASSERT_EQ(0, storage.store().set("g", "a", text(3000)));
        ASSERT_EQ(0, storage.store().set("g", "b", text(3000)));
        content_ = *content_of(storage.store());
    }

    static Value text(std::size_t length) { return make_string(std::string(length, 'v')); }
    [[nodiscard]] Storage open_lowered() const { return folder_.open({{"max_bytes", "4096"}}); }

    SqliteFolder folder_;
    Content content_;
};

} // namespace

TEST_F(SqliteBound, AFileBeyondTheSettingIsReadWholeAndTheLogTellsOnce) {
    testing::internal::CaptureStderr();
    {
        const Storage storage = open_lowered();
        EXPECT_EQ(content_, content_of(storage.store()));
        EXPECT_EQ(-EDQUOT, storage.store().set("g", "c", make_int32(1)));
        EXPECT_EQ(-EDQUOT, storage.store().set("g", "c", make_int32(1)));
        EXPECT_EQ(DURABILITY_FOLDER, storage.store().sync());
    }
    const std::string log = testing::internal::GetCapturedStderr();
    const std::string line = "_varnel: " + folder_.file() +
                             ": holds 6389 bytes, more than the 4096 of \"max_bytes\": all of it stays, but nothing is "
                             "taken that makes it more\n";
    const std::size_t found = log.find(line);
    ASSERT_NE(std::string::npos, found) << log;
    EXPECT_EQ(std::string::npos, log.find("bytes", found + line.size())) << log;
    EXPECT_EQ(content_, content_of(folder_.open().store()));
}

TEST_F(SqliteBound, WhatWasThereIsTakenBackThroughEveryState) {
    {
        const Storage storage = open_lowered();
        const Store store = storage.store();
        ASSERT_EQ(0, store.set("g", "a", text(2000)));
        ASSERT_EQ(0, store.unset("g", "b"));
        ASSERT_EQ(0, store.unset("g"));
        ASSERT_EQ(0, store.create_group("g"));
        ASSERT_EQ(0, store.set("g", "a", text(2000)));
        ASSERT_EQ(0, store.set("g", "b", text(3000)));
        ASSERT_EQ(0, store.set("g", "a", text(3000)));
        EXPECT_EQ(content_, content_of(store));
        EXPECT_EQ(-EDQUOT, store.set("g", "a", text(3001)));
    }
    EXPECT_EQ(content_, content_of(open_lowered().store()));
}

TEST_F(SqliteBound, TheNextStartHasTheBoundOfTheSettingWhenThereIsLess) {
    ASSERT_EQ(0, open_lowered().store().unset("g", "b"));
    testing::internal::CaptureStderr();
    const Storage storage = open_lowered();
    EXPECT_EQ(std::string::npos, testing::internal::GetCapturedStderr().find("max_bytes"));
    EXPECT_EQ(-EDQUOT, storage.store().set("g", "b", text(3000)));
    EXPECT_EQ(0, storage.store().set("g", "b", text(500)));
}

// What was not taken must not reach the file by way of the changes.
TEST_F(SqliteBound, WhatIsRefusedIsNotWritten) {
    {
        const Storage storage = open_lowered();
        ASSERT_EQ(-EDQUOT, storage.store().set("g", "a", text(4000)));
        ASSERT_EQ(-EDQUOT, storage.store().set("h", "n", make_int32(1)));
        ASSERT_EQ(-EDQUOT, storage.store().create_group("i"));
        ASSERT_EQ(0, storage.store().set("g", "b", text(2999)));
        content_ = *content_of(storage.store());
    }
    EXPECT_EQ(content_, content_of(folder_.open().store()));
}

TEST_F(SqliteBound, TextThatIsNoneIsAnsweredAlwaysAndTheFileStays) {
    EXPECT_TRUE(answers_always(folder_.open({{"max_bytes", "4095"}}).store(), -EINVAL));
    EXPECT_EQ(content_, content_of(folder_.open().store()));
}
