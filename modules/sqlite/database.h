// SPDX-License-Identifier: MIT
// SQLite, as far as the module needs it: owners whose failures are StoreError.
#pragma once

#include "modules/common/store.h"

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace varnel::modules {

enum class Access : std::uint8_t {
    write,
    read,      // with a lock; refused when a change that was interrupted must be taken back first
    read_log,  // with the changes of its log; without a lock
    read_plain // the file alone, whatever is beside it; without a lock
};

// One connection to a file that is there; one thread at a time.
class Database {
public:
    explicit Database(const std::string &path, Access access = Access::write);

    [[nodiscard]] sqlite3 *get() const { return handle_.get(); }

    // Runs statements and ignores their rows.
    void execute(const std::string &sql) const;

    // Runs one statement and returns the first column of its only row.
    std::string ask(const std::string &sql);

    // SQLITE_DBCONFIG_...
    void configure(int option, bool on) const;

    // Whether a transaction has begun.
    [[nodiscard]] bool in_transaction() const { return sqlite3_get_autocommit(get()) == 0; }

    // Throws what SQLite's result, and errno as the call has left it, stand for; nothing when it is a success. errno
    // must have been 0 before the call.
    void require(int code) const;

private:
    struct Closer {
        void operator()(sqlite3 *handle) const { sqlite3_close_v2(handle); }
    };
    std::unique_ptr<sqlite3, Closer> handle_;
};

// A prepared statement. What is bound to it must last until it has run.
class Statement {
public:
    Statement(Database &database, const std::string &sql);

    Statement &bind(int parameter, std::int64_t number);
    Statement &bind_text(int parameter, std::string_view text);
    Statement &bind_bytes(int parameter, std::string_view bytes);

    // To the next row; false after the last one.
    bool step();

    // Runs a statement without rows; it is ready for the next run, whether it succeeds or not.
    void run();

    // Of the row stepped to. type is SQLITE_INTEGER, ...; a text or a blob is good until the next step.
    [[nodiscard]] int type(int column) const { return sqlite3_column_type(handle_.get(), column); }
    [[nodiscard]] std::int64_t number(int column) const { return sqlite3_column_int64(handle_.get(), column); }
    [[nodiscard]] std::string_view bytes(int column) const;

private:
    struct Closer {
        void operator()(sqlite3_stmt *handle) const { sqlite3_finalize(handle); }
    };
    struct Resetter {
        void operator()(sqlite3_stmt *handle) const { sqlite3_reset(handle); }
    };
    Database &database_;
    std::unique_ptr<sqlite3_stmt, Closer> handle_;
};

} // namespace varnel::modules
