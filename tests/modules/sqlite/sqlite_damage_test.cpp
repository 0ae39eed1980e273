// SPDX-License-Identifier: MIT
// Files that sqlite.so has not written, or that have changed since: all of a file is there, or it is refused and left
// as it is.
#include "sqlite/sqlite_storage.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <random>

using namespace varnel;
using namespace varnel::test;

namespace {

class SqliteDamage : public testing::Test {
protected:
    void SetUp() override {
        const Storage storage = folder_.open();
        fill_with_everything(storage.store());
        for (int i = 0; i < 200; ++i)
            ASSERT_EQ(0, storage.store().set("many", std::to_string(i), make_int32(i)));
        content_ = *content_of(storage.store());
    }

    // Opens the file, and tells with which result it was refused; 0 when all of it is there.
    [[nodiscard]] int open_result() const {
        const std::string before = read_file(folder_.file());
        int result = 0;
        {
            const Storage storage = folder_.open();
            result = state_of(storage.store());
            if (result != 0) {
                EXPECT_TRUE(answers_always(storage.store(), result));
            } else {
                EXPECT_EQ(content_, content_of(storage.store()));
            }
        }
        EXPECT_TRUE(result == 0 || before == read_file(folder_.file())) << "the file has changed";
        return result;
    }
    [[nodiscard]] bool refused(int result = -EBADMSG) const { return open_result() == result; }

    // The same for the file after statements; it is as before again afterwards.
    [[nodiscard]] bool refused_after(const std::function<void()> &change, int result = -EBADMSG) const {
        const std::string whole = read_file(folder_.file());
        change();
        const bool is_refused = refused(result);
        write_file(folder_.file(), whole);
        return is_refused;
    }
    [[nodiscard]] bool refused_after(const std::string &sql, int result = -EBADMSG) const {
        return refused_after([&] { folder_.run(sql); }, result);
    }

    SqliteFolder folder_;
    Content content_;
};

constexpr char kNumber[] = "numbers";

} // namespace

TEST_F(SqliteDamage, AnotherVersionIsRefused) {
    EXPECT_TRUE(refused_after("PRAGMA user_version=2", -EPROTO));
    EXPECT_TRUE(refused_after("PRAGMA user_version=2147483647", -EPROTO));
    EXPECT_TRUE(refused_after("PRAGMA user_version=0"));
    EXPECT_TRUE(refused_after("PRAGMA user_version=-1"));
    EXPECT_FALSE(refused());
}

TEST_F(SqliteDamage, ANewerVersionIsRefusedAlsoWhenItsChangesAreInTheLog) {
    sqlite3 *database = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(folder_.file().c_str(), &database));
    ASSERT_EQ(SQLITE_OK, sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(database, "PRAGMA user_version=2", nullptr, nullptr, nullptr));
    sqlite3_close(database);
    const std::string log = read_file(folder_.file("-wal"));
    ASSERT_NE("", log);
    EXPECT_TRUE(refused(-EPROTO));
    EXPECT_TRUE(log == read_file(folder_.file("-wal")));
}

TEST_F(SqliteDamage, FilesOfOthersAreRefused) {
    EXPECT_TRUE(refused_after("PRAGMA application_id=0"));
    EXPECT_TRUE(
        refused_after([this] { write_file(folder_.file(), "a text, and not a short one: " + std::string(500, 't')); }));
    EXPECT_TRUE(refused_after([this] { write_file(folder_.file(), std::string(8192, '\0')); }));
}

TEST_F(SqliteDamage, OtherTablesAreRefused) {
    for (const char *const sql : {
             "DROP TABLE groups",
             "DROP TABLE settings",
             "CREATE TABLE further(a)",
             "CREATE INDEX further ON settings(value)",
             "CREATE VIEW further AS SELECT * FROM groups",
             "CREATE TRIGGER further AFTER INSERT ON settings BEGIN DELETE FROM settings; END",
             "ALTER TABLE settings ADD COLUMN further",
             "ALTER TABLE settings RENAME COLUMN value TO v",
             "CREATE TABLE g AS SELECT * FROM groups; DROP TABLE groups; ALTER TABLE g RENAME TO groups",
         })
        EXPECT_TRUE(refused_after(sql)) << sql;
}

TEST_F(SqliteDamage, RowsThatNoWriterWritesAreRefused) {
    struct Row {
        const char *what;
        std::int64_t type;
        const char *value;
        std::string bytes;
    };
    const std::string one = bytes_of_number(1);
    const Row rows[] = {
        {"type 0", 0, "1", one},
        {"type 9", XDATA_TYPE_END, "1", one},
        {"negative type", -1, "1", one},
        {"type that wraps", (std::int64_t{1} << 32) + XDATA_INT32, "1", one},
        {"int32 too large", XDATA_INT32, "2147483648", bytes_of_number(2147483648)},
        {"int32 too small", XDATA_INT32, "-2147483649", bytes_of_number(-2147483649)},
        {"uint32 below zero", XDATA_UINT32, "-1", bytes_of_number(-1)},
        {"uint32 too large", XDATA_UINT32, "4294967296", bytes_of_number(4294967296)},
        {"float too large", XDATA_FLOAT, "4294967296", bytes_of_number(4294967296)},
        {"boolean too large", XDATA_BOOLEAN, "256", bytes_of_number(256)},
        {"boolean below zero", XDATA_BOOLEAN, "-1", bytes_of_number(-1)},
        {"number as text", XDATA_INT32, "'1'", "1"},
        {"number as blob", XDATA_INT32, "x'31'", "1"},
        {"number with a point", XDATA_DOUBLE, "1.5", one},
        {"string as text", XDATA_STRING, "'1'", "1"},
        {"string as number", XDATA_STRING, "1", one},
    };
    for (const Row &row : rows)
        EXPECT_TRUE(refused_after([&] { folder_.put_value(kNumber, "n", row.type, row.value, row.bytes); }))
            << row.what;
    content_[{kNumber, "n"}] = every_bit_of(*make_int32(1)); // and that the way to write them is right
    EXPECT_FALSE(refused_after([&] { folder_.put_value(kNumber, "n", XDATA_INT32, "1", one); }));
}

TEST_F(SqliteDamage, NamesThatNoWriterWritesAreRefused) {
    const std::string one = bytes_of_number(1);
    for (const std::string &name : {std::string(), std::string(256, 'n'), std::string("a:b"), std::string("a\nb"),
                                    std::string("\377"), std::string("a\0b", 3)}) {
        EXPECT_TRUE(refused_after([&] { folder_.put_value(kNumber, name, XDATA_INT32, "1", one); })) << name;
        EXPECT_TRUE(refused_after([&] { folder_.put_group(name); })) << name;
    }
    EXPECT_TRUE(refused_after([&] { folder_.put_value("no such group", "n", XDATA_INT32, "1", one); }));
    EXPECT_TRUE(refused_after("UPDATE settings SET name=CAST(name AS BLOB) WHERE name='42'"));
    content_[{"further", ""}] = "group";
    EXPECT_FALSE(refused_after([&] { folder_.put_group("further"); }));
}

TEST_F(SqliteDamage, ChangesOfOthersAreRefused) {
    for (const char *const sql : {
             "UPDATE settings SET value=value+1 WHERE name='42'",
             "UPDATE settings SET value=x'00' WHERE group_name='strings' AND name='long'",
             "UPDATE settings SET type=3 WHERE name='42'",
             "UPDATE settings SET name='4242' WHERE name='42'",
             "UPDATE settings SET group_name='empty' WHERE name='42'",
             "UPDATE settings SET checksum='text' WHERE name='42'",
             "UPDATE groups SET name='full' WHERE name='empty'",
             "UPDATE groups SET checksum=checksum+1 WHERE name='empty'",
             "DELETE FROM groups WHERE name='many'",
         })
        EXPECT_TRUE(refused_after(sql)) << sql;
}

TEST_F(SqliteDamage, ValuesThatAreMissingAreRefused) {
    const std::string allow = "PRAGMA writable_schema=ON; UPDATE sqlite_master SET sql=replace(sql, ' NOT NULL', '')";
    const std::string forbid = "PRAGMA writable_schema=ON; UPDATE sqlite_master SET sql='";
    const std::string groups =
        "CREATE TABLE groups(name TEXT NOT NULL PRIMARY KEY, checksum INTEGER NOT NULL) WITHOUT ROWID";
    const std::string settings =
        "CREATE TABLE settings(group_name TEXT NOT NULL, name TEXT NOT NULL, type INTEGER NOT NULL, "
        "value NOT NULL, checksum INTEGER NOT NULL, PRIMARY KEY(group_name, name)) WITHOUT ROWID";
    const auto with = [&](const std::string &sql) {
        return [&, sql] {
            folder_.run(allow);
            folder_.run(sql);
            folder_.run(forbid + groups + "' WHERE name='groups'");
            folder_.run(forbid + settings + "' WHERE name='settings'");
        };
    };
    EXPECT_FALSE(refused_after(with("SELECT 1")));
    EXPECT_TRUE(refused_after(with("UPDATE settings SET value=NULL WHERE name='42'")));
    EXPECT_TRUE(refused_after(with("UPDATE settings SET type=NULL WHERE name='42'")));
    EXPECT_TRUE(refused_after(with("UPDATE settings SET checksum=NULL WHERE name='42'")));
    EXPECT_TRUE(refused_after(with("UPDATE groups SET checksum=NULL")));
}

// The last page may be one that is free.
TEST_F(SqliteDamage, EveryTruncationLeavesEverythingOrIsRefused) {
    const std::string whole = read_file(folder_.file());
    for (std::size_t size = 0; size < whole.size(); size += size < 200 ? 10 : 1000) {
        write_file(folder_.file(), whole.substr(0, size));
        const int result = open_result();
        EXPECT_TRUE(result == -EBADMSG || (result == 0 && size + 4096 > whole.size())) << size;
    }
}

TEST_F(SqliteDamage, RandomChangesOfBytesLeaveEverythingOrAreRefused) {
    std::mt19937 random(20250101);
    const std::string whole = read_file(folder_.file());
    int times_refused = 0;
    for (int round = 0; round < 400; ++round) {
        std::string damaged = whole;
        const std::size_t within = round % 3 == 0 ? 100 : damaged.size(); // the header has the most to get wrong
        for (int change = round % 4; change >= 0; --change)
            damaged[random() % within] = static_cast<char>(random());
        write_file(folder_.file(), damaged);
        times_refused += open_result() != 0 ? 1 : 0;
        ASSERT_FALSE(HasFailure()) << "round " << round;
        std::filesystem::remove(folder_.file("-wal"));
    }
    EXPECT_LT(100, times_refused);
    EXPECT_GT(400, times_refused);
}

TEST_F(SqliteDamage, RandomPagesOfZerosOrOfOtherPlacesAreRefused) {
    std::mt19937 random(20250102);
    const std::string whole = read_file(folder_.file());
    const std::size_t pages = whole.size() / 4096;
    for (std::size_t page = 0; page < pages; ++page) {
        std::string damaged = whole;
        damaged.replace(page * 4096, 4096, std::string(4096, '\0'));
        write_file(folder_.file(), damaged);
        EXPECT_TRUE(refused()) << page;
        damaged = whole;
        damaged.replace(page * 4096, 4096, whole, (page + 1 + random() % (pages - 1)) % pages * 4096, 4096);
        write_file(folder_.file(), damaged);
        EXPECT_TRUE(refused()) << page;
    }
}

TEST_F(SqliteDamage, AFileThatIsMissingBesideItsLogIsNotReplaced) {
    std::filesystem::remove(folder_.file());
    for (const char *const suffix : {"-wal", "-journal"}) {
        write_file(folder_.file(suffix), "changes");
        EXPECT_TRUE(answers_always(folder_.open().store(), -EBADMSG));
        EXPECT_FALSE(std::filesystem::exists(folder_.file()));
        EXPECT_EQ("changes", read_file(folder_.file(suffix)));
        std::filesystem::remove(folder_.file(suffix));
    }
    EXPECT_EQ(0, state_of(folder_.open().store()));
}
