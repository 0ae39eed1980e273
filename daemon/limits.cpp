// SPDX-License-Identifier: MIT
#include "daemon/limits.h"

#include "common/setting_text.h"

#include <varnel/transport.h>

#include <algorithm>
#include <iterator>

namespace varnel::daemon {

using protocol::kLimits;
using protocol::LimitRow;

Limits::Limits() {
    std::transform(std::begin(kLimits), std::end(kLimits), values_.begin(),
                   [](const LimitRow &row) { return row.fallback; });
}

std::optional<std::string> Limits::set(std::string_view name, std::string_view text) {
    const auto *const row =
        std::find_if(std::begin(kLimits), std::end(kLimits), [name](const LimitRow &r) { return r.name == name; });
    if (row == std::end(kLimits))
        return "there is no limit \"" + std::string(name) + "\"";
    const std::optional<std::uint32_t> number = parse_count(text, row->least, row->most);
    if (!number)
        return "limit " + std::string(name) + ": \"" + std::string(text) + "\" is no number from " +
               std::to_string(row->least) + " to " + std::to_string(row->most);
    values_[static_cast<std::size_t>(std::distance(std::begin(kLimits), row))] = *number;
    return std::nullopt;
}

std::optional<std::string> Limits::fit() {
    const std::uint64_t held = std::uint64_t{(*this)[Limit::packets]} * PACKET_PAYLOAD_MAX;
    std::uint32_t &message_bytes = values_[static_cast<std::size_t>(Limit::message_bytes)];
    if (message_bytes <= held)
        return std::nullopt;
    std::string note = "limit message_bytes is " + std::to_string(held) + ", not " + std::to_string(message_bytes) +
                       ": that is what the limit packets of " + std::to_string((*this)[Limit::packets]) + " holds";
    message_bytes = static_cast<std::uint32_t>(held);
    return note;
}

} // namespace varnel::daemon
