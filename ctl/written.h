// SPDX-License-Identifier: MIT
// What commands say about a change that was made: nothing, unless asked with --verbose or --json.
#pragma once

#include "conversation/answers.h"
#include "ctl/session.h"

namespace varnel::ctl {

void report_written(const Session &session, const conversation::Written &written);

} // namespace varnel::ctl
