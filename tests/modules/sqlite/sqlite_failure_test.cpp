// SPDX-License-Identifier: MIT
// sqlite.so on a storage that fails: nothing is lost in memory, and a later sync writes it. And what it syncs when.
#include "sqlite/sqlite_storage.h"
#include "sqlite/system_calls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <random>
#include <thread>
#include <utility>

using namespace varnel;
using namespace varnel::test;

namespace {

using Lines = std::vector<std::string>;

class SqliteFailure : public testing::TestWithParam<const char *> {
protected:
    [[nodiscard]] Storage open() const { return folder_.open({{"journal", GetParam()}}); }

    // What somebody would find who opened the files as they are now.
    [[nodiscard]] std::optional<Content> content_of_copy() const {
        const SqliteFolder copy;
        std::filesystem::copy(folder_.folder(), copy.folder());
        const Storage storage = copy.open({{"journal", GetParam()}});
        return content_of(storage.store());
    }

    SqliteFolder folder_;
};

// No file grows beyond that size.
class FullDisk : public SystemObserver {
public:
    explicit FullDisk(std::uint64_t size, int error = ENOSPC) : size_(size), error_(error) {}
    int write_error(std::uint64_t end) override { return end > size_ ? error_ : 0; }

private:
    std::uint64_t size_;
    int error_;
};

class BrokenFolder : public SystemObserver {
public:
    int folder_sync_error() override { return EIO; }
};

// Fails the syncs that it is told to, and counts those of folders.
class Syncs : public SystemObserver {
public:
    int sync_error() override { return std::exchange(next_error, 0); }
    void synced_folder(const std::string &path) override { folders.push_back(path); }

    int next_error = 0;
    std::vector<std::string> folders;
};

} // namespace

TEST_P(SqliteFailure, AFullDiskKeepsTheChangesInMemoryUntilThereIsRoom) {
    {
        const Storage storage = open();
        const Store store = storage.store();
        ASSERT_EQ(0, store.set("g", "before", make_int32(1)));
        ASSERT_EQ(DURABILITY_FILE, store.sync(DURABILITY_FILE));
        const Content before = *content_of(store);
        ASSERT_EQ(0, store.set("g", "small", make_int32(2)));
        ASSERT_EQ(0, store.set("h", "large", make_string(std::string(300'000, 'v'))));
        {
            const FullDisk full(100'000);
            EXPECT_EQ(-ENOSPC, store.sync());
            EXPECT_EQ(-ENOSPC, store.sync(DURABILITY_MEMORY));
        }
        EXPECT_EQ("int32_t 2", store.read("g", "small"));
        EXPECT_EQ(before, content_of_copy());
        ASSERT_EQ(0, store.set("g", "after", make_int32(3)));
        EXPECT_EQ(DURABILITY_FOLDER, store.sync());
        EXPECT_EQ(content_of(store), content_of_copy());
    }
    EXPECT_EQ((Lines{"user:g group", "user:g:after int32_t 3", "user:g:before int32_t 1", "user:g:small int32_t 2"}),
              open().store().listing(key_of("g").get()));
    EXPECT_NE(nullptr, open().store().get("h", "large"));
}

TEST_P(SqliteFailure, AFullDiskThatGetsRoomByRemovingIsWrittenAgain) {
    const Storage storage = open();
    ASSERT_EQ(0, storage.store().set("h", "large", make_string(std::string(300'000, 'v'))));
    {
        const FullDisk full(100'000);
        ASSERT_EQ(-ENOSPC, storage.store().sync());
        ASSERT_EQ(0, storage.store().unset("h"));
        ASSERT_EQ(0, storage.store().set("g", "n", make_int32(1)));
        EXPECT_EQ(DURABILITY_FILE, storage.store().sync(DURABILITY_FILE));
    }
    EXPECT_EQ(content_of(storage.store()), content_of_copy());
}

TEST_P(SqliteFailure, AQuotaAndALimitOfFilesAreLikeAFullDisk) {
    const Storage storage = open();
    ASSERT_EQ(0, storage.store().set("h", "large", make_string(std::string(300'000, 'v'))));
    for (const int error : {EDQUOT, EFBIG}) {
        const FullDisk full(100'000, error);
        EXPECT_EQ(-ENOSPC, storage.store().sync()) << error;
    }
    Syncs syncs;
    syncs.next_error = EDQUOT;
    EXPECT_EQ(-ENOSPC, storage.store().sync());
    EXPECT_EQ(DURABILITY_FILE, storage.store().sync(DURABILITY_FILE));
}

TEST_P(SqliteFailure, AnErrorThatIsNoFullDiskIsOneOfInputAndOutput) {
    class Broken : public SystemObserver {
    public:
        int write_error(std::uint64_t) override { return EIO; }
    };
    const Storage storage = open();
    ASSERT_EQ(0, storage.store().set("g", "n", make_int32(1)));
    {
        const Broken broken;
        EXPECT_EQ(-EIO, storage.store().sync());
    }
    EXPECT_EQ(DURABILITY_FILE, storage.store().sync(DURABILITY_FILE));
    EXPECT_EQ(content_of(storage.store()), content_of_copy());
}

TEST_P(SqliteFailure, AFailedSyncIsMadeUpForByTheNext) {
    const Storage storage = open();
    const Store store = storage.store();
    Syncs syncs;
    ASSERT_EQ(0, store.set("g", "n", make_int32(1)));
    syncs.next_error = EIO;
    EXPECT_EQ(-EIO, store.sync(DURABILITY_FILE));
    EXPECT_EQ("int32_t 1", store.read("g", "n"));
    EXPECT_EQ(DURABILITY_FILE, store.sync(DURABILITY_FILE));
    EXPECT_EQ(content_of(store), content_of_copy());
}

// The log has all of it, and would be taken for good by who is killed, though the daemon has taken it back.
TEST_P(SqliteFailure, WhatIsTakenBackBehindAFailedSyncDoesNotComeBack) {
    const Storage storage = open();
    const Store store = storage.store();
    ASSERT_EQ(0, store.set("g", "n", make_int32(1)));
    ASSERT_EQ(DURABILITY_FILE, store.sync(DURABILITY_FILE));
    const std::optional<Content> before = content_of(store);
    Syncs syncs;
    ASSERT_EQ(0, store.set("g", "m", make_int32(2)));
    ASSERT_EQ(0, store.set("h", "n", make_int32(2)));
    syncs.next_error = EIO;
    ASSERT_EQ(-EIO, store.sync(DURABILITY_FILE));
    ASSERT_EQ(0, store.unset("h"));
    ASSERT_EQ(0, store.unset("g", "m"));
    ASSERT_EQ(DURABILITY_FILE, store.sync(DURABILITY_FILE));
    EXPECT_EQ(before, content_of(store));
    EXPECT_EQ(before, content_of_copy());
}

// Otherwise who is killed right behind the failure had stored what he has refused.
TEST_P(SqliteFailure, AFolderThatCannotBeSyncedKeepsChangesFromTheFile) {
    const Storage storage = open();
    const Store store = storage.store();
    ASSERT_EQ(0, store.set("g", "before", make_int32(1)));
    ASSERT_EQ(DURABILITY_FOLDER, store.sync(DURABILITY_FOLDER));
    const std::optional<Content> before = content_of(store);
    ASSERT_EQ(0, store.set("g", "after", make_int32(2)));
    {
        const BrokenFolder broken;
        EXPECT_EQ(-EIO, store.sync(DURABILITY_FOLDER));
        EXPECT_EQ(before, content_of_copy());
    }
    EXPECT_EQ(DURABILITY_FOLDER, store.sync(DURABILITY_FOLDER));
    EXPECT_EQ(content_of(store), content_of_copy());
}

TEST_P(SqliteFailure, ChangesAfterAFailedSyncGoOnTopOfIt) {
    const Storage storage = open();
    const Store store = storage.store();
    for (const char *const group : {"kept", "removed", "made again"})
        ASSERT_EQ(0, store.set(group, "old", make_int32(1)));
    ASSERT_EQ(DURABILITY_FILE, store.sync(DURABILITY_FILE));
    Syncs syncs;
    ASSERT_EQ(0, store.set("kept", "n", make_int32(1)));
    ASSERT_EQ(0, store.set("kept", "gone", make_int32(1)));
    ASSERT_EQ(0, store.set("removed", "n", make_int32(1)));
    ASSERT_EQ(0, store.unset("made again"));
    syncs.next_error = EIO;
    ASSERT_EQ(-EIO, store.sync());
    ASSERT_EQ(0, store.set("kept", "n", make_int32(2)));
    ASSERT_EQ(0, store.unset("kept", "gone"));
    ASSERT_EQ(0, store.unset("removed"));
    ASSERT_EQ(0, store.create_group("made again"));
    ASSERT_EQ(DURABILITY_FILE, store.sync(DURABILITY_FILE));
    EXPECT_EQ((Lines{"user:kept group", "user:kept:n int32_t 2", "user:kept:old int32_t 1", "user:made again group"}),
              store.listing());
    EXPECT_EQ(content_of(store), content_of_copy());
}

TEST_P(SqliteFailure, RandomChangesAndFailuresEndWithTheFileLikeTheMemory) {
    std::mt19937 random(20250103);
    for (int round = 0; round < 5; ++round) {
        const Storage storage = open();
        const Store store = storage.store();
        Syncs syncs;
        for (int step = 0; step < 60; ++step) {
            const std::string group(1, static_cast<char>('a' + random() % 3));
            const std::string name(1, static_cast<char>('a' + random() % 3));
            const auto dice = random() % 10;
            const int result = dice < 5   ? store.set(group, name, make_int32(step))
                               : dice < 7 ? store.unset(group, name)
                               : dice < 8 ? store.unset(group)
                                          : store.create_group(group);
            ASSERT_TRUE(result == 0 || result == -ENOENT || result == -EEXIST) << result;
            if (random() % 4 == 0) {
                syncs.next_error = random() % 2 == 0 ? EIO : 0;
                const int synced = store.sync(DURABILITY_FILE);
                ASSERT_TRUE(synced == -EIO || synced == DURABILITY_FILE) << synced;
            }
        }
        syncs.next_error = 0;
        ASSERT_EQ(DURABILITY_FILE, store.sync(DURABILITY_FILE));
        ASSERT_EQ(content_of(store), content_of_copy()) << round;
    }
}

INSTANTIATE_TEST_SUITE_P(Journals, SqliteFailure, testing::Values("wal", "delete", "truncate", "persist"),
                         [](const auto &journal) { return std::string(journal.param); });

TEST(SqliteFolderSync, TheFolderIsSyncedWhenTheFileIsMade) {
    const SqliteFolder folder;
    Syncs syncs;
    const Storage storage = folder.open();
    ASSERT_LE(2U, syncs.folders.size());
    EXPECT_EQ(std::filesystem::path(folder.folder()).parent_path(), syncs.folders.front()); // where it was made itself
    EXPECT_EQ(folder.folder(), syncs.folders.back());
}

TEST(SqliteFolderSync, IsLeftOutUnlessWantedAndWhenNothingHasChanged) {
    const SqliteFolder folder;
    const Storage storage = folder.open();
    const Store store = storage.store();
    ASSERT_EQ(0, store.set("g", "n", make_int32(1)));
    ASSERT_EQ(DURABILITY_FILE, store.sync(DURABILITY_FILE)); // after which the log is there
    const auto folder_syncs_of = [&](int wanted) {
        Syncs syncs;
        EXPECT_EQ(0, store.set("g", "n", make_int32(2)));
        EXPECT_EQ(wanted, store.sync(wanted));
        return syncs.folders;
    };
    std::this_thread::sleep_for(std::chrono::milliseconds(3200)); // a change time that is long past
    EXPECT_EQ(Lines{}, folder_syncs_of(DURABILITY_FILE));
    EXPECT_EQ(Lines{folder.folder()}, folder_syncs_of(DURABILITY_FOLDER));
    EXPECT_EQ(Lines{}, folder_syncs_of(DURABILITY_FOLDER));
    write_file(folder.folder() + "/further", "");
    EXPECT_EQ(Lines{folder.folder()}, folder_syncs_of(DURABILITY_FOLDER));
}

// The time of the last change tells nothing of one that came at the same time.
TEST(SqliteFolderSync, IsRepeatedWhileTheChangeIsRecent) {
    const SqliteFolder folder;
    const Storage storage = folder.open();
    Syncs syncs;
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(DURABILITY_FOLDER, storage.store().sync(DURABILITY_FOLDER));
    EXPECT_EQ(3U, syncs.folders.size());
}

TEST(SqliteLog, IsNotFilledByFailuresThatComeAndGo) {
    const SqliteFolder folder;
    const Storage storage = folder.open();
    testing::internal::CaptureStderr();
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(0, storage.store().set("g", "n", make_string(std::string(300'000, static_cast<char>('a' + i)))));
        {
            const FullDisk full(1000);
            EXPECT_EQ(-ENOSPC, storage.store().sync());
        }
        EXPECT_EQ(DURABILITY_FOLDER, storage.store().sync());
    }
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(4, std::count(log.begin(), log.end(), '\n')) << log;
}

TEST(SqliteLog, TellsOfAFailureOnceAndOfItsEnd) {
    const SqliteFolder folder;
    const Storage storage = folder.open();
    ASSERT_EQ(0, storage.store().set("g", "n", make_string(std::string(300'000, 'v'))));
    testing::internal::CaptureStderr();
    {
        const FullDisk full(100'000);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(-ENOSPC, storage.store().sync());
    }
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(DURABILITY_FOLDER, storage.store().sync());
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(2, std::count(log.begin(), log.end(), '\n')) << log;
    EXPECT_EQ(0U, log.find("_varnel: " + folder.file() + ": not written")) << log;
    EXPECT_NE(std::string::npos, log.find(folder.file() + ": is written again")) << log;
}
