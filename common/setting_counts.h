// SPDX-License-Identifier: MIT
// Settings that are a number within bounds: for those who read them and for those who check them.
#pragma once

#include "common/setting_text.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace varnel {

struct CountSetting {
    const char *name;
    std::uint32_t least;
    std::uint32_t most;
    std::uint32_t fallback; // where nothing is set
    const char *expected;   // the bounds, for messages
};

inline std::optional<std::uint32_t> parse_count_of(const CountSetting &setting, std::string_view text) {
    return parse_count(text, setting.least, setting.most);
}

// Of the modules memory and sqlite: how much a store of theirs holds, counted as modules/common/value_store.h says. The
// default is more than settings take, and little enough for a small device to have a few such stores.
inline constexpr CountSetting kMaxBytes = {"max_bytes", 4096, UINT32_MAX, 16U << 20,
                                           "a number of bytes from 4096 to 4294967295"};

} // namespace varnel
