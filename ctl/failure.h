// SPDX-License-Identifier: MIT
// Why varnelctl ends with another exit code than 0, and how it says so.
#pragma once

#include "conversation/error.h"

#include <stdexcept>
#include <string>

namespace varnel::ctl {

// Scripts rely on these numbers.
enum ExitCode : int {
    kSuccess = 0,
    kNotFound = 1,    // no such value or group
    kCheckErrors = 1, // check: the file has errors
    kUsage = 2,       // the command line, or a file given on it, is wrong
    kUnreachable = 3, // no daemon, or none that answers as it should
    kRefused = 4      // every other status; or the output cannot be written
};

class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string &message) : std::runtime_error(message), code_(code) {}
    [[nodiscard]] ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

inline Failure usage_failure(const std::string &message) {
    return {kUsage, message};
}

ExitCode exit_code_of(const conversation::Error &error);

// The error in words, with what to do next where that is known. socket is the path that was tried; empty over UDP.
std::string explain_error(const conversation::Error &error, const std::string &socket);

} // namespace varnel::ctl
