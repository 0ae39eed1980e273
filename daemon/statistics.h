// SPDX-License-Identifier: MIT
// What the daemon counts, by name; since its start where nothing else is said.
#pragma once

#include <cstdint>

namespace varnel::daemon {

struct Statistics {
    std::uint64_t connections = 0;   // open now
    std::uint64_t subscriptions = 0; // now
    std::uint64_t accepted = 0;      // ever
    std::uint64_t refused = 0;       // over the limit of clients
    std::uint64_t ignored = 0;       // datagrams that no client sends, or from where no answer gets to
    std::uint64_t dropped = 0;       // closed by the daemon for what they did or did not do
    std::uint64_t requests = 0;
    std::uint64_t refusals = 0; // answers that were not ok
    std::uint64_t changes = 0;  // of visible values and groups
    std::uint64_t events = 0;   // given to subscribers
    std::uint64_t lost = 0;     // not given: the subscriber was too slow
    std::uint64_t syncs = 0;    // of a layer's storage
};

struct StatisticsRow {
    const char *name;
    std::uint64_t Statistics::*counter;
};

constexpr StatisticsRow kStatistics[] = {
    {"connections", &Statistics::connections},
    {"subscriptions", &Statistics::subscriptions},
    {"accepted", &Statistics::accepted},
    {"refused", &Statistics::refused},
    {"ignored", &Statistics::ignored},
    {"dropped", &Statistics::dropped},
    {"requests", &Statistics::requests},
    {"refusals", &Statistics::refusals},
    {"changes", &Statistics::changes},
    {"events", &Statistics::events},
    {"lost", &Statistics::lost},
    {"syncs", &Statistics::syncs},
};

} // namespace varnel::daemon
