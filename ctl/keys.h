// SPDX-License-Identifier: MIT
// Keys as the command line has them. Each is usage_failure for text that is no such key.
#pragma once

#include "common/key_text.h"

#include <string>

namespace varnel::ctl {

// layer:group:name, :group:name or group:name, the last two in the default layer.
KeyParts value_key(const std::string &text);

// layer:group, :group or group.
KeyParts group_key(const std::string &text);

// layer:group or layer:group:name; the layer may be empty.
KeyParts lock_key(const std::string &text);

// layer, layer:group or layer:group:name; the layer may be empty, the whole text as well.
KeyParts any_key(const std::string &text);

} // namespace varnel::ctl
