// SPDX-License-Identifier: MIT
#include "modules/sqlite/database.h"

#include <cerrno>
#include <new>

namespace varnel::modules {

namespace {

// Of an error in input and output, which mostly comes with the system's reason.
int result_of_io(int system_error) {
    switch (system_error) {
    case EROFS:
    case EACCES:
    case EPERM:
        return -system_error;
    default:
        return -EIO;
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
        return -EROFS;
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

// Names that start with "file:" would be taken for URIs.
std::string as_file_name(const std::string &path) {
    return path.starts_with('/') ? path : "./" + path;
}

constexpr char kNothing[] = "";

} // namespace

Database::Database(const std::string &path) {
    sqlite3 *handle = nullptr;
    const int code = sqlite3_open_v2(as_file_name(path).c_str(), &handle,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE, nullptr);
    handle_.reset(handle);
    if (handle == nullptr)
        throw std::bad_alloc();
    sqlite3_extended_result_codes(handle, 1);
    require(code);
}

void Database::require(int code) const {
    if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE)
        return;
    throw StoreError(result_of(code, sqlite3_system_errno(get())), sqlite3_errmsg(get()));
}

void Database::execute(const std::string &sql) const {
    require(sqlite3_exec(get(), sql.c_str(), nullptr, nullptr, nullptr));
}

std::string Database::ask(const std::string &sql) {
    Statement statement(*this, sql);
    return statement.step() ? std::string(statement.bytes(0)) : std::string();
}

void Database::configure(int option, bool on) const {
    require(sqlite3_db_config(get(), option, on ? 1 : 0, nullptr));
}

Statement::Statement(Database &database, const std::string &sql) : database_(database) {
    sqlite3_stmt *handle = nullptr;
    database.require(sqlite3_prepare_v3(database.get(), sql.c_str(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &handle, nullptr));
    handle_.reset(handle);
}

Statement &Statement::bind(int parameter, std::int64_t number) {
    database_.require(sqlite3_bind_int64(handle_.get(), parameter, number));
    return *this;
}

Statement &Statement::bind_text(int parameter, std::string_view text) {
    database_.require(
        sqlite3_bind_text(handle_.get(), parameter, text.data(), static_cast<int>(text.size()), SQLITE_STATIC));
    return *this;
}

// A null pointer would stand for NULL.
Statement &Statement::bind_bytes(int parameter, std::string_view bytes) {
    const void *const start = bytes.empty() ? kNothing : bytes.data();
    database_.require(
        sqlite3_bind_blob(handle_.get(), parameter, start, static_cast<int>(bytes.size()), SQLITE_STATIC));
    return *this;
}

bool Statement::step() {
    const int code = sqlite3_step(handle_.get());
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
