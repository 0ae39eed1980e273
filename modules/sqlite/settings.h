// SPDX-License-Identifier: MIT
// The module's settings (docs/storage.md).
#pragma once

#include "modules/common/store.h"

#include <cstdint>
#include <string>

namespace varnel::modules {

struct SqliteSettings {
    std::string folder;
    std::string journal; // as PRAGMA journal_mode has it
    std::string sync;    // as PRAGMA synchronous has it
    std::uint32_t max_bytes;

    // Whether a commit survives a loss of power.
    [[nodiscard]] bool durable() const { return sync == "full" || sync == "extra"; }
};

// Throws StoreError (-EINVAL).
SqliteSettings read_settings(const StoreSettings &settings);

} // namespace varnel::modules
