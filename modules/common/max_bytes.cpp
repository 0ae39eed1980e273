// SPDX-License-Identifier: MIT
#include "modules/common/max_bytes.h"

#include "common/setting_counts.h"
#include "common/text.h"
#include "modules/common/log.h"

#include <cerrno>

namespace varnel::modules {

std::uint32_t read_max_bytes(const StoreSettings &settings) {
    const std::string text = settings.text(kMaxBytes.name, std::to_string(kMaxBytes.fallback).c_str());
    const auto bytes = parse_count_of(kMaxBytes, text);
    if (!bytes)
        throw StoreError(-EINVAL, in_quotes(kMaxBytes.name) + " is " + in_quotes(text) + ", not " + kMaxBytes.expected);
    return *bytes;
}

void bound(ValueStore &values, std::uint32_t max_bytes, const std::string &where) {
    const std::uint64_t bytes = values.set_bound(max_bytes);
    if (bytes > max_bytes)
        log_info(where + ": holds " + std::to_string(bytes) + " bytes, more than the " + std::to_string(max_bytes) +
                 " of " + in_quotes(kMaxBytes.name) + ": all of it stays, but nothing is taken that makes it more");
}

} // namespace varnel::modules
