// SPDX-License-Identifier: MIT
// A store in an SQLite file: all of it is in memory, and sync brings what has changed there to the file.
#pragma once

#include "modules/common/store.h"
#include "modules/sqlite/changes.h"
#include "modules/sqlite/database.h"
#include "modules/sqlite/files.h"
#include "modules/sqlite/folder.h"
#include "modules/sqlite/settings.h"
#include "modules/sqlite/writer.h"

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::modules {

class SqliteStore final : public Store {
public:
    // Opens <folder>/<layer>.<backend>.sqlite, where "." and "%" in the names are "%2e" and "%25": no two stores have
    // one file. On a read-only file system it takes no changes (-EROFS), and is empty where there is no such file.
    // Throws StoreError.
    SqliteStore(const StoreSettings &names, const SqliteSettings &settings);
    SqliteStore(const SqliteStore &) = delete;
    SqliteStore &operator=(const SqliteStore &) = delete;
    ~SqliteStore() override;

    int create_group(std::string_view group) override;
    int set(std::string_view group, std::string_view name, SharedValue value) override;
    int remove_group(std::string_view group) override;
    int remove(std::string_view group, std::string_view name) override;
    int sync(int wanted) override;

private:
    void open(const SqliteSettings &settings);
    void open_read_only();
    void load(Database &database);
    Changes take_changes();
    void write_changes();
    void report(int result, const std::string &reason);

    Folder folder_;
    const std::string path_;
    const bool read_only_;
    const bool durable_;
    const bool has_log_; // rather than a journal that comes and goes with every transaction

    std::mutex changing_; // a change in memory goes with its note
    Changes changes_;

    std::mutex syncing_; // guards what follows
    std::optional<Database> database_;
    std::optional<Writer> writer_;
    std::vector<PlacedFile> files_;
    static constexpr int kReportsAMinute = 4;
    int reported_ = 0; // the result that the log told last
    int reports_ = 0;  // lines since reports_since_
    std::chrono::steady_clock::time_point reports_since_;
};

} // namespace varnel::modules
