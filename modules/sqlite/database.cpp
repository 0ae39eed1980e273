// SPDX-License-Identifier: MIT
#include "modules/sqlite/database.h"

#include "modules/sqlite/files.h"

#include <cerrno>
#include <new>

namespace varnel::modules {

namespace {

// Calls SQLite so that errno tells of this call and of none before: SQLite itself has the system's reason for some
// failures only, and not for those of COMMIT.
template <class Call> int with_errno(Call call) {
    errno = 0;
    return call();
}

// Of an error in input and output.
int result_of_io(int system_error) {
    const int result = result_of_errno(system_error);
    switch (-result) {
    case EROFS:
    case EACCES:
    case EPERM:
    case ENOSPC:
        return result;
    default:
        return -EIO;
    }
}

// What SQLite takes for a file that is read-only, though it is another that is meant, or none of it can be read.
const char *other_reason(int code) {
    switch (code) {
    case SQLITE_READONLY_ROLLBACK:
        return "a change that was interrupted must be taken back, and the file system is read-only";
    case SQLITE_READONLY_DBMOVED:
        return "the file was moved or removed while it is open";
    default:
        return nullptr;
    }
}

int result_of(int code, int system_error) {
    switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return -EBUSY;
    case SQLITE_FULL:
        return -ENOSPC;
    case SQLITE_READONLY:
        return other_reason(code) != nullptr ? -ENODEV : -EROFS;
    case SQLITE_NOMEM:
        return -ENOMEM;
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return -EACCES;
    // Files are opened with statements that fit them: one that does not has another schema than it says.
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
    case SQLITE_ERROR:
        return -EBADMSG;
    default:
        return result_of_io(system_error);
    }
}

// An absolute path comes behind an empty host.
std::string as_uri(const std::string &path) {
    std::string uri = path.starts_with('/') ? "file://" : "file:";
    for (const char c : path) {
        switch (c) {
        case '%':
            uri += "%25";
            break;
        case '?':
            uri += "%3f";
            break;
        case '#':
            uri += "%23";
            break;
        default:
            uri += c;
        }
    }
    return uri;
}

int open_database(const std::string &path, Access access, sqlite3 **handle) {
    const int mode = access == Access::write ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    const std::string uri = as_uri(path) + (access == Access::read_plain ? "?immutable=1" : "");
    return sqlite3_open_v2(uri.c_str(), handle, mode | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE,
                           access == Access::read_log ? "unix-none" : nullptr);
}

constexpr char kNothing[] = "";

} // namespace

Database::Database(const std::string &path, Access access) {
    sqlite3 *handle = nullptr;
    const int code = with_errno([&] { return open_database(path, access, &handle); });
    handle_.reset(handle);
    if (handle == nullptr)
        throw std::bad_alloc();
    sqlite3_extended_result_codes(handle, 1);
    require(code);
}

void Database::require(int code) const {
    if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE)
        return;
    const int error = errno != 0 ? errno : sqlite3_system_errno(get());
    const char *const reason = other_reason(code);
    throw StoreError(result_of(code, error), reason != nullptr ? reason : sqlite3_errmsg(get()));
}

void Database::execute(const std::string &sql) const {
    require(with_errno([&] { return sqlite3_exec(get(), sql.c_str(), nullptr, nullptr, nullptr); }));
}

std::string Database::ask(const std::string &sql) {
    Statement statement(*this, sql);
    return statement.step() ? std::string(statement.bytes(0)) : std::string();
}

void Database::configure(int option, bool on) const {
    require(with_errno([&] { return sqlite3_db_config(get(), option, on ? 1 : 0, nullptr); }));
}

Statement::Statement(Database &database, const std::string &sql) : database_(database) {
    sqlite3_stmt *handle = nullptr;
    database.require(with_errno([&] {
        return sqlite3_prepare_v3(database.get(), sql.c_str(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                                  &handle, nullptr);
    }));
    handle_.reset(handle);
}

Statement &Statement::bind(int parameter, std::int64_t number) {
    database_.require(with_errno([&] { return sqlite3_bind_int64(handle_.get(), parameter, number); }));
    return *this;
}

Statement &Statement::bind_text(int parameter, std::string_view text) {
    database_.require(with_errno([&] {
        return sqlite3_bind_text(handle_.get(), parameter, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    }));
    return *this;
}

// A null pointer would stand for NULL.
Statement &Statement::bind_bytes(int parameter, std::string_view bytes) {
    const void *const start = bytes.empty() ? kNothing : bytes.data();
    database_.require(with_errno([&] {
        return sqlite3_bind_blob(handle_.get(), parameter, start, static_cast<int>(bytes.size()), SQLITE_STATIC);
    }));
    return *this;
}

bool Statement::step() {
    const int code = with_errno([this] { return sqlite3_step(handle_.get()); });
    database_.require(code);
    return code == SQLITE_ROW;
}

void Statement::run() {
    const std::unique_ptr<sqlite3_stmt, Resetter> reset(handle_.get());
    while (step()) {
    }
}

std::string_view Statement::bytes(int column) const {
    const auto *const start = static_cast<const char *>(sqlite3_column_blob(handle_.get(), column));
    const int size = sqlite3_column_bytes(handle_.get(), column);
    return start != nullptr ? std::string_view(start, static_cast<std::size_t>(size)) : std::string_view();
}

} // namespace varnel::modules
