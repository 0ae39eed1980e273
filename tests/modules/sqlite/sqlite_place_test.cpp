// SPDX-License-Identifier: MIT
// Files of sqlite.so that are moved, removed or replaced while it has them open: it must not answer that a change is
// safe which no restart will find.
#include "sqlite/sqlite_storage.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

using namespace varnel;
using namespace varnel::test;

namespace {

namespace fs = std::filesystem;

class SqlitePlace : public testing::TestWithParam<const char *> {
protected:
    void SetUp() override {
        ASSERT_EQ(0, store_.set("g", "before", make_int32(1)));
        ASSERT_EQ(DURABILITY_FILE, store_.sync(DURABILITY_FILE));
    }

    // Whether a change is made in memory and not answered as safe.
    [[nodiscard]] bool change_is_in_memory_only() const {
        return store_.set("g", "after", make_int32(2)) == 0 && store_.sync() == -ENODEV &&
               store_.sync(DURABILITY_MEMORY) == -ENODEV && store_.read("g", "after") == "int32_t 2";
    }

    SqliteFolder folder_;
    Storage storage_ = folder_.open({{"journal", GetParam()}});
    Store store_ = storage_.store();
    std::string aside_ = folder_.folder() + "-aside";
};

} // namespace

TEST_P(SqlitePlace, AFolderThatWasMovedIsWrittenAgainWhenItIsBack) {
    fs::rename(folder_.folder(), aside_);
    EXPECT_TRUE(change_is_in_memory_only());
    fs::rename(aside_, folder_.folder());
    EXPECT_EQ(DURABILITY_FILE, store_.sync(DURABILITY_FILE));
    const SqliteFolder copy;
    fs::copy(folder_.folder(), copy.folder());
    EXPECT_EQ(content_of(store_), content_of(copy.open().store()));
}

TEST_P(SqlitePlace, AFolderThatWasRemovedTakesNoChangesAnyMore) {
    fs::remove_all(folder_.folder());
    EXPECT_TRUE(change_is_in_memory_only());
    EXPECT_EQ("int32_t 1", store_.read("g", "before"));
}

TEST_P(SqlitePlace, AFileThatWasReplacedTakesNoChangesAnyMore) {
    fs::copy_file(folder_.file(), aside_);
    fs::rename(aside_, folder_.file());
    EXPECT_TRUE(change_is_in_memory_only());
}

TEST_P(SqlitePlace, WithNothingToWriteTheAnswerIsTheSame) {
    fs::rename(folder_.folder(), aside_);
    EXPECT_EQ(-ENODEV, store_.sync());
}

INSTANTIATE_TEST_SUITE_P(Journals, SqlitePlace, testing::Values("wal", "delete", "truncate", "persist"),
                         [](const auto &journal) { return std::string(journal.param); });

TEST(SqliteLogPlace, ALogThatWasRemovedTakesNoChangesAnyMore) {
    for (const bool written : {false, true}) {
        const SqliteFolder folder;
        const Storage storage = folder.open();
        const Store store = storage.store();
        ASSERT_EQ(0, written ? store.set("g", "n", make_int32(1)) : 0);
        ASSERT_EQ(DURABILITY_FILE, store.sync(DURABILITY_FILE));
        fs::remove(folder.file("-wal"));
        ASSERT_EQ(0, store.set("g", "n", make_int32(2)));
        EXPECT_EQ(-ENODEV, store.sync()) << written;
    }
}

TEST(SqliteLogPlace, TheLogOfAnotherStoreInThePlaceOfAFolderThatWasMovedStays) {
    const SqliteFolder folder;
    const std::string aside = folder.folder() + "-aside";
    {
        const Storage first = folder.open();
        ASSERT_EQ(0, first.store().set("g", "n", make_int32(1)));
        ASSERT_EQ(DURABILITY_FOLDER, first.store().sync());
        fs::rename(folder.folder(), aside);
        const SqliteFolder other;
        const Storage second = other.open();
        ASSERT_EQ(0, second.store().set("g", "n", make_int32(2)));
        ASSERT_EQ(DURABILITY_FOLDER, second.store().sync());
        fs::copy(other.folder(), folder.folder());
    }
    EXPECT_EQ("int32_t 2", folder.open().store().read("g", "n"));
    EXPECT_EQ("int32_t 1", folder.open({{"folder", aside}}).store().read("g", "n"));
}

TEST(SqliteLogPlace, IsFoundBehindALink) {
    const SqliteFolder folder;
    ASSERT_EQ(0, folder.open().store().set("g", "n", make_int32(1)));
    fs::rename(folder.file(), folder.folder() + "/real");
    fs::create_symlink("real", folder.file());
    const Storage storage = folder.open();
    ASSERT_EQ(0, storage.store().set("g", "n", make_int32(2)));
    EXPECT_EQ(DURABILITY_FOLDER, storage.store().sync());
}
