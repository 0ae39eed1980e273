// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace demo {

// Why a program cannot go on; main prints it and ends with EXIT_FAILURE.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The same with the text of errno behind what.
Failure system_failure(const std::string &what);

// Runs the body of a program: ignores SIGPIPE, ends the process after seconds at the latest, prints what a Failure says
// behind name and turns it into the exit code.
int run_program(const char *name, unsigned seconds, int (*body)(int, char **), int argc, char **argv);

} // namespace demo
