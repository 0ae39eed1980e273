// SPDX-License-Identifier: MIT
#include "daemon/file.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace varnel::daemon {

namespace {

constexpr std::size_t kMostBytes = 4096;

bool write_all(int fd, const std::string &text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno != EINTR)
            return false;
        done += n > 0 ? static_cast<std::size_t>(n) : 0;
    }
    return true;
}

bool write_new(const std::string &path, const std::string &text) {
    const Fd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0640));
    return fd && write_all(fd.get(), text) && fsync(fd.get()) == 0;
}

bool sync_folder_of(const std::string &path) {
    const std::string folder = std::filesystem::path(path).parent_path();
    const Fd fd(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd && fsync(fd.get()) == 0;
}

// Leaves errno as it is.
bool can_be_written(const std::string &folder) {
    const int error = errno;
    const bool can = faccessat(AT_FDCWD, folder.c_str(), W_OK, AT_EACCESS) == 0;
    errno = error;
    return can;
}

std::string owner_of(const std::string &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? "user " + std::to_string(status.st_uid) : "an unknown user";
}

} // namespace

std::optional<std::string> read_file(const std::string &path) {
    const Fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd && errno == ENOENT)
        return std::nullopt;
    std::string text(kMostBytes, '\0');
    const ssize_t n = fd ? read(fd.get(), text.data(), text.size()) : -1;
    if (n < 0)
        throw std::system_error(errno, std::generic_category(), path);
    text.resize(static_cast<std::size_t>(n));
    return text;
}

bool replace_file(const std::string &path, const std::string &text) {
    const std::string temporary = path + ".new";
    if (write_new(temporary, text) && std::rename(temporary.c_str(), path.c_str()) == 0)
        return sync_folder_of(path);
    const int error = errno;
    unlink(temporary.c_str());
    errno = error;
    return false;
}

Fd reserve_folder(const std::string &path) {
    const std::string file = path + "/varneld.lock"; // modules lock the folder itself
    Fd fd(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!fd && errno == EACCES && can_be_written(path))
        throw std::runtime_error("cannot tell whether another daemon keeps its state in " + path + ": " + file +
                                 " of " + owner_of(file) + " cannot be opened by user " + std::to_string(geteuid()));
    if (!fd && errno != EACCES && errno != EROFS)
        throw std::system_error(errno, std::generic_category(), file);
    if (fd && flock(fd.get(), LOCK_EX | LOCK_NB) != 0)
        throw std::runtime_error("another daemon keeps its state in " + path);
    return fd;
}

void make_folders(const std::string &path, mode_t mode) {
    if (!path.empty() && std::filesystem::create_directories(path))
        std::filesystem::permissions(path, static_cast<std::filesystem::perms>(mode));
}

} // namespace varnel::daemon
