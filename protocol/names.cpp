// SPDX-License-Identifier: MIT
#include "protocol/protocol.h"

#include "common/setting_words.h"

#include <iterator>

namespace varnel::protocol {

namespace {

constexpr const char *kStatusNames[] = {
    "ok",        "not_found", "exists",   "read_only",   "invalid",  "unknown_layer",
    "busy",      "timed_out", "not_held", "no_space",    "io_error", "unavailable",
    "too_large", "too_many",  "too_fast", "unsupported", "no_memory"};
static_assert(std::size(kStatusNames) == static_cast<std::size_t>(Status::count));

template <std::size_t n> const char *name_in(const char *const (&names)[n], std::uint32_t index) {
    return index < n ? names[index] : "unknown";
}

} // namespace

const char *status_name(std::uint32_t status) {
    return name_in(kStatusNames, status);
}

const char *durability_name(std::uint32_t durability) {
    return name_in(kDurabilityWords, durability);
}

} // namespace varnel::protocol
