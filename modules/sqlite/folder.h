// SPDX-License-Identifier: MIT
// The folder of the store's files.
#pragma once

#include "common/fd.h"

#include <ctime>
#include <optional>
#include <string>

namespace varnel::modules {

// Failures are StoreError.
class Folder {
public:
    // Makes the folder, but not the ones above it, when it is missing, unless its file system is read-only.
    explicit Folder(std::string path);

    [[nodiscard]] const std::string &path() const { return path_; }

    // Whether its file system was read-only. Then there may be no folder, and nothing of what follows may be called.
    [[nodiscard]] bool read_only() const { return read_only_; }

    // Brings the names of its files to the storage.
    void sync();

    // The same, unless nothing has changed in it since the last time.
    void sync_if_changed();

    // Keeps out everybody else who asks for the lock, until the folder is closed or unlocked.
    void lock() const;
    void unlock() const;

private:
    std::string path_;
    bool read_only_ = false;
    Fd descriptor_;
    std::optional<timespec> synced_at_; // change time of the folder when it was synced, once that cannot mislead
};

} // namespace varnel::modules
