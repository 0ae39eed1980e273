// SPDX-License-Identifier: MIT
#include "ctl/keep_alive.h"

#include "conversation/requests.h"

#include <algorithm>

namespace varnel::ctl {

using conversation::Milliseconds;

namespace {

constexpr std::uint64_t kMostIdle = 86400; // seconds; more makes no difference

Milliseconds interval_of(const conversation::Numbers &limits) {
    const auto idle = std::find_if(limits.begin(), limits.end(), [](const auto &row) { return row.first == "idle"; });
    const std::uint64_t seconds = idle == limits.end() ? kMostIdle : std::min(idle->second, kMostIdle);
    return Milliseconds(std::max<std::uint64_t>(seconds * 1000 / 3, 100));
}

} // namespace

KeepAlive::KeepAlive(conversation::Conversation &conversation) : conversation_(conversation) {
    if (conversation_.is_datagram())
        interval_ = interval_of(conversation::limits(conversation_));
}

conversation::Deadline KeepAlive::deadline() const {
    return conversation::Deadline::after(interval_);
}

void KeepAlive::speak() {
    conversation::version(conversation_);
}

} // namespace varnel::ctl
