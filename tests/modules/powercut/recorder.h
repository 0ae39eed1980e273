// SPDX-License-Identifier: MIT
// Records what SQLite and the module do to the files of one folder, call by call. A layer below SQLite (its VFS
// interface) sees what is done to the content, system_calls.h what is done to the names.
#pragma once

#include "powercut/disk.h"
#include "sqlite/system_calls.h"

#include <map>
#include <string>
#include <vector>

namespace varnel::test {

// Puts the layer under every connection that this process opens from now on; without a recorder it only passes on. Once
// is enough.
void install_recording_vfs();

// One at a time.
class Recorder : public SystemObserver {
public:
    explicit Recorder(std::string folder);
    Recorder(const Recorder &) = delete;
    Recorder &operator=(const Recorder &) = delete;
    ~Recorder() override;

    // The recorder that there is, or nullptr.
    static Recorder *current();

    [[nodiscard]] const std::vector<Event> &events() const { return events_; }

    // From the layer. A path outside of the folder has no number: -1, with which nothing is recorded.
    FileNumber opened(const std::string &path);
    void written(FileNumber file, std::uint64_t offset, const void *bytes, std::size_t size);
    void truncated(FileNumber file, std::uint64_t size);
    void synced(FileNumber file);

    bool syncs_really() override { return false; }
    void synced_folder(const std::string &path) override;
    void renamed(const std::string &from, const std::string &to) override;
    void removed(const std::string &path) override;

private:
    [[nodiscard]] bool is_inside(const std::string &path) const { return path.starts_with(folder_ + "/"); }

    std::string folder_;
    std::vector<Event> events_;
    std::map<std::string, FileNumber> names_;
    FileNumber last_ = 0;
};

} // namespace varnel::test
