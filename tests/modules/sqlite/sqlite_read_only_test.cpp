// SPDX-License-Identifier: MIT
// sqlite.so on a file system that is read-only: what was answered as durable is read, and nothing is changed.
#include "sqlite/sqlite_storage.h"
#include "support/own_mount.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

using namespace varnel;
using namespace varnel::test;

namespace {

namespace fs = std::filesystem;

class SqliteReadOnly : public testing::Test {
protected:
    SqliteFolder folder_;
    OwnMount mount_{fs::path(folder_.folder()).parent_path()};
};

class SqliteReadOnlyJournals : public SqliteReadOnly, public testing::WithParamInterface<const char *> {
protected:
    [[nodiscard]] Storage open() const { return folder_.open({{"journal", GetParam()}}); }
};

testing::AssertionResult takes_no_changes(const Store &store) {
    const std::vector<int> answers{store.set("g", "n", make_int32(1)),
                                   store.set("numbers", "n", make_int32(1)),
                                   store.create_group("g"),
                                   store.create_group("numbers"),
                                   store.unset("numbers", "n"),
                                   store.unset("numbers")};
    for (const int answer : answers) {
        if (answer != -EROFS)
            return testing::AssertionFailure() << "answers " << testing::PrintToString(answers);
    }
    return testing::AssertionSuccess();
}

// The files as a loss of power would leave them while somebody has them open.
void copy_files(const SqliteFolder &from, const SqliteFolder &to) {
    fs::copy(from.folder(), to.folder());
}

} // namespace

TEST_P(SqliteReadOnlyJournals, EverythingIsReadAndNothingChanged) {
    Content before;
    {
        const Storage storage = open();
        fill_with_everything(storage.store());
        before = *content_of(storage.store());
    }
    const std::string file = read_file(folder_.file());
    mount_.make_read_only();
    {
        const Storage storage = open();
        EXPECT_EQ(before, content_of(storage.store()));
        EXPECT_TRUE(takes_no_changes(storage.store()));
        EXPECT_EQ(-EINVAL, storage.store().set("g", "a:b", make_int32(1)));
        EXPECT_EQ(-EINVAL, storage.store().create_group("a:b"));
        EXPECT_EQ(DURABILITY_FOLDER, storage.store().sync());
        EXPECT_EQ(before, content_of(storage.store()));
    }
    EXPECT_EQ(file, read_file(folder_.file()));
}

TEST_P(SqliteReadOnlyJournals, WhatALossOfPowerLeftIsRead) {
    const SqliteFolder other;
    const Storage storage = other.open({{"journal", GetParam()}});
    fill_with_everything(storage.store());
    ASSERT_EQ(DURABILITY_FILE, storage.store().sync(DURABILITY_FILE));
    ASSERT_EQ(0, storage.store().unset("numbers"));
    ASSERT_EQ(DURABILITY_FILE, storage.store().sync(DURABILITY_FILE));
    copy_files(other, folder_);
    mount_.make_read_only();
    const Storage copy = open();
    EXPECT_EQ(content_of(storage.store()), content_of(copy.store()));
    EXPECT_TRUE(takes_no_changes(copy.store()));
}

INSTANTIATE_TEST_SUITE_P(Journals, SqliteReadOnlyJournals, testing::Values("wal", "delete", "truncate", "persist"),
                         [](const auto &journal) { return std::string(journal.param); });

TEST_F(SqliteReadOnly, TheLogIsFoundBehindALink) {
    const SqliteFolder other;
    const Storage storage = other.open();
    ASSERT_EQ(0, storage.store().set("g", "n", make_int32(1)));
    ASSERT_EQ(DURABILITY_FILE, storage.store().sync(DURABILITY_FILE));
    copy_files(other, folder_);
    const std::string real = folder_.folder() + "/real";
    fs::rename(folder_.file(), real);
    fs::rename(folder_.file("-wal"), real + "-wal");
    fs::create_symlink("real", folder_.file());
    mount_.make_read_only();
    EXPECT_EQ("int32_t 1", folder_.open().store().read("g", "n"));
}

TEST_F(SqliteReadOnly, AMissingFileIsAnEmptyStore) {
    fs::create_directory(folder_.folder());
    mount_.make_read_only();
    const Storage storage = folder_.open();
    EXPECT_EQ(Content(), content_of(storage.store()));
    EXPECT_TRUE(takes_no_changes(storage.store()));
    EXPECT_EQ(DURABILITY_FOLDER, storage.store().sync());
}

TEST_F(SqliteReadOnly, AMissingFolderIsAnEmptyStoreButNotOneWithoutAFolderAbove) {
    mount_.make_read_only();
    EXPECT_EQ(Content(), content_of(folder_.open().store()));
    EXPECT_TRUE(takes_no_changes(folder_.open().store()));
    EXPECT_TRUE(answers_always(folder_.open({{"folder", folder_.folder() + "/deeper"}}).store(), -ENODEV));
}

TEST_F(SqliteReadOnly, TheLogTellsOfIt) {
    mount_.make_read_only();
    testing::internal::CaptureStderr();
    static_cast<void>(folder_.open().store().set("g", "n", make_int32(1)));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, log.find(folder_.file() + ": takes no changes: its file system is read-only")) << log;
}

// Half of a change is in the file, and taking it back would be a change.
TEST_F(SqliteReadOnly, AnInterruptedChangeIsRefused) {
    const SqliteFolder other;
    fill_with_everything(other.open({{"journal", "delete"}}).store());
    sqlite3 *database = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(other.file().c_str(), &database));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(database,
                                      "PRAGMA cache_size=1; PRAGMA cache_spill=1; BEGIN;"
                                      "UPDATE settings SET value=zeroblob(50000) WHERE group_name='strings'",
                                      nullptr, nullptr, nullptr));
    copy_files(other, folder_);
    sqlite3_close(database);
    ASSERT_NE("", read_file(folder_.file("-journal")));
    mount_.make_read_only();
    testing::internal::CaptureStderr();
    EXPECT_TRUE(answers_always(folder_.open().store(), -ENODEV));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, log.find("interrupted")) << log;
}

TEST_F(SqliteReadOnly, DamageIsRefused) {
    fill_with_everything(folder_.open().store());
    folder_.run("UPDATE groups SET checksum=checksum+1 WHERE name='empty'");
    mount_.make_read_only();
    EXPECT_TRUE(answers_always(folder_.open().store(), -EBADMSG));
}

TEST_F(SqliteReadOnly, AFileThatIsMissingBesideItsLogIsRefused) {
    fs::create_directory(folder_.folder());
    write_file(folder_.file("-wal"), "changes");
    mount_.make_read_only();
    EXPECT_TRUE(answers_always(folder_.open().store(), -EBADMSG));
}

// A program in a container may see the folder of one outside.
TEST_F(SqliteReadOnly, AFileThatAnotherProcessWritesIsRefused) {
    const TemporaryFolder other;
    mount_.show_read_only_in(other.path());
    int ready[2] = {};
    int done[2] = {};
    ASSERT_EQ(0, pipe(ready));
    ASSERT_EQ(0, pipe(done));
    const pid_t child = fork();
    if (child == 0) {
        const Storage storage = folder_.open();
        const bool good = storage.store().set("g", "n", make_int32(1)) == 0 && storage.store().sync() >= 0;
        char byte = good ? 'y' : 'n';
        _exit(write(ready[1], &byte, 1) == 1 && read(done[0], &byte, 1) == 1 ? 0 : 1);
    }
    char byte = 0;
    ASSERT_EQ(1, read(ready[0], &byte, 1));
    EXPECT_EQ('y', byte);
    {
        const Storage storage = folder_.open({{"folder", other.path("store")}});
        EXPECT_TRUE(answers_always(storage.store(), -EBUSY));
    }
    ASSERT_EQ(1, write(done[1], &byte, 1));
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ("int32_t 1", folder_.open({{"folder", other.path("store")}}).store().read("g", "n"));
}
