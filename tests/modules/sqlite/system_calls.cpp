// SPDX-License-Identifier: MIT
#include "sqlite/system_calls.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace varnel::test {

namespace {

SystemObserver *observer = nullptr;

std::string path_of(int fd) {
    char path[PATH_MAX];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

bool is_folder(int fd) {
    struct stat status = {};
    return fstat(fd, &status) == 0 && S_ISDIR(status.st_mode);
}

int sync_descriptor(int fd, long call) {
    const bool folder = is_folder(fd);
    const auto error_of_sync = [folder] { return folder ? observer->folder_sync_error() : observer->sync_error(); };
    if (const int error = observer != nullptr ? error_of_sync() : 0) {
        errno = error;
        return -1;
    }
    const bool really = observer == nullptr || observer->syncs_really();
    const int result = really ? static_cast<int>(syscall(call, fd)) : 0;
    if (result == 0 && folder && observer != nullptr)
        observer->synced_folder(path_of(fd));
    return result;
}

ssize_t write_at(int fd, const void *bytes, std::size_t size, off64_t offset) {
    const int error = observer != nullptr ? observer->write_error(static_cast<std::uint64_t>(offset) + size) : 0;
    if (error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<ssize_t>(syscall(SYS_pwrite64, fd, bytes, size, offset));
}

} // namespace

SystemObserver::SystemObserver() {
    observer = this;
}

SystemObserver::~SystemObserver() {
    observer = nullptr;
}

} // namespace varnel::test

using varnel::test::observer;

// The C library's own, for every library of the process.
extern "C" {

int fsync(int fd) {
    return varnel::test::sync_descriptor(fd, SYS_fsync);
}

int fdatasync(int fd) {
    return varnel::test::sync_descriptor(fd, SYS_fdatasync);
}

ssize_t pwrite(int fd, const void *bytes, std::size_t size, off_t offset) {
    return varnel::test::write_at(fd, bytes, size, offset);
}

ssize_t pwrite64(int fd, const void *bytes, std::size_t size, off64_t offset) {
    return varnel::test::write_at(fd, bytes, size, offset);
}

int rename(const char *from, const char *to) noexcept {
    const int result = static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
    if (result == 0 && observer != nullptr)
        observer->renamed(from, to);
    return result;
}

int unlink(const char *path) noexcept {
    const int result = static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
    if (result == 0 && observer != nullptr)
        observer->removed(path);
    return result;
}
}
