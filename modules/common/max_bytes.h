// SPDX-License-Identifier: MIT
// The setting "max_bytes" of modules that keep what they are given in memory.
#pragma once

#include "modules/common/store.h"

#include <cstdint>
#include <string>

namespace varnel::modules {

// Throws StoreError (-EINVAL).
std::uint32_t read_max_bytes(const StoreSettings &settings);

// Bounds a store that has been filled. When it holds more already, that stays, and the log says so; where is what its
// line begins with.
void bound(ValueStore &values, std::uint32_t max_bytes, const std::string &where);

} // namespace varnel::modules
