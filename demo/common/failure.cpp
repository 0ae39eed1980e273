// SPDX-License-Identifier: MIT
#include "common/failure.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace demo {

Failure system_failure(const std::string &what) {
    Failure failure(what + ": " + std::strerror(errno));
    return failure;
}

int run_program(const char *name, unsigned seconds, int (*body)(int, char **), int argc, char **argv) {
    std::signal(SIGPIPE, SIG_IGN);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    alarm(seconds);
    try {
        return body(argc, argv);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "%s: %s\n", name, e.what());
        return EXIT_FAILURE;
    }
}

} // namespace demo
