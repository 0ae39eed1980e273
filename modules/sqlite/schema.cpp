// SPDX-License-Identifier: MIT
#include "modules/sqlite/schema.h"

#include "common/fd.h"
#include "modules/sqlite/files.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace varnel::modules {

namespace {

constexpr int kApplication = 0x5661726e; // "Varn", application_id of the file
constexpr int kVersion = 1;              // user_version of the file: raise it with every change of kTables or the rows
constexpr mode_t kFileMode = 0640;

struct Table {
    std::string_view name;
    std::string_view sql;
};

// In the order of their names. SQLite keeps the text as it is here.
constexpr Table kTables[] = {
    {"groups", "CREATE TABLE groups(name TEXT NOT NULL PRIMARY KEY, checksum INTEGER NOT NULL) WITHOUT ROWID"},
    {"settings", "CREATE TABLE settings(group_name TEXT NOT NULL, name TEXT NOT NULL, type INTEGER NOT NULL, "
                 "value NOT NULL, checksum INTEGER NOT NULL, PRIMARY KEY(group_name, name)) WITHOUT ROWID"},
};

[[noreturn]] void refuse(const std::string &why) {
    throw StoreError(-EBADMSG, why + "; it is left as it is: restore it from a copy, or move it away to begin anew");
}

void remove_file(const std::string &path) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT)
        fail("cannot remove " + path);
}

void make_empty_file(const std::string &path) {
    const Fd file(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
    if (!file || fchmod(file.get(), kFileMode) != 0)
        fail("cannot make " + path);
}

void fill_file(const std::string &path) {
    Database database(path);
    database.execute("PRAGMA synchronous=EXTRA; PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE");
    for (const Table &table : kTables)
        database.execute(std::string(table.sql));
    database.execute("PRAGMA application_id=" + std::to_string(kApplication) +
                     "; PRAGMA user_version=" + std::to_string(kVersion) + "; COMMIT");
}

// What a crash left of an earlier attempt is of no use.
void create_in_place(const std::string &path) {
    const std::string fresh = path + ".new";
    for (const char *const suffix : {"", "-journal"})
        remove_file(fresh + suffix);
    make_empty_file(fresh);
    fill_file(fresh);
    if (std::rename(fresh.c_str(), path.c_str()) != 0)
        fail("cannot rename " + fresh);
}

std::int64_t ask_number(Database &database, const char *sql) {
    Statement statement(database, sql);
    return statement.step() ? statement.number(0) : 0;
}

void check_version(Database &database) {
    if (ask_number(database, "PRAGMA application_id") != kApplication)
        refuse("not a store of this module");
    const std::int64_t version = ask_number(database, "PRAGMA user_version");
    if (version < kVersion)
        refuse("of version " + std::to_string(version) + ", which there is none");
    if (version > kVersion)
        throw StoreError(-EPROTO, "of version " + std::to_string(version) + ", while this module knows version " +
                                      std::to_string(kVersion) + " only; it is left as it is: use a newer module");
}

void check_tables(Database &database) {
    Statement row(database, "SELECT name, sql FROM sqlite_master ORDER BY name");
    for (const Table &table : kTables) {
        if (!row.step() || row.bytes(0) != table.name || row.bytes(1) != table.sql)
            refuse("damaged: it has other tables");
    }
    if (row.step())
        refuse("damaged: it has further tables");
}

} // namespace

bool find_file(const std::string &path) {
    if (exists(path))
        return true;
    for (const char *const suffix : {"-wal", "-journal"}) {
        if (has_content(path + suffix))
            refuse("missing, but " + path + suffix + ", which belongs to it, is there");
    }
    return false;
}

void create_file(Folder &folder, const std::string &path) {
    struct Locked {
        const Folder &folder;
        explicit Locked(const Folder &locked) : folder(locked) { folder.lock(); }
        Locked(const Locked &) = delete;
        Locked &operator=(const Locked &) = delete;
        ~Locked() { folder.unlock(); }
    } const locked(folder);
    if (find_file(path))
        return;
    create_in_place(path);
    folder.sync();
}

void check_file(Database &database) {
    database.configure(SQLITE_DBCONFIG_DEFENSIVE, true);
    database.configure(SQLITE_DBCONFIG_ENABLE_TRIGGER, false);
    database.configure(SQLITE_DBCONFIG_ENABLE_VIEW, false);
    database.configure(SQLITE_DBCONFIG_TRUSTED_SCHEMA, false);
    database.configure(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, true);
    database.execute("PRAGMA locking_mode=EXCLUSIVE; PRAGMA temp_store=MEMORY; PRAGMA cell_size_check=ON; "
                     "BEGIN EXCLUSIVE");
    check_version(database);
    if (const std::string finding = database.ask("PRAGMA quick_check(1)"); finding != "ok")
        refuse("damaged: " + finding);
    check_tables(database);
    database.execute("COMMIT");
    database.configure(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, false);
}

} // namespace varnel::modules
