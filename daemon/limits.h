// SPDX-License-Identifier: MIT
// The limits in force.
#pragma once

#include "protocol/limits.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::daemon {

using protocol::Limit;

class Limits {
public:
    Limits();

    [[nodiscard]] std::uint32_t operator[](Limit limit) const { return values_[static_cast<std::size_t>(limit)]; }

    // nothing, or what is wrong: no limit of that name, or a text that is no number within its bounds.
    std::optional<std::string> set(std::string_view name, std::string_view text);

    // To be called when all have been set. message_bytes becomes what the packets hold when it is more: larger messages
    // would be promised, and end their connections. nothing, or what has been changed.
    std::optional<std::string> fit();

private:
    std::array<std::uint32_t, static_cast<std::size_t>(Limit::count)> values_{};
};

} // namespace varnel::daemon
