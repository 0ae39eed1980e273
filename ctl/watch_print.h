// SPDX-License-Identifier: MIT
#pragma once

#include "conversation/answers.h"
#include "ctl/output.h"

#include <string>

namespace varnel::ctl {

// "REVISION WHAT KEY VALUES", escaped: added and removed have a value, changed has "OLD -> NEW", group-created and
// group-removed have none. Strings are in double quotes.
std::string line_of_change(const conversation::Change &change);

Json json_of_change(const conversation::Change &change);

} // namespace varnel::ctl
