// SPDX-License-Identifier: MIT
// What sqlite.so keeps in its file, and under which settings.
#include "sqlite/sqlite_storage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <ostream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace varnel;
using namespace varnel::test;

namespace {

using Lines = std::vector<std::string>;

struct Mode {
    const char *journal;
    const char *sync;
    int durability;
};

class SqliteModes : public testing::TestWithParam<Mode> {
protected:
    [[nodiscard]] Settings mode() const { return {{"journal", GetParam().journal}, {"sync", GetParam().sync}}; }
    SqliteFolder folder_;
};

std::vector<Mode> modes() {
    std::vector<Mode> all;
    for (const char *const journal : {"wal", "delete", "truncate", "persist"}) {
        all.push_back({journal, "full", DURABILITY_FOLDER});
        all.push_back({journal, "extra", DURABILITY_FOLDER});
        all.push_back({journal, "normal", DURABILITY_MEMORY});
        all.push_back({journal, "off", DURABILITY_MEMORY});
    }
    return all;
}

mode_t mode_of(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
    return status.st_mode & 07777;
}

std::vector<std::string> names_in(const std::string &folder) {
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

enum class Locked { no, yes, unknown };

// Asks from another process, as locks are of processes.
Locked locked_for_others(const std::string &path) {
    const pid_t child = fork();
    if (child == 0) {
        const int fd = open(path.c_str(), O_RDWR);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = 0x40000000; // where SQLite keeps its locks
        lock.l_len = 512;
        const bool asked = fd >= 0 && fcntl(fd, F_GETLK, &lock) == 0;
        _exit(static_cast<int>(!asked ? Locked::unknown : lock.l_type != F_UNLCK ? Locked::yes : Locked::no));
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return Locked::unknown;
    return static_cast<Locked>(WEXITSTATUS(status));
}

void PrintTo(Locked locked, std::ostream *out) {
    *out << (locked == Locked::yes ? "locked" : locked == Locked::no ? "not locked" : "unknown");
}

void PrintTo(const Mode &mode, std::ostream *out) {
    *out << mode.journal << " " << mode.sync;
}

} // namespace

TEST_P(SqliteModes, ReopeningKeepsEveryBit) {
    Content before;
    {
        const Storage storage = folder_.open(mode());
        fill_with_everything(storage.store());
        EXPECT_EQ(GetParam().durability, storage.store().sync());
        before = *content_of(storage.store());
    }
    ASSERT_LT(20U, before.size());
    const Storage storage = folder_.open(mode());
    EXPECT_EQ(before, content_of(storage.store()));
}

TEST_P(SqliteModes, ClosingWritesWhatNoSyncHasWritten) {
    ASSERT_EQ(0, folder_.open(mode()).store().set("g", "n", make_int32(7)));
    EXPECT_EQ("int32_t 7", folder_.open(mode()).store().read("g", "n"));
}

TEST_P(SqliteModes, RemovalsAreKept) {
    {
        const Storage storage = folder_.open(mode());
        fill_with_everything(storage.store());
        ASSERT_LE(0, storage.store().sync());
        ASSERT_EQ(0, storage.store().unset("numbers"));
        ASSERT_EQ(0, storage.store().unset("strings", "long"));
        ASSERT_LE(0, storage.store().sync());
        ASSERT_EQ(0, storage.store().unset("empty"));
        ASSERT_EQ(0, storage.store().set("empty", "no longer", make_int32(1)));
    }
    const Storage storage = folder_.open(mode());
    EXPECT_EQ(std::to_string(-ENOENT), storage.store().read("numbers"));
    EXPECT_EQ("group", storage.store().read("strings"));
    EXPECT_EQ(std::to_string(-ENOENT), storage.store().read("strings", "long"));
    EXPECT_EQ("int32_t 1", storage.store().read("empty", "no longer"));
}

TEST_P(SqliteModes, EveryClassIsReachedAsTheSettingAllows) {
    const Storage storage = folder_.open(mode());
    const Store store = storage.store();
    const int with_file = std::min<int>(DURABILITY_FILE, GetParam().durability);
    EXPECT_EQ(with_file, store.sync(DURABILITY_MEMORY)); // also with nothing to write
    ASSERT_EQ(0, store.set("g", "n", make_int32(1)));
    EXPECT_EQ(with_file, store.sync(DURABILITY_FILE));
    EXPECT_EQ(GetParam().durability, store.sync(DURABILITY_FOLDER));
}

TEST_P(SqliteModes, AFileOpensUnderAnyOther) {
    ASSERT_EQ(0, folder_.open(mode()).store().set("g", "n", make_int32(7)));
    for (const Mode &other : modes())
        ASSERT_EQ("int32_t 7", folder_.open({{"journal", other.journal}, {"sync", other.sync}}).store().read("g", "n"));
}

INSTANTIATE_TEST_SUITE_P(All, SqliteModes, testing::ValuesIn(modes()),
                         [](const auto &mode) { return std::string(mode.param.journal) + "_" + mode.param.sync; });

TEST(SqliteFile, LayersHaveFilesOfTheirOwnThatOthersCannotRead) {
    const SqliteFolder folder;
    {
        const Storage storage = folder.open({}, {"user", "system"});
        ASSERT_EQ(0, storage.store("user").set("g", "n", make_int32(1)));
        ASSERT_EQ(0, storage.store("system").set("g", "n", make_int32(2)));
        ASSERT_EQ(DURABILITY_FOLDER, storage.store("user").sync());
        for (const char *const suffix : {"", "-wal"})
            EXPECT_EQ(0640U, mode_of(folder.file(suffix)));
    }
    EXPECT_EQ(0750U, mode_of(folder.folder()));
    EXPECT_EQ((Lines{"system.sqlite.sqlite", "user.sqlite.sqlite"}), names_in(folder.folder()));
    const Storage storage = folder.open({}, {"user", "system"});
    EXPECT_EQ("int32_t 1", storage.store("user").read("g", "n"));
    EXPECT_EQ("int32_t 2", storage.store("system").read("g", "n"));
}

TEST(SqliteFile, OneOpensItAtATime) {
    for (const char *const journal : {"wal", "delete"}) {
        const SqliteFolder folder;
        {
            const Storage first = folder.open({{"journal", journal}});
            const Storage second = folder.open({{"journal", journal}});
            EXPECT_TRUE(answers_always(second.store(), -EBUSY)) << journal;
            ASSERT_EQ(0, first.store().set("g", "n", make_int32(1)));
            EXPECT_EQ(DURABILITY_FOLDER, first.store().sync());
        }
        EXPECT_EQ("int32_t 1", folder.open().store().read("g", "n"));
    }
}

TEST(SqliteFile, IsLockedForOtherProcesses) {
    for (const char *const journal : {"wal", "delete"}) {
        const SqliteFolder folder;
        {
            const Storage storage = folder.open({{"journal", journal}});
            EXPECT_EQ(Locked::yes, locked_for_others(folder.file())) << journal;
        }
        EXPECT_EQ(Locked::no, locked_for_others(folder.file())) << journal;
    }
}

TEST(SqliteFile, FoldersMayHaveAnyName) {
    const SqliteFolder folder;
    for (const char *const name : {"a?b", "a%41", "a#b", "file:a", "/a", "a b"}) {
        const std::string path = std::filesystem::path(folder.folder()).parent_path().string() + "/" + name;
        ASSERT_EQ(0, folder.open({{"folder", path}}).store().set("g", "n", make_int32(1))) << path;
        EXPECT_TRUE(std::filesystem::exists(path + "/user.sqlite.sqlite")) << path;
        EXPECT_EQ("int32_t 1", folder.open({{"folder", path}}).store().read("g", "n")) << path;
        EXPECT_EQ("int32_t 1", folder.open({{"folder", "/" + path}}).store().read("g", "n")) << path;
    }
}

TEST(SqliteFile, AnAttemptThatACrashEndedIsNoObstacle) {
    const SqliteFolder folder;
    std::filesystem::create_directory(folder.folder());
    write_file(folder.file(".new"), "half of a file");
    write_file(folder.file(".new-journal"), "half of a journal");
    EXPECT_EQ(Lines{}, folder.open().store().listing());
    EXPECT_EQ(Lines{"user.sqlite.sqlite"}, names_in(folder.folder()));
}

TEST(SqliteFile, TheLogOfChangesStaysSmall) {
    const SqliteFolder folder;
    const Storage storage = folder.open();
    const Value value = make_string(std::string(100'000, 'v'));
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(0, storage.store().set("g", std::to_string(i % 10), value));
        ASSERT_EQ(DURABILITY_FILE, storage.store().sync(DURABILITY_FILE));
        ASSERT_GT(3'000'000U, std::filesystem::file_size(folder.file("-wal"))) << i;
    }
}

TEST(SqliteSettings, WordsThatAreNoneAreAnsweredAlways) {
    const SqliteFolder folder;
    for (const Settings &wrong : std::vector<Settings>{{{"journal", "memory"}},
                                                       {{"journal", "off"}},
                                                       {{"journal", ""}},
                                                       {{"sync", "ful"}},
                                                       {{"sync", "1"}},
                                                       {{"folder", ""}}}) {
        EXPECT_TRUE(answers_always(folder.open(wrong).store(), -EINVAL)) << wrong.begin()->second;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.folder()));
    EXPECT_TRUE(answers_always(Storage("sqlite").store(), -EINVAL)); // no folder
}

TEST(SqliteSettings, NamesThatAreNoneOfFilesAreRefused) {
    const SqliteFolder folder;
    EXPECT_TRUE(answers_always(folder.open({}, {"../user"}).store("../user"), -EINVAL));
}

TEST(SqliteSettings, AFolderIsMadeButNotThoseAboveIt) {
    const SqliteFolder folder;
    EXPECT_TRUE(answers_always(folder.open({{"folder", folder.folder() + "/deeper"}}).store(), -ENODEV));
    EXPECT_FALSE(std::filesystem::exists(folder.folder()));
    write_file(folder.folder(), "a file");
    EXPECT_TRUE(answers_always(folder.open().store(), -ENOTDIR));
}

TEST(SqliteKeys, NamesThatCouldNotBeReadBackAreRefused) {
    const SqliteFolder folder;
    const Storage storage = folder.open();
    for (const std::string &name :
         {std::string(256, 'n'), std::string("a:b"), std::string("a\nb"), std::string("\377")}) {
        EXPECT_EQ(-EINVAL, storage.store().set("g", name, make_int32(1)));
        EXPECT_EQ(-EINVAL, storage.store().set(name, "n", make_int32(1)));
        EXPECT_EQ(-EINVAL, storage.store().create_group(name));
    }
    EXPECT_EQ(Lines{}, storage.store().listing());
}

// "a.b" with "c" and "a" with "b.c".
TEST(SqliteFile, IsOneOfItsOwnWhateverDotsTheNamesHave) {
    const TemporaryFolder folder;
    const Settings settings{{"folder", folder.path()}};
    const Lines layers{"a", "a.sqlite", "a%2esqlite"};
    for (const bool first : {true, false}) {
        const Storage dotted("sqlite", settings, layers, "sqlite.sqlite");
        const Storage plain("sqlite", settings, layers);
        for (const std::string &name : layers) {
            for (const Storage *const storage : {&dotted, &plain}) {
                const std::string text = name + (storage == &plain ? " plain" : " dotted");
                const Store store = storage->store(name);
                if (first) {
                    EXPECT_EQ(0, store.set("g", "n", make_string(text)));
                    EXPECT_EQ(DURABILITY_FOLDER, store.sync());
                }
                EXPECT_EQ(store.read("g", "n"), "string " + text);
            }
        }
    }
    EXPECT_EQ(names_in(folder.path()).size(), 6U);
    EXPECT_TRUE(std::filesystem::exists(folder.path("a.sqlite.sqlite")));
    EXPECT_TRUE(std::filesystem::exists(folder.path("a%2esqlite.sqlite%2esqlite.sqlite")));
    EXPECT_TRUE(std::filesystem::exists(folder.path("a%252esqlite.sqlite.sqlite")));
}

TEST(SqliteFile, WithTheNamesUnchangedIsNotPassedOver) {
    const std::pair<const char *, const char *> names[] = {{"a.b", "a%2eb"}, {"a%", "a%25"}};
    for (const auto &[name, written] : names) {
        const SqliteFolder folder;
        const auto open = [&, layer_name = std::string(name)] { return folder.open({}, {layer_name}); };
        const std::string right = folder.folder() + "/" + written + ".sqlite.sqlite";
        const std::string unchanged = folder.folder() + "/" + name + ".sqlite.sqlite";
        {
            const Storage storage = open();
            EXPECT_EQ(0, storage.store(name).set("g", "n", make_string("x")));
            EXPECT_EQ(DURABILITY_FOLDER, storage.store(name).sync());
        }
        std::filesystem::rename(right, unchanged);
        {
            const Storage storage = open();
            EXPECT_TRUE(answers_always(storage.store(name), -EINVAL));
        }
        EXPECT_FALSE(std::filesystem::exists(right));
        std::filesystem::rename(unchanged, right);
        const Storage storage = open();
        EXPECT_EQ(storage.store(name).read("g", "n"), "string x");
    }
}
