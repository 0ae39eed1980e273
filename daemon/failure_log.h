// SPDX-License-Identifier: MIT
// Failures that come again with every request, in few lines of the log: a client must not be able to fill it.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace varnel::daemon {

class FailureLog {
public:
    // Logs "SUBJECT WHAT": the first failure of a kind at once, then one a minute at most, with the number of those
    // since the line before. now is in milliseconds.
    void failed(const std::string &subject, const std::string &what, std::uint64_t now);

    // Logs "SUBJECT WHAT" when the last line about the subject told a failure.
    void recovered(const std::string &subject, const std::string &what);

    // Whether there is a subject whose last line told a failure.
    [[nodiscard]] bool has_failures() const { return !failing_.empty(); }

private:
    struct Kind {
        std::uint64_t logged_at; // milliseconds
        std::uint64_t not_logged = 0;
    };
    std::map<std::string, std::map<std::string, Kind>> kinds_; // by subject, then by what it does
    std::set<std::string> failing_;
};

} // namespace varnel::daemon
