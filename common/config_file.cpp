// SPDX-License-Identifier: MIT
#include "common/config_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace varnel {

namespace {

ConfigFinding about_file(const std::string &message, const std::string &expected) {
    return {true, 0, 0, message, expected};
}

} // namespace

ConfigFinding too_large_config() {
    return about_file("is larger than " + std::to_string(kLargestConfig >> 20) + " MiB", "a configuration file");
}

ConfigFile open_config(const std::string &path, std::vector<ConfigFinding> &findings) {
    // A pipe opens at once without a writer.
    const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    ConfigFile file(fd < 0 ? nullptr : fdopen(fd, "r"));
    if (file == nullptr && fd >= 0)
        close(fd);
    struct stat status = {};
    if (file == nullptr || fstat(fd, &status) != 0) {
        findings.push_back(about_file("cannot be opened: " + std::error_code(errno, std::generic_category()).message(),
                                      "a file that can be read"));
        return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
        findings.push_back(
            about_file(S_ISDIR(status.st_mode) ? "is a folder" : "is not a regular file", "a regular file"));
        return nullptr;
    }
    if (status.st_size > kLargestConfig) {
        findings.push_back(too_large_config());
        return nullptr;
    }
    return file;
}

} // namespace varnel
