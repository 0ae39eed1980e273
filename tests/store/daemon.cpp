// SPDX-License-Identifier: MIT
#include "daemon.h"

#include "conversation/requests.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace varnel::test {

namespace {

// The address sanitizer keeps released memory for long, which looks like growth.
std::string sanitizer_options() {
    const char *const own = std::getenv("ASAN_OPTIONS");
    return std::string("ASAN_OPTIONS=quarantine_size_mb=4:") + (own != nullptr ? own : "");
}

std::string default_config(const Folder &folder) {
    return "backends = {\n    sqlite = {\n        priority = 10\n    }\n"
           "    defaults = {\n        readonly = yes\n        required = no\n        file = " +
           (folder / "defaults.conf") +
           "\n    }\n"
           "    memory = {\n    }\n}\n"
           "layers = {\n    default = user\n"
           "    user = {\n        durability = file\n        sqlite = {\n        }\n        defaults = {\n        }\n"
           "    }\n"
           "    volatile = {\n        durability = memory\n        memory = {\n        }\n    }\n"
           "    locked = {\n        readonly = yes\n        memory = {\n        }\n    }\n}\n";
}

} // namespace

Folder::Folder() {
    for (unsigned number = 0;; ++number) {
        path_ = "/tmp/varnel-test-" + std::to_string(getpid()) + "-" + std::to_string(number);
        if (mkdir(path_.c_str(), 0700) == 0)
            return;
        if (errno != EEXIST)
            throw std::runtime_error("cannot make " + path_);
    }
}

Folder::~Folder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
}

void write_file(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Daemon::Daemon() : config(default_config(folder_)) {}

Daemon::~Daemon() {
    if (running_)
        stop();
    if (testing::Test::HasFailure())
        std::cerr << "---- the daemon's log\n" << log() << "----\n";
}

std::vector<std::string> Daemon::arguments() const {
    std::vector<std::string> words = {VARNELD, "--socket", socket, "--state", state, "--modules", modules};
    if (!config.empty()) {
        write_file(folder_ / "varneld.conf", config);
        words.insert(words.end(), {"--config", folder_ / "varneld.conf"});
    }
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

ProcessOptions Daemon::process_options() const {
    ProcessOptions all = process;
    all.environment.push_back(sanitizer_options());
    return all;
}

void Daemon::start() {
    ProcessOptions all = process_options();
    all.error_file = folder_ / "log";
    running_.emplace(arguments(), all);
    const std::string line = running_->read_line();
    if (line == "varneld: ready on " + socket)
        return;
    running_.reset();
    throw std::runtime_error("varneld is not ready but says \"" + line + "\"; its log:\n" + log());
}

Outcome Daemon::run_to_its_end() {
    Process process_run(arguments(), process_options());
    const int code = process_run.wait();
    return {code, process_run.out(), process_run.err()};
}

void Daemon::stop() {
    running_->signal(SIGTERM);
    EXPECT_EQ(running_->wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(socket));
    running_.reset();
}

void Daemon::kill() {
    running_->signal(SIGKILL);
    reap();
}

void Daemon::reap() {
    EXPECT_EQ(running_->wait(), 128 + SIGKILL);
    running_.reset();
}

std::string Daemon::log() const {
    return read_file(folder_ / "log");
}

std::size_t Daemon::log_lines(const std::string &text) const {
    std::istringstream lines(log());
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line);)
        count += line.find(text) != std::string::npos ? 1 : 0;
    return count;
}

bool Daemon::logs(const std::string &text) const {
    return eventually([&] { return log_lines(text) != 0; });
}

std::size_t Daemon::resident() const {
    std::istringstream lines(read_file("/proc/" + std::to_string(pid()) + "/status"));
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stoul(line.substr(6));
    }
    throw std::runtime_error("the daemon is gone");
}

std::unique_ptr<conversation::Conversation> Daemon::connect() const {
    return conversation::Conversation::over_unix(socket, kPatience);
}

std::vector<std::string> Daemon::control_arguments(const std::vector<std::string> &arguments) const {
    std::vector<std::string> words = {VARNELCTL, "--socket", socket};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

Outcome Daemon::control(const std::vector<std::string> &arguments, const std::string &input) const {
    ProcessOptions all;
    all.input = input;
    Process run(control_arguments(arguments), all);
    const int code = run.wait();
    return {code, run.out(), run.err()};
}

std::uint64_t Daemon::statistic(const std::string &name) const {
    const auto conversation = connect();
    for (const auto &[each, number] : conversation::statistics(*conversation)) {
        if (each == name)
            return number;
    }
    throw std::runtime_error("there is no statistic " + name);
}

std::uint16_t start_with_udp(Daemon &daemon, const std::vector<std::string> &options) {
    std::mt19937 random(std::random_device{}());
    for (int attempt = 0;; ++attempt) {
        const auto port = static_cast<std::uint16_t>(1024 + random() % 18000);
        daemon.options = options;
        daemon.options.insert(daemon.options.end(), {"--udp", std::to_string(port)});
        try {
            daemon.start();
            return port;
        } catch (const std::runtime_error &) {
            if (attempt == 20)
                throw;
        }
    }
}

Outcome run_control(const std::vector<std::string> &arguments, const std::string &input) {
    std::vector<std::string> words = {VARNELCTL};
    words.insert(words.end(), arguments.begin(), arguments.end());
    ProcessOptions all;
    all.input = input;
    Process run(words, all);
    const int code = run.wait();
    return {code, run.out(), run.err()};
}

} // namespace varnel::test
