// SPDX-License-Identifier: MIT
// The group "varneld" of a configuration file: the daemon's own settings.
#pragma once

#include "common/config_report.h"

namespace varnel {

void check_daemon_settings(ConfigReport &report, const ConfigGroup &group);

} // namespace varnel
