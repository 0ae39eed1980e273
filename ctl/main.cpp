// SPDX-License-Identifier: MIT
#include "ctl/run_command.h"

#include <exception>

int main(int argc, char **argv) {
    try {
        return varnel::ctl::run(argc, argv, VARNEL_VERSION);
    } catch (const std::exception &) {
        return 4; // no memory for a message either
    }
}
