// SPDX-License-Identifier: MIT
// Numbers that the daemon and its clients agree on. docs/protocol.md has the parameters of every request and answer.
// All of these travel on the wire: never change or reuse one.
#pragma once

#include <cstddef>
#include <cstdint>

namespace varnel::protocol {

// Grows when a client must know; "other version" tells it.
constexpr std::uint32_t kVersion = 1;

// First parameter of every answer.
enum class Status : std::uint32_t {
    ok = 0,
    not_found = 1,     // no such value or group
    exists = 2,        // the group is there already
    read_only = 3,     // the layer, or every backend of it, takes no changes
    invalid = 4,       // parameters that the code does not have, or key parts that are none
    unknown_layer = 5, // no such layer
    busy = 6,          // another connection holds the lock, or one that includes it
    timed_out = 7,     // the lock was not to be had in time
    not_held = 8,      // no such lock or subscription of this connection
    no_space = 9,      // the storage is full, or holds as much as its settings allow
    io_error = 10,     // the storage failed
    unavailable = 11,  // a backend could not be opened
    too_large = 12,    // a value, a request or an answer is over a limit
    too_many = 13,     // a limit on counts: subscriptions, locks
    too_fast = 14,     // more requests a second than allowed
    unsupported = 15,  // a code or a subject that this daemon does not know
    no_memory = 16,
    count
};

// "ok", "not_found", ...; "unknown" for numbers that are no status.
const char *status_name(std::uint32_t status);

// Third parameter of set and unset, bit by bit.
constexpr std::uint32_t kWriteMore =
    1; // keep these for the request that comes without this flag; nothing is changed yet
constexpr std::uint32_t kWriteReplace = 2; // set only: afterwards the writable backend of the layer holds nothing else
constexpr std::uint32_t kWriteRespectLocks = 4; // refuse when another connection holds a lock on one of the keys
constexpr std::uint32_t kWriteFlags = 7;

// Second parameter of an event, bit by bit.
constexpr std::uint32_t kEventHadValue = 1;     // "old value" is one
constexpr std::uint32_t kEventHasValue = 2;     // "new value" is one
constexpr std::uint32_t kEventGroupCreated = 4; // about a group: no values
constexpr std::uint32_t kEventGroupRemoved = 8;
constexpr std::uint32_t kEventLost = 16; // events before this one were lost: read again what matters

// A row of the answer to status, for a backend.
constexpr std::uint32_t kBackendReadOnly = 1;
constexpr std::uint32_t kBackendLayerReadOnly = 2;
constexpr std::uint32_t kBackendWritesGoHere = 4;
constexpr std::uint32_t kBackendFailing = 8;
constexpr std::uint32_t kBackendDefaultLayer = 16;

// A row of the answer to status with a key.
constexpr std::uint32_t kKeyHasValue = 1;
constexpr std::uint32_t kKeyWins = 2;
constexpr std::uint32_t kKeyHidden = 4;
constexpr std::uint32_t kKeyWritesGoHere = 8;
constexpr std::uint32_t kKeyReadOnly = 16;
constexpr std::uint32_t kKeyFailing = 32;

// "memory", "file", "folder"; "unknown" for other numbers. The numbers are those of modules/module.h.
const char *durability_name(std::uint32_t durability);

// Message ids: an answer has its request's; events have ids from here on, which requests must not use.
constexpr std::uint32_t kFirstEventId = 0x80000000;

// notify: only events from now on.
constexpr std::uint64_t kFromNow = UINT64_MAX;

} // namespace varnel::protocol
