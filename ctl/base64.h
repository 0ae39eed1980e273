// SPDX-License-Identifier: MIT
// Base64 (RFC 4648, section 4, with padding): for strings that JSON cannot hold.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace varnel::ctl {

std::string to_base64(std::string_view bytes);

// nothing for text that to_base64 does not make.
std::optional<std::string> from_base64(std::string_view text);

} // namespace varnel::ctl
