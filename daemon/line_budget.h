// SPDX-License-Identifier: MIT
// Lines of the log that strangers cause by coming and going: so many a minute, and one that says how many more there
// were.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace varnel::daemon {

class LineBudget {
public:
    static constexpr std::uint64_t kMost = 20; // in a minute

    // subject: what the lines are about, such as "connections opened".
    explicit LineBudget(std::string subject) : subject_(std::move(subject)) {}

    // Whether a line may be logged now; otherwise it is counted. now is in milliseconds.
    bool allows(std::uint64_t now);

    // Tells how many were left out, once the minute is over: to be called now and then.
    void catch_up(std::uint64_t now);

    // The same at once: at the end.
    void finish();

private:
    std::string subject_;
    std::uint64_t began_ = 0; // the minute, with the first line in it
    std::uint64_t lines_ = 0; // in this minute
};

} // namespace varnel::daemon
