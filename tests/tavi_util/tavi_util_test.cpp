// SPDX-License-Identifier: MIT
// The log stand-in, as the library uses it: the real shared object. Each case runs in a child process of its own, since
// the level is process-wide and the environment is read once; the child's standard error is a datagram socket, so that
// every write(2) arrives as one message.
#include "tavi_util.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Lines = std::vector<std::string>;
using LogFunction = int (*)(const char *, const char *, va_list);

int report_fd = -1; // where the child tells what went to syslog, once it has no standard error

int call(LogFunction function, const char *prefix, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = function(prefix, format, arguments);
    va_end(arguments);
    return result;
}

void log_all_levels() {
    call(log_vperr, "p: ", "error\n");
    call(log_vpinfo, "p: ", "info\n");
    call(log_vpdebug, "p: ", "debug\n");
}

[[noreturn]] void child(int error_fd, const std::function<void()> &body) {
    dup2(error_fd, STDERR_FILENO);
    report_fd = error_fd;
    unsetenv("TAVI_LOG_LEVEL");
    body();
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

// The writes of a child that runs body, in order.
Lines writes_of(const std::function<void()> &body) {
    int ends[2];
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends));
    const pid_t pid = fork();
    if (pid == 0) {
        close(ends[0]);
        child(ends[1], body);
    }
    close(ends[1]);
    Lines lines;
    char buffer[2 * TAVI_LINE_MAX];
    for (ssize_t n; (n = read(ends[0], buffer, sizeof buffer)) > 0;)
        lines.emplace_back(buffer, static_cast<std::size_t>(n));
    close(ends[0]);
    int status = 0;
    EXPECT_EQ(pid, waitpid(pid, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    return lines;
}

const Lines kErrorOnly{"p: error\n"};
const Lines kErrorAndInfo{"p: error\n", "p: info\n"};
const Lines kEverything{"p: error\n", "p: info\n", "p: debug\n"};

} // namespace

// Stands in front of the C library's own for the stand-in, too.
void syslog(int priority, const char *format, ...) {
    char line[2 * TAVI_LINE_MAX];
    int length = std::snprintf(line, sizeof line, "syslog %d ", priority);
    va_list arguments;
    va_start(arguments, format);
    length += std::vsnprintf(line + length, sizeof line - static_cast<std::size_t>(length), format, arguments);
    va_end(arguments);
    EXPECT_EQ(length, write(report_fd, line, static_cast<std::size_t>(length)));
}

TEST(TaviUtil, ErrorAndInfoLinesAreWrittenByDefault) {
    EXPECT_EQ(kErrorAndInfo, writes_of(log_all_levels));
}

TEST(TaviUtil, LevelComesFromTheEnvironment) {
    const struct {
        const char *value;
        const Lines &lines;
    } rows[] = {
        {"error", kErrorOnly},    {"info", kErrorAndInfo}, {"debug", kEverything},    {"", kErrorAndInfo},
        {"DEBUG", kErrorAndInfo}, {"2", kErrorAndInfo},    {"debug ", kErrorAndInfo},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(row.lines, writes_of([&row] {
                      setenv("TAVI_LOG_LEVEL", row.value, 1);
                      log_all_levels();
                  }))
            << row.value;
    }
}

TEST(TaviUtil, EnvironmentIsReadOnceAtTheFirstLine) {
    EXPECT_EQ((Lines{"p: error\n", "p: error\n", "p: info\n"}), writes_of([] {
                  setenv("TAVI_LOG_LEVEL", "error", 1);
                  call(log_vperr, "p: ", "error\n");
                  setenv("TAVI_LOG_LEVEL", "debug", 1);
                  call(log_vpinfo, "p: ", "not written\n");
                  EXPECT_EQ(0, tavi_log_set_level(TAVI_LEVEL_INFO));
                  log_all_levels();
              }));
}

TEST(TaviUtil, FunctionWinsOverTheEnvironment) {
    const Lines expected[] = {kErrorOnly, kErrorAndInfo, kEverything};
    for (const int level : {TAVI_LEVEL_ERROR, TAVI_LEVEL_INFO, TAVI_LEVEL_DEBUG}) {
        EXPECT_EQ(expected[level], writes_of([level] {
                      setenv("TAVI_LOG_LEVEL", level == TAVI_LEVEL_ERROR ? "debug" : "error", 1);
                      EXPECT_EQ(0, tavi_log_set_level(level));
                      log_all_levels();
                  }));
    }
}

TEST(TaviUtil, UnknownLevelIsRefusedAndChangesNothing) {
    EXPECT_EQ(kErrorOnly, writes_of([] {
                  EXPECT_EQ(0, tavi_log_set_level(TAVI_LEVEL_ERROR));
                  EXPECT_EQ(-1, tavi_log_set_level(-1));
                  EXPECT_EQ(-1, tavi_log_set_level(3));
                  log_all_levels();
              }));
}

TEST(TaviUtil, FormatIsPrintfWithErrnoText) {
    const std::string expected = "_varnel: 7 seven " + std::string(std::strerror(ENOENT)) + "\n";
    EXPECT_EQ(Lines{expected}, writes_of([] {
                  errno = ENOENT;
                  EXPECT_EQ(0, call(log_vperr, "_varnel: ", "%d %s %m\n", 7, "seven"));
              }));
}

TEST(TaviUtil, ErrnoIsPreserved) {
    writes_of([] {
        for (const LogFunction function : {log_vperr, log_vpinfo, log_vpdebug}) {
            errno = EDOM;
            call(function, "p: ", "text\n");
            EXPECT_EQ(EDOM, errno);
        }
        close(STDERR_FILENO);
        errno = EDOM;
        call(log_vperr, "p: ", "text\n");
        EXPECT_EQ(EDOM, errno);
    });
}

TEST(TaviUtil, EveryLineIsOneWriteAndEndsInANewline) {
    EXPECT_EQ((Lines{"p: a\n", "p: b\n", "\n", "c\n"}), writes_of([] {
                  call(log_vperr, "p: ", "a\n");
                  call(log_vperr, "p: ", "b");
                  call(log_vperr, "", "%s", "");
                  call(log_vperr, nullptr, "c\n");
              }));
}

// Lengths of the text behind a prefix of three, with its newline, around the limit.
TEST(TaviUtil, LongLinesAreCutAndKeepTheirNewline) {
    constexpr std::size_t limit = TAVI_LINE_MAX;
    for (const std::size_t length : {limit - 4, limit - 3, limit - 2, 3 * limit}) {
        const std::string text = std::string(length - 1, 'x') + "\n";
        std::string expected = "p: " + text;
        if (expected.size() > TAVI_LINE_MAX)
            expected = expected.substr(0, TAVI_LINE_MAX - 1) + "\n";
        EXPECT_EQ(Lines{expected}, writes_of([&text] { call(log_vperr, "p: ", "%s", text.c_str()); })) << length;
    }
}

TEST(TaviUtil, LongPrefixIsCutToo) {
    const std::string prefix(2 * TAVI_LINE_MAX, 'p');
    EXPECT_EQ(Lines{prefix.substr(0, TAVI_LINE_MAX - 1) + "\n"},
              writes_of([&prefix] { call(log_vperr, prefix.c_str(), "text\n"); }));
}

TEST(TaviUtil, TextThatCannotBeFormattedIsRefused) {
    EXPECT_EQ(Lines{}, writes_of([] {
                  const wchar_t no_character[] = {static_cast<wchar_t>(0x7fffffff), 0};
                  errno = EDOM;
                  EXPECT_EQ(-1, call(log_vperr, "p: ", "%ls\n", no_character));
                  EXPECT_EQ(EDOM, errno);
              }));
}

TEST(TaviUtil, LinesGoToSyslogWithoutStandardError) {
    const std::string error = "syslog " + std::to_string(LOG_ERR) + " p: 100% error\n";
    const std::string info = "syslog " + std::to_string(LOG_INFO) + " p: info\n";
    const std::string debug = "syslog " + std::to_string(LOG_DEBUG) + " p: debug\n";
    EXPECT_EQ((Lines{error, info, debug}), writes_of([] {
                  close(STDERR_FILENO);
                  tavi_log_set_level(TAVI_LEVEL_DEBUG);
                  call(log_vperr, "p: ", "%d%% error\n", 100);
                  call(log_vpinfo, "p: ", "info\n");
                  call(log_vpdebug, "p: ", "debug\n");
              }));
}

TEST(TaviUtilThreads, LinesOfManyThreadsDoNotMix) {
    constexpr int kThreads = 4;
    constexpr int kLines = 100;
    const Lines lines = writes_of([] {
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([t] {
                const std::string text(static_cast<std::size_t>(100 * (t + 1)), static_cast<char>('a' + t));
                for (int i = 0; i < kLines; ++i)
                    call(log_vpinfo, "p: ", "%s\n", text.c_str());
            });
        }
        for (std::thread &thread : threads)
            thread.join();
    });
    int counts[kThreads] = {};
    for (const std::string &line : lines) {
        ASSERT_GT(line.size(), 3U);
        const int t = line[3] - 'a';
        ASSERT_TRUE(t >= 0 && t < kThreads) << line;
        ++counts[t];
        EXPECT_EQ("p: " + std::string(static_cast<std::size_t>(100 * (t + 1)), line[3]) + "\n", line);
    }
    for (const int count : counts)
        EXPECT_EQ(kLines, count);
}
