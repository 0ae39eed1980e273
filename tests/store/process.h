// SPDX-License-Identifier: MIT
// A program that a test runs: its output, its end.
#pragma once

#include "conversation/deadline.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace varnel::test {

using conversation::Deadline;
using conversation::Milliseconds;

// How long anything in these tests may take before it counts as not happening. Sanitizers and loaded machines are slow.
constexpr Milliseconds kPatience(30000);

inline Deadline patience() {
    return Deadline::after(kPatience);
}

// Throws what errno says: a call of the system that a test needs has failed.
[[noreturn]] void fail_with_errno(const char *what);

// Whether condition becomes true in time. It is asked again and again.
bool eventually(const std::function<bool()> &condition, const Deadline &deadline = patience());

struct ProcessOptions {
    std::string input;                         // standard input
    std::vector<std::string> environment;      // NAME=VALUE, beside the test's own
    std::string error_file;                    // standard error goes there, appended; empty: collected
    std::function<void()> before_exec = [] {}; // in the child
};

class Process {
public:
    // The program's path and its arguments.
    explicit Process(const std::vector<std::string> &arguments, const ProcessOptions &options = {});
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    // Kills it when it runs still.
    ~Process();

    [[nodiscard]] pid_t pid() const { return pid_; }
    void signal(int number) const;

    // Waits until it ends and returns its exit code, 128 and the signal's number when one ended it. A program that does
    // not end in time is killed: std::runtime_error.
    int wait();

    // Whether it has ended by now.
    [[nodiscard]] bool has_ended();

    // Waits for the next line of standard output and returns it without its end; the rest when there is no more.
    std::string read_line(const Deadline &deadline = patience());

    // What has come so far; everything after wait.
    [[nodiscard]] const std::string &out() const { return out_.text; }
    [[nodiscard]] const std::string &err() const { return err_.text; }

private:
    struct Stream {
        int fd = -1;
        std::string text;
        std::size_t taken = 0; // by read_line
    };
    bool pump(const Deadline &deadline);
    static void read_into(Stream &stream);
    static void close_stream(Stream &stream);

    pid_t pid_ = -1;
    int status_ = 0;
    bool ended_ = false;
    Stream out_;
    Stream err_;
};

} // namespace varnel::test
