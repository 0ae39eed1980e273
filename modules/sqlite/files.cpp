// SPDX-License-Identifier: MIT
#include "modules/sqlite/files.h"

#include "modules/common/store.h"

#include <cerrno>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace varnel::modules {

int result_of_errno(int error) {
    return error == EDQUOT || error == EFBIG ? -ENOSPC : -error;
}

void fail(const std::string &what) {
    const int error = errno;
    throw StoreError(result_of_errno(error), what + ": " + std::error_code(error, std::generic_category()).message());
}

bool exists(const std::string &path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

bool has_content(const std::string &path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && status.st_size != 0;
}

PlacedFile::PlacedFile(std::string path) : path_(std::move(path)) {
    struct stat status = {};
    if (stat(path_.c_str(), &status) != 0)
        fail("cannot find " + path_);
    device_ = status.st_dev;
    number_ = status.st_ino;
}

void PlacedFile::check() const {
    struct stat status = {};
    if (stat(path_.c_str(), &status) != 0 || status.st_dev != device_ || status.st_ino != number_)
        throw StoreError(-ENODEV, path_ + " is no longer the file that is open: it, or a folder above it, was moved, "
                                          "removed or replaced; put it back, or start anew");
}

} // namespace varnel::modules
