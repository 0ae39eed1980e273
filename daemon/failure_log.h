// SPDX-License-Identifier: MIT
// Failures that come again with every request, in few lines of the log: a client must not be able to fill it.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace varnel::daemon {

// The last line about a subject tells its present state: that it fails, that it works again, or that it comes and goes.
// In that last case the subject is left alone for a minute; then its state is told again.
class FailureLog {
public:
    // Logs "SUBJECT WHAT": the first failure of a kind at once, and the first one after a line that it works; then one
    // a minute at most, with the number of those since the line before. now is in milliseconds, as below.
    void failed(const std::string &subject, const std::string &what, std::uint64_t now);

    // Logs "SUBJECT WHAT" when the last line about the subject told a failure.
    void recovered(const std::string &subject, const std::string &what, std::uint64_t now);

    // Tells the present state of what has been left alone for a minute: to be called now and then.
    void catch_up(std::uint64_t now);

    // Whether there is a subject that fails, or whose last line does not tell that it works.
    [[nodiscard]] bool has_failures() const;

private:
    struct Kind {
        std::uint64_t logged_at; // milliseconds
        std::uint64_t not_logged = 0;
    };
    struct Subject {
        std::map<std::string, Kind> kinds; // by what it does
        std::string last;                  // what it has done last: a kind, or that it works
        bool fails = false;
        bool told = false;           // the last line tells that it fails, or that it comes and goes
        bool comes_and_goes = false; // it is left alone
        std::uint64_t left_alone_at = 0;
    };
    static void tell_failure(const std::string &name, Subject &subject, std::uint64_t now);
    static void tell_recovery(const std::string &name, Subject &subject);
    static bool catch_up(const std::string &name, Subject &subject, std::uint64_t now);

    std::map<std::string, Subject> subjects_;
};

} // namespace varnel::daemon
