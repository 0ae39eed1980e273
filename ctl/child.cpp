// SPDX-License-Identifier: MIT
#include "ctl/child.h"

#include "ctl/failure.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace varnel::ctl {

namespace {

constexpr int kNotThere = 127;
constexpr int kCannotRun = 126;
constexpr int kSignalled = 128;

class SpawnAttributes {
public:
    explicit SpawnAttributes(const sigset_t &mask) {
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE); // ignored here
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &mask);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    SpawnAttributes(const SpawnAttributes &) = delete;
    SpawnAttributes &operator=(const SpawnAttributes &) = delete;
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
    [[nodiscard]] const posix_spawnattr_t *get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_ = {};
};

} // namespace

Child::Child(const std::vector<std::string> &words, const sigset_t &mask) {
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    std::transform(words.begin(), words.end(), std::back_inserter(arguments),
                   [](const std::string &word) { return const_cast<char *>(word.c_str()); });
    arguments.push_back(nullptr);
    const SpawnAttributes attributes(mask);
    const int error = posix_spawnp(&pid_, arguments.front(), nullptr, attributes.get(), arguments.data(), environ);
    if (error != 0)
        throw Failure(static_cast<ExitCode>(error == ENOENT ? kNotThere : kCannotRun),
                      "cannot run '" + words.front() + "': " + std::generic_category().message(error));
}

void Child::signal(int number) const {
    kill(pid_, number);
}

std::optional<int> Child::wait_for_end(int options) const {
    int status = 0;
    pid_t result = -1;
    do
        result = waitpid(pid_, &status, options);
    while (result < 0 && errno == EINTR);
    if (result != pid_)
        return std::nullopt;
    return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
}

std::optional<int> Child::poll() const {
    return wait_for_end(WNOHANG);
}

int Child::wait() const {
    return wait_for_end(0).value_or(kCannotRun);
}

} // namespace varnel::ctl
