// SPDX-License-Identifier: MIT
#include "powercut/recorder.h"

#include <utility>

namespace varnel::test {

namespace {

Recorder *current_recorder = nullptr;

} // namespace

Recorder::Recorder(std::string folder) : folder_(std::move(folder)) {
    current_recorder = this;
}

Recorder::~Recorder() {
    current_recorder = nullptr;
}

Recorder *Recorder::current() {
    return current_recorder;
}

FileNumber Recorder::opened(const std::string &path) {
    if (!is_inside(path))
        return -1;
    const auto [name, is_new] = names_.try_emplace(path, last_);
    if (is_new) {
        events_.emplace_back(Created{path, last_});
        ++last_;
    }
    return name->second;
}

void Recorder::written(FileNumber file, std::uint64_t offset, const void *bytes, std::size_t size) {
    if (file >= 0)
        events_.emplace_back(Written{file, offset, std::string(static_cast<const char *>(bytes), size)});
}

void Recorder::truncated(FileNumber file, std::uint64_t size) {
    if (file >= 0)
        events_.emplace_back(Truncated{file, size});
}

void Recorder::synced(FileNumber file) {
    if (file >= 0)
        events_.emplace_back(FileSynced{file});
}

void Recorder::synced_folder(const std::string &path) {
    if (path == folder_)
        events_.emplace_back(FolderSynced{});
}

void Recorder::renamed(const std::string &from, const std::string &to) {
    auto name = names_.extract(from);
    if (!is_inside(to) || name.empty())
        return;
    names_.erase(to);
    name.key() = to;
    names_.insert(std::move(name));
    events_.emplace_back(Renamed{from, to});
}

void Recorder::removed(const std::string &path) {
    if (names_.erase(path) != 0)
        events_.emplace_back(Removed{path});
}

} // namespace varnel::test
