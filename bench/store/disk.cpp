// SPDX-License-Identifier: MIT
#include "bench/store/disk.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace varnel::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::array<char, 100> kBytes{};

class File {
public:
    File(const std::string &path, int flags) : path_(path), fd_(open(path.c_str(), flags | O_CLOEXEC, 0600)) {
        check(fd_ >= 0);
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    ~File() { close(fd_); }

    void append_and_sync() const {
        check(write(fd_, kBytes.data(), kBytes.size()) == static_cast<ssize_t>(kBytes.size()));
        check(fdatasync(fd_) == 0);
    }
    void sync() const { check(fsync(fd_) == 0); }

private:
    void check(bool good) const {
        if (!good)
            throw Failure(path_ + ": " + std::strerror(errno));
    }

    std::string path_;
    int fd_;
};

template <class Step> double times_per_second(Seconds duration, Step step) {
    const auto start = Clock::now();
    auto now = start;
    double count = 0;
    while (now - start < duration) {
        step();
        now = Clock::now();
        ++count;
    }
    return count / Seconds(now - start).count();
}

constexpr int kNewFile = O_WRONLY | O_CREAT | O_EXCL | O_APPEND;

double appends_per_second(const std::string &path, Seconds duration) {
    const File file(path, kNewFile);
    const double rate = times_per_second(duration, [&] { file.append_and_sync(); });
    unlink(path.c_str());
    return rate;
}

// The file is removed before the next is made, so that the folder does not grow; that is part of the cost.
double new_files_per_second(const std::string &folder, const std::string &path, Seconds duration) {
    const File itself(folder, O_RDONLY | O_DIRECTORY);
    return times_per_second(duration, [&] {
        File(path, kNewFile).append_and_sync();
        itself.sync();
        unlink(path.c_str());
    });
}

} // namespace

DiskMeasurement measure_disk(const std::string &folder, Seconds duration) {
    const std::string path = folder + "/sync-" + std::to_string(getpid());
    return {appends_per_second(path, duration), new_files_per_second(folder, path, duration)};
}

} // namespace varnel::bench
