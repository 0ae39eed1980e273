// SPDX-License-Identifier: MIT
// The real varneld on a private socket and folder, and the real varnelctl.
#pragma once

#include "process.h"

#include "conversation/conversation.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace varnel::test {

// A new folder in /tmp whose path is in lower case, as configuration files need it; removed with its content.
class Folder {
public:
    Folder();
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;
    ~Folder();
    [[nodiscard]] const std::string &path() const { return path_; }
    [[nodiscard]] std::string operator/(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

void write_file(const std::string &path, const std::string &text);
std::string read_file(const std::string &path);

// What a program that has ended leaves.
struct Outcome {
    int code;
    std::string out;
    std::string err;
};

class Daemon {
    Folder folder_; // first: the configuration names it

public:
    // Not started yet. The configuration is like the built-in one, with the factory defaults in
    // folder()/"defaults.conf" and a third layer, "locked", which is read-only.
    Daemon();
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;

    // Ends it when it runs: a failure of the test unless that goes as stop says.
    ~Daemon();

    // What start uses; to be changed before.
    std::string config;
    std::string modules = MODULE_DIR;
    std::string socket = folder_ / "socket";
    std::string state = folder_ / "state";
    std::vector<std::string> options; // of the command line, beside those above
    ProcessOptions process;

    // Starts it and waits until it is ready; std::runtime_error with its log when it does not get there.
    void start();

    // Runs one that is expected to end by itself.
    Outcome run_to_its_end();

    // SIGTERM: must end with code 0 and remove its socket.
    void stop();

    // SIGKILL.
    void kill();

    // Waits until it has died of somebody else's SIGKILL.
    void reap();

    [[nodiscard]] const Folder &folder() const { return folder_; }
    [[nodiscard]] pid_t pid() const { return running_->pid(); }
    [[nodiscard]] Process &running() { return *running_; }

    // Its standard error of all runs; the lines that have a text in them.
    [[nodiscard]] std::string log() const;
    [[nodiscard]] std::size_t log_lines(const std::string &text) const;
    [[nodiscard]] bool logs(const std::string &text) const;

    // One of its statistics, asked for over a connection of its own.
    [[nodiscard]] std::uint64_t statistic(const std::string &name) const;

    // Memory in use, in KiB.
    [[nodiscard]] std::size_t resident() const;

    // A client.
    [[nodiscard]] std::unique_ptr<conversation::Conversation> connect() const;
    [[nodiscard]] std::vector<std::string> control_arguments(const std::vector<std::string> &arguments) const;
    [[nodiscard]] Outcome control(const std::vector<std::string> &arguments, const std::string &input = "") const;

private:
    [[nodiscard]] std::vector<std::string> arguments() const;
    [[nodiscard]] ProcessOptions process_options() const;

    std::optional<Process> running_;
};

// One that runs from the beginning.
class StartedDaemon : public Daemon {
public:
    StartedDaemon() { start(); }
};

// Starts it with UDP on a port of loopback that is free, and returns the port.
std::uint16_t start_with_udp(Daemon &daemon, const std::vector<std::string> &options = {});

// varnelctl with these arguments.
Outcome run_control(const std::vector<std::string> &arguments, const std::string &input = "");

} // namespace varnel::test
