// SPDX-License-Identifier: MIT
// The test programs' own log_vperr, log_vpinfo and log_vpdebug: they record every line while a LogCapture lives.
//
// Error lines are written to standard error too, as they are, and inside a death test's child every line is, so that
// the expected message of a death test can name any of them.
#pragma once

#include <string>
#include <vector>

struct LogLine {
    enum Level { error, info, debug } level;
    std::string prefix;
    std::string format; // as the library passed it
    std::string text;   // formatted
};

// Records from its construction, which forgets earlier lines, to its end. One at a time; safe beside threads that log.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    [[nodiscard]] std::vector<LogLine> lines() const;
    [[nodiscard]] std::vector<std::string> texts(LogLine::Level level) const;
    [[nodiscard]] std::vector<std::string> formats(LogLine::Level level) const;
    void clear();

    // From now on every logged line leaves errno at this value, as a log library may. 0: errno is preserved.
    void leave_errno(int value);
};
