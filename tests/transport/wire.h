// SPDX-License-Identifier: MIT
// Packets, descriptors and clients for the transport's tests.
#pragma once

#include "serialize/byte_strings.h"

#include <varnel/memory.h>
#include <varnel/transport.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <optional>
#include <unistd.h>

// A packet, spelled out.
inline Bytes header(uint32_t id, uint32_t count, uint32_t index, uint32_t length) {
    return join(
        {{'V', 'A', 'R', 'N', 'E', 'L'}, big_endian(id), big_endian(count), big_endian(index), big_endian(length)});
}
inline Bytes packet(uint32_t id, uint32_t count, uint32_t index, const Bytes &payload) {
    return join({header(id, count, index, static_cast<uint32_t>(payload.size())), payload});
}
inline Bytes ack(uint32_t id, uint32_t index) {
    return header(id, 0, index, 0);
}

// Bytes that differ from packet to packet and never look like a packet's start.
inline Bytes pattern(size_t size, uint32_t seed = 1) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8_t>(0x80 | ((i * 31 + i / 1002 * 7 + size_t{seed} * 13) & 0x7F));
    return bytes;
}

// The packets that a message travels in.
inline std::vector<Bytes> packets_of(uint32_t id, const Bytes &message) {
    std::vector<Bytes> packets;
    const auto count = static_cast<uint32_t>((message.size() + 1001) / 1002);
    for (uint32_t i = 0; i < count; ++i) {
        const size_t begin = size_t{i} * 1002;
        const size_t end = std::min(message.size(), begin + 1002);
        packets.push_back(packet(
            id, count, i + 1,
            Bytes(message.begin() + static_cast<ptrdiff_t>(begin), message.begin() + static_cast<ptrdiff_t>(end))));
    }
    return packets;
}

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    Descriptor &operator=(Descriptor &&) = delete;
    ~Descriptor() { close(); }
    void close() {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }
    [[nodiscard]] int get() const { return fd_; }

private:
    int fd_;
};

// The number of a descriptor that is not open.
inline int closed_descriptor() {
    const int fd = dup(STDERR_FILENO);
    close(fd);
    return fd;
}

// Two connected non-blocking ends with room for the small conversations of the tests.
struct Ends {
    static Ends make(int type) {
        int fds[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, type | SOCK_NONBLOCK, 0, fds), 0);
        return {Descriptor(fds[0]), Descriptor(fds[1])};
    }
    static Ends stream() { return make(SOCK_STREAM); }
    static Ends pipe() {
        int fds[2] = {-1, -1};
        EXPECT_EQ(pipe2(fds, O_NONBLOCK), 0);
        return {Descriptor(fds[0]), Descriptor(fds[1])};
    }
    Descriptor reader;
    Descriptor writer;
};

// All that can be read now.
inline Bytes drain(int fd) {
    Bytes all;
    uint8_t some[4096];
    ssize_t got;
    while ((got = read(fd, some, sizeof some)) > 0)
        all.insert(all.end(), some, some + got);
    return all;
}

inline void write_all(int fd, const Bytes &bytes) {
    ASSERT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

struct ByteBlockDeleter {
    void operator()(uint8_t *block) const { _xfree(block); }
};
using BlockPtr = std::unique_ptr<uint8_t, ByteBlockDeleter>;

struct ClientDeleter {
    void operator()(client *c) const { client_free(c); }
};
using Client = std::unique_ptr<client, ClientDeleter>;

inline Client stream_client(int fd) {
    Client c(client_new(CLIENT_STREAM, fd, nullptr));
    EXPECT_NE(c, nullptr);
    return c;
}

inline msginfo *find_message(hashmap *messages, uint32_t id) {
    return static_cast<msginfo *>(hashmap_get(messages, &id));
}

inline void feed(const Client &c, const Bytes &bytes) {
    const auto size = static_cast<int32_t>(bytes.size());
    ASSERT_EQ(circle_buf_put(c->recv_buf, bytes.data(), size), size);
}

// One call of the parser.
struct Parsed {
    int32_t result;
    std::optional<uint32_t> id; // if stored
    std::optional<Bytes> data;  // if stored
    bool operator==(const Parsed &) const = default;
};
inline const Parsed kNothing = {0, std::nullopt, std::nullopt};
inline Parsed message_parsed(uint32_t id, const Bytes &data) {
    return {static_cast<int32_t>(data.size()), id, data};
}

inline Parsed parse(const Client &c) {
    constexpr uint32_t kUntouched = 0xFEEDBEEF;
    uint32_t id = kUntouched;
    uint8_t *data = nullptr;
    Parsed parsed{parse_circle_data(c.get(), &id, &data), std::nullopt, std::nullopt};
    if (id != kUntouched)
        parsed.id = id;
    if (data != nullptr)
        parsed.data = Bytes(data, data + parsed.result);
    _xfree(data);
    return parsed;
}

inline int32_t unread(const Client &c) {
    return circle_buf_data_len(c->recv_buf);
}

// Calls the parser until it neither consumes nor yields; the messages that it yielded.
inline std::vector<Parsed> parse_all(const Client &c) {
    std::vector<Parsed> messages;
    for (;;) {
        const int32_t before = unread(c);
        Parsed parsed = parse(c);
        if (parsed.result > 0)
            messages.push_back(std::move(parsed));
        else if (unread(c) == before)
            return messages;
    }
}
