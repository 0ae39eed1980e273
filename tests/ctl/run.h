// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/fake_daemon.h"

#include <nlohmann/json.hpp>

#include <string>
#include <sys/types.h>
#include <vector>

namespace ctl_tests {

using Arguments = std::vector<std::string>;

struct Result {
    int code = -1;
    std::string output;
    std::string errors;
    [[nodiscard]] nlohmann::ordered_json json() const { return nlohmann::ordered_json::parse(output); }
};

// varnelctl in a process of its own, with its output in files.
class Program {
public:
    // output: what standard output is, instead of a file.
    Program(const Arguments &arguments, const std::string &input, const std::string &socket,
            const std::string &output = "");
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;
    ~Program();

    void signal(int number) const;
    [[nodiscard]] bool ended();
    [[nodiscard]] std::string output() const; // so far
    [[nodiscard]] Result result() const;      // when it has ended

private:
    pid_t pid_ = -1;
    int code_ = -1;
    std::string folder_;
};

// Runs varnelctl, with the daemon answering meanwhile.
Result run(FakeDaemon &daemon, const Arguments &arguments, const std::string &input = "");

// Runs varnelctl with a terminal or a device as its standard output.
Result run_into(const std::string &output, FakeDaemon &daemon, const Arguments &arguments);

// Runs varnelctl with no daemon there.
Result run_alone(const Arguments &arguments, const std::string &input = "");

// A new file, in a folder that goes with the test process's end.
std::string file_with(const std::string &text);

} // namespace ctl_tests
