// SPDX-License-Identifier: MIT
#pragma once

namespace varnel::ctl {

// The program: parses, runs one command, and returns the exit code. version is what --version prints.
int run(int argc, const char *const *argv, const char *version);

} // namespace varnel::ctl
