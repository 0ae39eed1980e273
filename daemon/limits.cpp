// SPDX-License-Identifier: MIT
#include "daemon/limits.h"

#include "common/setting_text.h"

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

} // namespace varnel::daemon
