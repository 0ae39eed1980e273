// SPDX-License-Identifier: MIT
// The modules' log lines: those of common/device_log.h.
#pragma once

#include "common/device_log.h"

namespace varnel::modules {

inline void log_error(const std::string &line) {
    varnel::log_error("_varnel: ", line);
}

inline void log_info(const std::string &line) {
    varnel::log_info("_varnel: ", line);
}

} // namespace varnel::modules
