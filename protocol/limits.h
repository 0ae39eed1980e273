// SPDX-License-Identifier: MIT
// What one client, and all of them together, may ask of the daemon: one table. docs/protocol.md says how each limit is
// answered; a test reaches each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>

namespace varnel::protocol {

// In the order of kLimits.
enum class Limit : std::uint8_t {
    clients,
    message_bytes,
    packets,
    unfinished,
    parameters,
    value_bytes,
    queue_bytes,
    queue_messages,
    events,
    event_bytes,
    subscriptions,
    locks,
    lock_wait,
    staged_bytes,
    kept_bytes,
    history_events,
    history_bytes,
    idle,
    stall,
    rate,
    count
};

struct LimitRow {
    const char *name; // in the configuration and on the command line
    const char *unit;
    std::uint32_t fallback; // when nothing is configured
    std::uint32_t least;
    std::uint32_t most;
    const char *reason;
};

constexpr std::uint32_t kMostParameters = 4096;     // XMESSAGE_MAX_PARAMS
constexpr std::uint32_t kLargestMessage = 16777216; // far below what the transport's 32-bit counters take

constexpr std::uint32_t kLargestValue = 65535; // a string's length has 16 bits on the wire

// Lists come in pages of about so many bytes; a single row may be larger.
constexpr std::uint32_t kPageBytes = 65536;

// What a row of a write counts towards staged_bytes beside its group, its name and the size of its value in a message.
constexpr std::uint32_t kStagedRowBytes = 80;

// A client that takes its answers must be able to get every page: the largest one holds a change with two values.
constexpr std::uint32_t kLeastQueueBytes = 2 * (kLargestValue + 1) + 2048;

constexpr LimitRow kLimits[] = {
    {"clients", "connections", 256, 1, 65536, "descriptors and rings are finite; UDP peers count, too"},
    {"message_bytes", "bytes", 262144, 1024, kLargestMessage, "a request is collected in memory before it is read"},
    {"packets", "packets", 300, 1, 65536, "a header can announce any number; slots are allocated for all of them"},
    {"unfinished", "messages", 4, 1, 256, "every unfinished message keeps its packets in memory"},
    {"parameters", "parameters", kMostParameters, 16, kMostParameters, "each becomes a record and a block"},
    {"value_bytes", "bytes", kLargestValue, 64, kLargestValue,
     "a string's length has 16 bits on the wire, its zero byte counted"},
    {"queue_bytes", "bytes", 1048576, kLeastQueueBytes, 268435456,
     "answers that a client does not take wait in memory"},
    {"queue_messages", "messages", 1024, 1, 65536, "the same, for small answers"},
    {"events", "events", 256, 1, 65536, "a slow subscriber must not make the daemon grow"},
    {"event_bytes", "bytes", 1048576, 1024, 268435456, "the same, for large values"},
    {"subscriptions", "keys", 64, 1, 4096, "every change is compared with all of them"},
    {"locks", "locks", 64, 1, 4096, "held and awaited; each is looked at when another is asked for"},
    {"lock_wait", "milliseconds", 600000, 1, 86400000, "a wait keeps a place in the queue"},
    {"staged_bytes", "bytes", 4194304, 1024, 268435456, "a large write is collected before any of it is done"},
    {"kept_bytes", "bytes", 33554432, 4194304, std::numeric_limits<std::uint32_t>::max(),
     "what one client may keep waiting, many clients together may not"},
    {"history_events", "events", 1024, 16, 65536, "what a client that reconnects can be told"},
    {"history_bytes", "bytes", 1048576, 262144, 268435456, "the same, for large values"},
    {"idle", "seconds", 3600, 1, 2592000, "a forgotten connection that subscribes to nothing and holds no lock"},
    {"stall", "seconds", 30, 1, 86400, "a message that stops half way, sent or received"},
    {"rate", "requests a second", 100000, 1, std::numeric_limits<std::int32_t>::max(), "one client that loops"},
};
static_assert(std::size(kLimits) == static_cast<std::size_t>(Limit::count));

} // namespace varnel::protocol
