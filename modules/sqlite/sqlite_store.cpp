// SPDX-License-Identifier: MIT
#include "modules/sqlite/sqlite_store.h"

#include "common/key_text.h"
#include "common/text.h"
#include "modules/common/log.h"
#include "modules/common/max_bytes.h"
#include "modules/sqlite/read_only.h"
#include "modules/sqlite/rows.h"
#include "modules/sqlite/schema.h"

#include <cerrno>
#include <cstdint>
#include <exception>
#include <string_view>
#include <utility>

namespace varnel::modules {

namespace {

using Lock = std::lock_guard<std::mutex>;

// SQLite takes no row of 1,000,000,000 bytes: a value that it refuses would stand in the way of all others.
constexpr std::uint32_t kLongestString = 500'000'000;

// The write-ahead log is emptied into the file at that size; a journal that has been longer is cut to it.
constexpr int kLogPages = 256;
constexpr int kLogBytes = 1 << 20;
constexpr const char *kWriteAheadLog = "wal";

// A name as a part of the file's name, in which dots stand between the parts.
std::string file_part(const std::string &name) {
    std::string part;
    for (const char c : name) {
        if (c == '.')
            part += "%2e";
        else if (c == '%')
            part += "%25";
        else
            part += c;
    }
    return part;
}

// The names come from the configuration.
std::string file_name(const std::string &layer, const std::string &backend) {
    std::string name = layer + "." + backend + ".sqlite";
    if (name.find('/') != std::string::npos)
        throw StoreError(-EINVAL, "the file " + in_quotes(name) + " cannot be: names with a / are none for files");
    return name;
}

std::string file_name(const StoreSettings &names) {
    return file_name(file_part(names.layer), file_part(names.backend));
}

// Whether file_part gives the name to some other one, or to itself.
bool is_file_part(std::string_view name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        const std::string_view escape = name.substr(i + 1, 2);
        if (name[i] == '.' || (name[i] == '%' && escape != "2e" && escape != "25"))
            return false;
    }
    return true;
}

// A file that has the names as they are, and is no other store's, holds values that should not be passed over.
void refuse_plain_name(const StoreSettings &names, const std::string &folder, const std::string &path) {
    if (is_file_part(names.layer) && is_file_part(names.backend))
        return;
    const std::string plain = folder + "/" + file_name(names.layer, names.backend);
    if (exists(plain) && !exists(path))
        throw StoreError(-EINVAL, "not there, but " + plain +
                                      " is: rename it, with its -wal or -journal, if it is of "
                                      "this layer and backend, else move it away");
}

void set_journal(Database &database, const SqliteSettings &settings) {
    const std::string journal = database.ask("PRAGMA journal_mode=" + settings.journal);
    if (journal != settings.journal)
        throw StoreError(-EIO, "the journal stays \"" + journal + "\", not \"" + settings.journal + "\"");
    database.execute("PRAGMA synchronous=" + settings.sync + "; PRAGMA wal_autocheckpoint=" +
                     std::to_string(kLogPages) + "; PRAGMA journal_size_limit=" + std::to_string(kLogBytes));
}

// With the first transaction in that mode comes the log; its name is that of the file behind all links.
std::string make_log(const Database &database) {
    database.execute("BEGIN IMMEDIATE; COMMIT");
    return sqlite3_filename_wal(sqlite3_db_filename(database.get(), "main"));
}

bool may_be_stored(const xdata &value) {
    return value.type != XDATA_STRING || value.value.s.len <= kLongestString;
}

} // namespace

SqliteStore::SqliteStore(const StoreSettings &names, const SqliteSettings &settings)
    : Store(names.layer), folder_(settings.folder), path_(settings.folder + "/" + file_name(names)),
      read_only_(folder_.read_only()), durable_(settings.durable()), has_log_(settings.journal == kWriteAheadLog) {
    try {
        refuse_plain_name(names, settings.folder, path_);
        if (read_only_)
            open_read_only();
        else
            open(settings);
        bound(values(), settings.max_bytes, path_);
    } catch (const StoreError &error) {
        throw StoreError(error.result(), path_ + ": " + error.what());
    }
}

void SqliteStore::open(const SqliteSettings &settings) {
    create_file(folder_, path_);
    Database &database = database_.emplace(path_);
    check_file(database);
    load(database);
    set_journal(database, settings);
    writer_.emplace(database);
    files_.emplace_back(path_);
    if (has_log_)
        files_.emplace_back(make_log(database));
}

void SqliteStore::open_read_only() {
    log_info(path_ + ": takes no changes: its file system is read-only");
    if (!find_file(path_))
        return;
    Database database = open_unchanged(path_);
    check_file(database);
    load(database);
}

void SqliteStore::load(Database &database) {
    Statement group(database, "SELECT name, checksum FROM groups");
    while (group.step())
        values().create_group(read_group(group));
    Statement value(database, "SELECT group_name, name, type, value, checksum FROM settings");
    while (value.step()) {
        ValueRow row = read_value(value);
        if (values().find_group(row.group) != 0)
            throw StoreError(-EBADMSG, "damaged: a value in the group " + in_quotes(row.group) + ", which is missing");
        values().set(row.group, row.name, std::move(row.value));
    }
}

SqliteStore::~SqliteStore() {
    const int result = sync(DURABILITY_FILE);
    if (result < 0 && !changes_.empty())
        log_error(path_ + ": closed without the changes since the last sync");
}

// ---- changes: noted as they are made, so that what readers see is what the next sync writes

int SqliteStore::create_group(std::string_view group) {
    if (!valid_key_part(group))
        return -EINVAL;
    if (read_only_)
        return -EROFS;
    const Lock held(changing_);
    return values().create_group(group, &changes_);
}

// Names that could not be read back would make the file one that is refused.
int SqliteStore::set(std::string_view group, std::string_view name, SharedValue value) {
    if (!valid_key_part(group) || !valid_key_part(name) || !may_be_stored(*value))
        return -EINVAL;
    if (read_only_)
        return -EROFS;
    const Lock held(changing_);
    return values().set(group, name, std::move(value), &changes_);
}

int SqliteStore::remove_group(std::string_view group) {
    if (read_only_)
        return -EROFS;
    const Lock held(changing_);
    return values().remove_group(group, &changes_);
}

int SqliteStore::remove(std::string_view group, std::string_view name) {
    if (read_only_)
        return -EROFS;
    const Lock held(changing_);
    return values().remove(group, name, &changes_);
}

// ---- sync

Changes SqliteStore::take_changes() {
    const Lock held(changing_);
    return std::exchange(changes_, Changes());
}

void SqliteStore::write_changes() {
    Changes taken = take_changes();
    if (taken.empty())
        return;
    try {
        writer_->write(taken);
    } catch (...) {
        if (writer_->in_doubt())
            taken.doubt();
        const Lock held(changing_);
        changes_.add_earlier(std::move(taken));
        throw;
    }
}

int SqliteStore::sync(int wanted) {
    if (read_only_)
        return DURABILITY_FOLDER; // nothing here can be lost
    const Lock held(syncing_);
    try {
        for (const PlacedFile &file : files_)
            file.check();
        const bool with_folder = durable_ && wanted >= DURABILITY_FOLDER;
        if (with_folder)
            folder_.sync_if_changed(); // first: a failure must not be found out when the file has the changes
        write_changes();
        if (with_folder && !has_log_)
            folder_.sync_if_changed(); // a journal has come and gone
        report(0, "is written again");
        if (!durable_)
            return DURABILITY_MEMORY;
        return with_folder ? DURABILITY_FOLDER : DURABILITY_FILE;
    } catch (const StoreError &error) {
        report(error.result(), error.what());
        return error.result();
    } catch (const std::exception &error) {
        report(-ENOMEM, error.what());
        return -ENOMEM;
    }
}

// Once: the next sync may come in a moment, and fail in the same way. Clients can make it fail and work in turn, but
// not fill the log: past the bound the next sync of a later minute tells how things are.
void SqliteStore::report(int result, const std::string &reason) {
    if (result == reported_)
        return;
    const auto now = std::chrono::steady_clock::now();
    if (now - reports_since_ > std::chrono::minutes(1)) {
        reports_since_ = now;
        reports_ = 0;
    }
    if (reports_ == kReportsAMinute)
        return;
    ++reports_;
    reported_ = result;
    if (result == 0)
        log_info(path_ + ": " + reason);
    else
        log_error(path_ + ": not written, the changes stay in memory until they are: " + reason);
}

std::unique_ptr<Store> open_store(const StoreSettings &settings) {
    return std::make_unique<SqliteStore>(settings, read_settings(settings));
}

} // namespace varnel::modules
