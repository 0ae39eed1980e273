// SPDX-License-Identifier: MIT
#include "process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace varnel::test {

namespace {

constexpr int kPause = 2; // milliseconds between two looks

void make_pipe(int (&ends)[2]) {
    if (pipe2(ends, O_CLOEXEC) != 0)
        fail_with_errno("pipe");
}

// A file without a name, so that no pipe's size bounds the input.
int file_with(const std::string &text) {
    std::FILE *const file = std::tmpfile();
    if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file) != text.size() || std::fflush(file) != 0)
        fail_with_errno("input");
    const int fd = fcntl(fileno(file), F_DUPFD_CLOEXEC, 3);
    std::fclose(file);
    lseek(fd, 0, SEEK_SET);
    return fd;
}

int error_target(const ProcessOptions &options, int pipe_end) {
    return options.error_file.empty()
               ? pipe_end
               : open(options.error_file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
}

[[noreturn]] void become(const std::vector<std::string> &arguments, const ProcessOptions &options) {
    std::vector<char *> words;
    for (const std::string &argument : arguments)
        words.push_back(const_cast<char *>(argument.c_str()));
    words.push_back(nullptr);
    for (const std::string &setting : options.environment)
        putenv(const_cast<char *>(setting.c_str()));
    for (const int number : {SIGPIPE, SIGINT, SIGTERM}) // conversations and shells may have them ignored
        std::signal(number, SIG_DFL);
    prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed leaves nothing behind
    options.before_exec();
    execv(words.front(), words.data());
    std::perror(words.front());
    _exit(127);
}

} // namespace

void fail_with_errno(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

bool eventually(const std::function<bool()> &condition, const Deadline &deadline) {
    while (!condition()) {
        if (deadline.passed())
            return condition();
        poll(nullptr, 0, kPause);
    }
    return true;
}

Process::Process(const std::vector<std::string> &arguments, const ProcessOptions &options) {
    int out[2];
    int err[2];
    make_pipe(out);
    make_pipe(err);
    const int input = file_with(options.input);
    const int error = error_target(options, err[1]);
    pid_ = fork();
    if (pid_ < 0)
        fail_with_errno("fork");
    if (pid_ == 0) {
        dup2(input, STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(error, STDERR_FILENO);
        become(arguments, options);
    }
    close(input);
    close(out[1]);
    if (error != err[1])
        close(error);
    close(err[1]);
    out_.fd = out[0];
    err_.fd = err[0];
}

Process::~Process() {
    if (!has_ended()) {
        signal(SIGKILL);
        waitpid(pid_, &status_, 0);
    }
    close_stream(out_);
    close_stream(err_);
}

void Process::signal(int number) const {
    if (!ended_)
        kill(pid_, number);
}

bool Process::has_ended() {
    ended_ = ended_ || waitpid(pid_, &status_, WNOHANG) == pid_;
    return ended_;
}

void Process::close_stream(Stream &stream) {
    if (stream.fd >= 0)
        close(stream.fd);
    stream.fd = -1;
}

void Process::read_into(Stream &stream) {
    char buffer[65536];
    const ssize_t n = read(stream.fd, buffer, sizeof buffer);
    if (n > 0)
        stream.text.append(buffer, static_cast<std::size_t>(n));
    else if (n == 0 || errno != EINTR)
        close_stream(stream);
}

// Reads what comes next. False when nothing came in time, or nothing will.
bool Process::pump(const Deadline &deadline) {
    pollfd streams[] = {{out_.fd, POLLIN, 0}, {err_.fd, POLLIN, 0}};
    if ((out_.fd < 0 && err_.fd < 0) || poll(streams, 2, deadline.poll_time()) <= 0)
        return false;
    if (streams[0].revents != 0)
        read_into(out_);
    if (streams[1].revents != 0)
        read_into(err_);
    return true;
}

int Process::wait() {
    const Deadline deadline = patience();
    while (pump(deadline)) {
    }
    if (!eventually([this] { return has_ended(); }, deadline))
        throw std::runtime_error("the program does not end; its output: " + out_.text + err_.text);
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
}

std::string Process::read_line(const Deadline &deadline) {
    std::size_t end;
    while ((end = out_.text.find('\n', out_.taken)) == std::string::npos) {
        if (out_.fd < 0 || !pump(deadline))
            break;
    }
    const std::string line = out_.text.substr(out_.taken, end - out_.taken);
    out_.taken = end == std::string::npos ? out_.text.size() : end + 1;
    return line;
}

} // namespace varnel::test
