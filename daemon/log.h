// SPDX-License-Identifier: MIT
// The daemon's log lines: those of common/device_log.h.
#pragma once

#include "common/device_log.h"

#include <cstdint>

namespace varnel::daemon {

// Milliseconds in which what keeps happening is told once, or so many times.
constexpr std::uint64_t kLogInterval = 60000;

inline void log_error(const std::string &line) {
    varnel::log_error("varneld: ", line);
}

inline void log_info(const std::string &line) {
    varnel::log_info("varneld: ", line);
}

} // namespace varnel::daemon
