// SPDX-License-Identifier: MIT
// A second, plain receiver of packets, which the library's is compared with.
#pragma once

#include "wire.h"

#include <map>

// For the time of a test the library's zeroed-array function refuses more than this, so that what happens to a packet
// that announces a large message does not depend on the machine.
class BoundedMemory {
public:
    static constexpr uint64_t kLargest = 1 << 20;

    BoundedMemory() { EXPECT_EQ(x_replace_allocator(malloc, realloc, allocate_zeroed, free), 0); }
    ~BoundedMemory() { EXPECT_EQ(x_replace_allocator(malloc, realloc, calloc, free), 0); }
    BoundedMemory(const BoundedMemory &) = delete;
    BoundedMemory &operator=(const BoundedMemory &) = delete;

private:
    static void *allocate_zeroed(size_t count, size_t size) {
        return uint64_t{count} * size <= kLargest ? calloc(count, size) : nullptr;
    }
};

class ParserModel {
public:
    // As the client's own client_send_data.
    void start_sending(uint32_t id, const Bytes &message) {
        sending_[id].packets = packets_of(id, message);
        sending_[id].sent.resize(sending_[id].packets.size());
        send(id, 1);
    }

    void feed(const Bytes &bytes) { ring_.insert(ring_.end(), bytes.begin(), bytes.end()); }

    Parsed parse() {
        while (ring_.size() >= 23 && !starts_with_magic())
            take(1);
        if (ring_.size() < 22)
            return kNothing;
        const uint32_t id = word(6);
        const uint32_t count = word(10);
        const uint32_t index = word(14);
        const uint32_t length = word(18);
        if (length > 1024) {
            take(1);
            return {-1, std::nullopt, std::nullopt};
        }
        if (ring_.size() < 22 + length)
            return kNothing;
        take(22);
        const Bytes data = take(length);
        if (count == 0 && length == 0) {
            send(id, index + 1);
            return kNothing;
        }
        if (count == 1)
            return message_parsed(id, data);
        return receive(id, count, index, data);
    }

    [[nodiscard]] size_t unread() const { return ring_.size(); }
    [[nodiscard]] size_t messages_received() const { return receiving_.size(); }
    [[nodiscard]] size_t messages_sending() const { return sending_.size(); }
    // What was sent since the last call.
    Bytes sent() { return std::exchange(wire_, {}); }

private:
    struct Sending {
        std::vector<Bytes> packets;
        std::vector<bool> sent;
    };
    using Receiving = std::vector<Bytes>; // an empty one has not arrived

    [[nodiscard]] bool starts_with_magic() const {
        return Bytes(ring_.begin(), ring_.begin() + 6) == bytes_of("VARNEL");
    }
    [[nodiscard]] uint32_t word(size_t at) const {
        return uint32_t{ring_[at]} << 24 | uint32_t{ring_[at + 1]} << 16 | uint32_t{ring_[at + 2]} << 8 | ring_[at + 3];
    }
    Bytes take(size_t count) {
        const auto end = ring_.begin() + static_cast<ptrdiff_t>(count);
        Bytes taken(ring_.begin(), end);
        ring_.erase(ring_.begin(), end);
        return taken;
    }
    void write(const Bytes &bytes) { wire_.insert(wire_.end(), bytes.begin(), bytes.end()); }

    void send(uint32_t id, uint32_t index) {
        const auto found = sending_.find(id);
        if (index < 1 || found == sending_.end() || index > found->second.packets.size())
            return;
        Sending &message = found->second;
        write(message.packets[index - 1]);
        message.sent[index - 1] = true;
        if (std::find(message.sent.begin(), message.sent.end(), false) == message.sent.end())
            sending_.erase(found);
    }

    Parsed receive(uint32_t id, uint32_t count, uint32_t index, const Bytes &data) {
        if (!receiving_.contains(id)) {
            if (count == 0 || count > INT32_MAX || uint64_t{count} * sizeof(msginfo_packet) > BoundedMemory::kLargest)
                return kNothing;
            receiving_[id].resize(count);
        }
        Receiving &message = receiving_[id];
        if (index >= 1 && index <= message.size() && !data.empty() && data.size() <= 1002)
            message[index - 1] = data;
        Bytes joined;
        bool complete = true;
        for (const Bytes &part : message) {
            complete = complete && !part.empty();
            joined.insert(joined.end(), part.begin(), part.end());
        }
        if (complete)
            return message_parsed(id, joined);
        if (index != 0)
            write(ack(id, index));
        return kNothing;
    }

    Bytes ring_;
    Bytes wire_;
    std::map<uint32_t, Receiving> receiving_;
    std::map<uint32_t, Sending> sending_;
};
