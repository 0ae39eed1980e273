// SPDX-License-Identifier: MIT
// What the daemon answers, as records. docs/protocol.md explains every field.
#pragma once

#include "common/records.h"
#include "protocol/message.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace varnel::conversation {

struct Found {
    Value value;
    std::string layer;
    std::string backend;
};

struct Written {
    std::string layer;
    std::string backend;
    std::uint32_t durability = 0;
    std::uint64_t revision = 0;
    std::optional<std::uint32_t> changed; // values; not in answers about groups
};

// A value, or the group itself when name is empty.
struct Row {
    std::string group;
    std::string name;
    Value value;         // nullptr in a list of keys
    std::string backend; // empty in a list of keys
};

struct Page {
    std::string layer;
    bool more = false;
    std::vector<Row> rows;
};

struct BackendStatus {
    std::string layer;
    std::string backend;
    std::string library;
    std::int32_t priority = 0;
    std::uint32_t flags = 0; // protocol::BackendFlag
    std::uint32_t durability = 0;
    std::string message;
};

struct StoreStatus {
    std::uint64_t revision = 0;
    std::string default_layer;
    std::vector<BackendStatus> backends;
};

struct KeyBackend {
    std::string layer;
    std::string backend;
    std::uint32_t flags = 0; // protocol::KeyFlag
    Value value;
};

struct KeyStatus {
    std::string layer;
    std::string holder;
    std::vector<KeyBackend> backends;
};

struct Change {
    std::uint64_t revision = 0;
    std::uint32_t flags = 0; // protocol::EventFlag
    std::string layer;
    std::string group;
    std::string name;
    Value before;
    Value after;
};

struct Subscription {
    std::string layer;
    std::uint64_t revision = 0;
    bool lost = false;
};

struct Changes {
    std::string layer;
    std::uint64_t revision = 0;
    bool lost = false;
    bool more = false;
    std::vector<Change> rows;
};

struct Version {
    std::string text;
    std::uint32_t protocol = 0;
};

using Numbers = std::vector<std::pair<std::string, std::uint64_t>>;

// Each reads an answer whose status is ok, or (read_event) an event. Parameters that are missing, too many or of
// another type are Error of kind malformed.
Found read_found(const protocol::Received &answer);
Written read_written(const protocol::Received &answer);
Written read_group_written(const protocol::Received &answer);
Page read_list(const protocol::Received &answer);
Page read_keys(const protocol::Received &answer);
StoreStatus read_store_status(const protocol::Received &answer);
KeyStatus read_key_status(const protocol::Received &answer);
Subscription read_subscription(const protocol::Received &answer);
Changes read_changes(const protocol::Received &answer);
Change read_event(const protocol::Received &event);
std::string read_layer(const protocol::Received &answer);
std::uint32_t read_durability(const protocol::Received &answer);
Version read_version(const protocol::Received &answer);
Numbers read_numbers(const protocol::Received &answer);

} // namespace varnel::conversation
