// SPDX-License-Identifier: MIT
// The daemon's log lines: those of common/device_log.h.
#pragma once

#include "common/device_log.h"

namespace varnel::daemon {

inline void log_error(const std::string &line) {
    varnel::log_error("varneld: ", line);
}

inline void log_info(const std::string &line) {
    varnel::log_info("varneld: ", line);
}

} // namespace varnel::daemon
