// SPDX-License-Identifier: MIT
// The folder of the store's files.
#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace varnel::modules {

// An open descriptor.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor();
    [[nodiscard]] int get() const { return number_; }

private:
    int number_;
};

// Failures are StoreError.
class Folder {
public:
    // Makes the folder, but not the ones above it, when it is missing.
    explicit Folder(std::string path);

    [[nodiscard]] const std::string &path() const { return path_; }

    // Brings the names of its files to the storage.
    void sync();

    // The same, unless nothing has changed in it since the last time.
    void sync_if_changed();

    // Keeps out everybody else who asks for the lock, until the folder is closed or unlocked.
    void lock() const;
    void unlock() const;

private:
    std::string path_;
    Descriptor descriptor_;
    std::optional<timespec> synced_at_; // change time of the folder when it was synced, once that cannot mislead
};

} // namespace varnel::modules
