// SPDX-License-Identifier: MIT
#include "modules/sqlite/writer.h"

#include "modules/sqlite/rows.h"

namespace varnel::modules {

Writer::Writer(Database &database)
    : database_(database), begin_(database, "BEGIN IMMEDIATE"), commit_(database, "COMMIT"),
      rollback_(database, "ROLLBACK"), put_group_(database, "INSERT OR IGNORE INTO groups VALUES(?, ?)"),
      drop_group_(database, "DELETE FROM groups WHERE name = ?"),
      drop_values_(database, "DELETE FROM settings WHERE group_name = ?"),
      put_value_(database, "INSERT OR REPLACE INTO settings VALUES(?, ?, ?, ?, ?)"),
      drop_value_(database, "DELETE FROM settings WHERE group_name = ? AND name = ?"),
      write_a_page_(database, "PRAGMA user_version=" + database.ask("PRAGMA user_version")) {}

void Writer::write(const Changes &changes) {
    in_doubt_ = false;
    begin_.run();
    try {
        if (must_write_)
            write_a_page_.run();
        for (const auto &[name, group] : changes.groups())
            write_group(name, group);
        commit();
        must_write_ = false;
    } catch (...) {
        roll_back();
        throw;
    }
}

// Where writing fails, the mark of a whole transaction is not there. Where something else does, such as a sync or the
// removal of a journal, it may well be. In the log it would be found after a crash, until the next transaction is
// written over it: one that finds nothing to change, as everything has been taken back, would leave it there.
void Writer::commit() {
    try {
        commit_.run();
    } catch (const StoreError &) {
        const int code = sqlite3_extended_errcode(database_.get());
        in_doubt_ = code != SQLITE_FULL && code != SQLITE_IOERR_WRITE;
        must_write_ = must_write_ || in_doubt_;
        throw;
    }
}

void Writer::write_group(const std::string &name, const Changes::Group &group) {
    if (group.dropped)
        drop_group(name);
    if (group.made)
        put_group_.bind_text(1, name).bind(2, group_checksum(name)).run();
    for (const auto &[value_name, value] : group.values)
        write_value(name, value_name, value.now.get());
}

void Writer::drop_group(std::string_view group) {
    drop_values_.bind_text(1, group).run();
    drop_group_.bind_text(1, group).run();
}

void Writer::write_value(std::string_view group, std::string_view name, const xdata *value) {
    if (value == nullptr) {
        drop_value_.bind_text(1, group).bind_text(2, name).run();
        return;
    }
    bind_value(put_value_, group, name, *value);
    put_value_.run();
}

// SQLite itself has rolled back after some errors. There is nothing to be done about a failure: the transaction is then
// still open, and the next one cannot begin.
void Writer::roll_back() {
    try {
        if (database_.in_transaction())
            rollback_.run();
    } catch (const StoreError &) {
        return;
    }
}

} // namespace varnel::modules
