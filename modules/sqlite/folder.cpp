// SPDX-License-Identifier: MIT
#include "modules/sqlite/folder.h"

#include "modules/sqlite/files.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utility>

namespace varnel::modules {

namespace {

constexpr mode_t kFolderMode = 0750;

// File systems count time in steps of up to two seconds: of a change that was made in the last of them nobody can tell
// whether another one followed.
constexpr time_t kTimeStep = 2;

Fd open_folder(const std::string &path) {
    Fd descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor)
        fail("cannot open the folder " + path);
    return descriptor;
}

void sync_folder(int descriptor, const std::string &path) {
    if (fsync(descriptor) != 0)
        fail("cannot sync the folder " + path);
}

// A new folder's name is in the one above it. Nothing when it can be neither found nor made, as nothing can be written.
Fd make_folder(const std::string &path) {
    if (mkdir(path.c_str(), kFolderMode) == 0) {
        const std::string above = path + "/..";
        const Fd parent = open_folder(above);
        sync_folder(parent.get(), above);
    } else if (errno == EROFS) {
        return {};
    } else if (errno != EEXIST) {
        fail("cannot make the folder " + path);
    }
    return open_folder(path);
}

bool is_read_only(const Fd &folder, const std::string &path) {
    struct statvfs status = {};
    if (folder && fstatvfs(folder.get(), &status) != 0)
        fail("cannot ask for the file system of the folder " + path);
    return !folder || (status.f_flag & ST_RDONLY) != 0;
}

timespec change_time(int descriptor, const std::string &path) {
    struct stat status = {};
    if (fstat(descriptor, &status) != 0)
        fail("cannot ask for the state of the folder " + path);
    return status.st_ctim;
}

bool same(const timespec &a, const timespec &b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

Folder::Folder(std::string path) : path_(std::move(path)), descriptor_(make_folder(path_)) {
    read_only_ = is_read_only(descriptor_, path_);
}

void Folder::sync() {
    synced_at_.reset();
    const timespec changed = change_time(descriptor_.get(), path_);
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    sync_folder(descriptor_.get(), path_);
    if (changed.tv_sec < now.tv_sec - kTimeStep)
        synced_at_ = changed;
}

void Folder::sync_if_changed() {
    if (!synced_at_ || !same(*synced_at_, change_time(descriptor_.get(), path_)))
        sync();
}

void Folder::lock() const {
    while (flock(descriptor_.get(), LOCK_EX) != 0) {
        if (errno != EINTR)
            fail("cannot lock the folder " + path_);
    }
}

void Folder::unlock() const {
    flock(descriptor_.get(), LOCK_UN);
}

} // namespace varnel::modules
