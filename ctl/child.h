// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace varnel::ctl {

// A running command.
class Child {
public:
    // Starts it, looked for in PATH, with that mask of signals. Failure with 127 when it is not there, 126 when it
    // cannot be run, as shells have it.
    Child(const std::vector<std::string> &words, const sigset_t &mask);

    void signal(int number) const;

    // Its exit code, or 128 and the number of the signal that ended it; nothing while it runs.
    [[nodiscard]] std::optional<int> poll() const;
    [[nodiscard]] int wait() const;

private:
    [[nodiscard]] std::optional<int> wait_for_end(int options) const;
    pid_t pid_ = -1;
};

} // namespace varnel::ctl
