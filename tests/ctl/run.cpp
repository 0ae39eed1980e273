// SPDX-License-Identifier: MIT
#include "ctl/run.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace ctl_tests {

namespace {

constexpr auto kLongestRun = std::chrono::seconds(40);

void redirect(int fd, const std::string &path, int flags) {
    const int file = open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (file < 0 || dup2(file, fd) < 0)
        _exit(99);
}

[[noreturn]] void execute(const Arguments &arguments, const std::string &folder, const std::string &output,
                          const std::string &socket) {
    redirect(STDIN_FILENO, folder + "/input", O_RDONLY);
    redirect(STDOUT_FILENO, output.empty() ? folder + "/output" : output, O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY);
    redirect(STDERR_FILENO, folder + "/errors", O_WRONLY | O_CREAT | O_TRUNC);
    setenv("VARNEL_SOCKET", socket.c_str(), 1);
    std::vector<char *> words;
    std::string program = VARNELCTL;
    words.push_back(program.data());
    for (const std::string &argument : arguments)
        words.push_back(const_cast<char *>(argument.c_str()));
    words.push_back(nullptr);
    execv(words.front(), words.data());
    _exit(98);
}

std::string text_of(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace

Program::Program(const Arguments &arguments, const std::string &input, const std::string &socket,
                 const std::string &output)
    : folder_(new_folder()) {
    std::ofstream(folder_ + "/input", std::ios::binary) << input;
    pid_ = fork();
    if (pid_ == 0)
        execute(arguments, folder_, output, socket);
}

Program::~Program() {
    if (!ended()) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    std::filesystem::remove_all(folder_);
}

void Program::signal(int number) const {
    kill(pid_, number);
}

bool Program::ended() {
    int status = 0;
    if (code_ < 0 && waitpid(pid_, &status, WNOHANG) == pid_)
        code_ = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    return code_ >= 0;
}

std::string Program::output() const {
    return text_of(folder_ + "/output");
}

Result Program::result() const {
    return {code_, output(), text_of(folder_ + "/errors")};
}

static Result serve_to_end(FakeDaemon &daemon, Program &program) {
    const auto end = std::chrono::steady_clock::now() + kLongestRun;
    while (!program.ended() && std::chrono::steady_clock::now() < end)
        daemon.serve();
    EXPECT_TRUE(program.ended()) << "varnelctl does not end";
    return program.result();
}

Result run(FakeDaemon &daemon, const Arguments &arguments, const std::string &input) {
    Program program(arguments, input, daemon.path());
    return serve_to_end(daemon, program);
}

Result run_into(const std::string &output, FakeDaemon &daemon, const Arguments &arguments) {
    Program program(arguments, "", daemon.path(), output);
    return serve_to_end(daemon, program);
}

Result run_alone(const Arguments &arguments, const std::string &input) {
    Program program(arguments, input, "/nowhere/varneld.sock");
    const auto end = std::chrono::steady_clock::now() + kLongestRun;
    while (!program.ended() && std::chrono::steady_clock::now() < end)
        usleep(1000);
    EXPECT_TRUE(program.ended()) << "varnelctl does not end";
    return program.result();
}

std::string file_with(const std::string &text) {
    static int count = 0;
    static const struct Folder {
        std::string path = new_folder();
        ~Folder() { std::filesystem::remove_all(path); }
    } folder;
    std::string path = folder.path + "/file" + std::to_string(++count);
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

} // namespace ctl_tests
