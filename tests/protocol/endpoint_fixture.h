// SPDX-License-Identifier: MIT
// An endpoint over one end of a connection; the test holds the other.
#pragma once

#include "protocol/endpoint.h"
#include "transport/wire.h"

#include <algorithm>
#include <string>
#include <utility>

using varnel::protocol::EndpointBounds;
using varnel::protocol::Malformed;

// Keeps what is delivered, and has as much room as the test says.
struct RecordingOwner final : varnel::protocol::EndpointOwner {
    bool has_room() override {
        ++asked;
        if (room == 0)
            return false;
        --room;
        return true;
    }
    void deliver(std::uint32_t id, Bytes &bytes) override { delivered.emplace_back(id, bytes); }

    std::size_t room = SIZE_MAX;
    std::size_t asked = 0;
    std::vector<std::pair<std::uint32_t, Bytes>> delivered;
};

using Delivered = std::vector<std::pair<std::uint32_t, Bytes>>;

constexpr EndpointBounds kBounds = {100 * PACKET_PAYLOAD_MAX, 100, 4};

struct Side {
    explicit Side(const EndpointBounds &bounds = kBounds)
        : ends(Ends::stream()), endpoint(stream_client(ends.writer.get()).release(), bounds, owner) {}

    void put(const Bytes &bytes) { endpoint.put(bytes.data(), bytes.size()); }

    // As a program does: as many bytes as there is room for, then what they make.
    void feed(const Bytes &bytes) {
        for (std::size_t at = endpoint.take(bytes.data(), bytes.size()); at < bytes.size();) {
            const std::size_t some = std::min(bytes.size() - at, endpoint.space());
            endpoint.put(bytes.data() + at, some);
            at += some;
            if (!endpoint.proceed())
                return;
        }
    }

    // What the endpoint has written.
    [[nodiscard]] Bytes sent() const { return drain(ends.reader.get()); }

    [[nodiscard]] std::string refusal_of(const Bytes &bytes) {
        try {
            feed(bytes);
        } catch (const Malformed &malformed) {
            return malformed.what();
        }
        return "";
    }

    Ends ends;
    RecordingOwner owner;
    varnel::protocol::Endpoint endpoint;
};
