// SPDX-License-Identifier: MIT
// Where the daemon is found when nobody says otherwise.
#pragma once

namespace varnel::protocol {

constexpr const char *kDefaultSocket = "/run/varnel/varneld.sock";

} // namespace varnel::protocol
