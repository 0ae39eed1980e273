// SPDX-License-Identifier: MIT
// What the daemon has been told: by its command line, by its configuration file, or by nobody.
#pragma once

#include "daemon/limits.h"
#include "daemon/socket.h"

#include <varnel/config.h>

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace varnel::daemon {

// Wrong use: the process ends with this code, its message printed (or, for code 0, help or version).
class Usage : public std::runtime_error {
public:
    Usage(int code, const std::string &message) : std::runtime_error(message), code_(code) {}
    [[nodiscard]] int code() const { return code_; }

private:
    int code_;
};

struct Options {
    std::string modules;
    std::string state;
    std::string udp; // empty: none
    SocketSettings socket;
    Limits limits;
    std::uint64_t flush_interval = 1000; // milliseconds
    xdictionary *tree = nullptr;         // the configuration; never released, its parts are shared
};

// Reads the command line, and the configuration file that it names or the built-in configuration, into options. Usage
// when there is something that cannot be meant.
void read_options(int argc, char **argv, Options &options);

} // namespace varnel::daemon
