// SPDX-License-Identifier: MIT
#include "modules/sqlite/read_only.h"

#include "common/fd.h"
#include "modules/sqlite/files.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>

namespace varnel::modules {

namespace {

// Where SQLite locks a file (its file format says so): behind 1 GiB.
constexpr off_t kLocksStart = 0x40000000;
constexpr off_t kLocksLength = 512;

void refuse_if_in_use(const std::string &path) {
    const Fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = kLocksStart;
    lock.l_len = kLocksLength;
    if (!file || fcntl(file.get(), F_GETLK, &lock) != 0)
        fail("cannot open " + path);
    if (lock.l_type != F_UNLCK)
        throw StoreError(-EBUSY, "process " + std::to_string(lock.l_pid) + " has it open for writing");
}

// SQLite makes a log that is missing, unless it is told that nothing can change, and then looks at no log at all.
Access access_to(const std::string &path) {
    if (has_content(path + "-wal"))
        return Access::read_log;
    return has_content(path + "-journal") ? Access::read : Access::read_plain;
}

} // namespace

Database open_unchanged(const std::string &path) {
    refuse_if_in_use(path);
    return Database(path, access_to(std::filesystem::canonical(path)));
}

} // namespace varnel::modules
