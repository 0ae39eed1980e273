// SPDX-License-Identifier: MIT
#include "protocol/endpoint.h"

#include <varnel/memory.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <sys/socket.h>
#include <utility>

namespace varnel::protocol {

namespace {

// The ring is brought to this size while it is empty, and never grows later: one that grows while it wraps yields wrong
// bytes. It holds several packets, so that one read serves a peer that sends requests without waiting.
constexpr std::int32_t kRingSize = 4 * PACKET_SIZE;

// A larger message's memory is given back once it has been delivered.
constexpr std::size_t kLargestKept = std::size_t{16} * PACKET_SIZE;

std::uint32_t load_word(const std::uint8_t *bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

void store_word(std::uint8_t *bytes, std::uint32_t word) {
    for (int i = 3; i >= 0; --i, word >>= 8)
        bytes[i] = static_cast<std::uint8_t>(word);
}

PacketHeader header_of(const std::uint8_t *packet) {
    return {load_word(packet + 6), load_word(packet + 10), load_word(packet + 14), load_word(packet + 18)};
}

// What is wrong with a packet, whatever has arrived before; nothing when it may be right.
std::optional<std::string> fault_of(const PacketHeader &header, const EndpointBounds &bounds) {
    if (header.acknowledges())
        return std::nullopt;
    if (header.length == 0 || header.length > PACKET_PAYLOAD_MAX)
        return "a packet of " + std::to_string(header.length) + " bytes";
    if (header.index == 0 || header.index > header.count)
        return "packet " + std::to_string(header.index) + " of " + std::to_string(header.count);
    const auto least_bytes = std::uint64_t{header.count - 1} * PACKET_PAYLOAD_MAX + 1;
    if (header.count > bounds.packets || (header.count > 1 && least_bytes > bounds.message_bytes))
        return "a message of " + std::to_string(header.count) + " packets, which is over the limit";
    return std::nullopt;
}

void bring_to_size(circle_buf *ring) {
    const std::array<std::uint8_t, kRingSize> zeros{};
    circle_buf_put(ring, zeros.data(), kRingSize);
    circle_buf_clear(ring);
}

} // namespace

std::optional<PacketHeader> Endpoint::header_of_datagram(std::span<const std::uint8_t> datagram,
                                                         const EndpointBounds &bounds) {
    const std::uint8_t *const packet = datagram.data();
    if (datagram.size() < PACKET_HEADER_SIZE || std::memcmp(packet, PACKET_MAGIC, PACKET_MAGIC_SIZE) != 0)
        return std::nullopt;
    const PacketHeader header = header_of(packet);
    const bool is_whole = datagram.size() - PACKET_HEADER_SIZE >= header.length;
    return is_whole && !fault_of(header, bounds) ? std::optional(header) : std::nullopt;
}

Endpoint::Endpoint(client *record, const EndpointBounds &bounds, EndpointOwner &owner)
    : record_(record), bounds_(bounds), owner_(owner) {
    if (record_ == nullptr)
        throw std::bad_alloc();
    bring_to_size(record_->recv_buf);
}

std::size_t Endpoint::space() const {
    return static_cast<std::size_t>(kRingSize - waiting());
}

void Endpoint::put(const std::uint8_t *data, std::size_t size) {
    if (size > space())
        throw std::length_error("more bytes than the ring has room for");
    circle_buf_put(record_->recv_buf, data, static_cast<std::int32_t>(size));
}

bool Endpoint::peek(Header &header) const {
    std::uint8_t bytes[PACKET_HEADER_SIZE];
    const std::int32_t there = circle_buf_get_peek(record_->recv_buf, bytes, sizeof bytes);
    const auto magic = static_cast<std::size_t>(there < PACKET_MAGIC_SIZE ? there : PACKET_MAGIC_SIZE);
    if (std::memcmp(bytes, PACKET_MAGIC, magic) != 0)
        throw Malformed("bytes that make no packet");
    if (there < PACKET_HEADER_SIZE)
        return false;
    header = header_of(bytes);
    return true;
}

void Endpoint::check(const Header &header) const {
    if (const std::optional<std::string> fault = fault_of(header, bounds_))
        throw Malformed(*fault);
    const msginfo *const message = arriving(header);
    if (message != nullptr && msginfo_packet_count(message) != header.count)
        throw Malformed("packet " + std::to_string(header.index) + " of " + std::to_string(header.count) +
                        " in a message of " + std::to_string(msginfo_packet_count(message)));
    if (header.count > 1 && message == nullptr && receiving() >= bounds_.unfinished)
        throw Malformed("more unfinished messages than the limit of " + std::to_string(bounds_.unfinished));
}

// The message of several packets that the packet belongs to, if an earlier one of it has arrived.
const msginfo *Endpoint::arriving(const Header &header) const {
    return header.count > 1 ? static_cast<const msginfo *>(hashmap_get(record_->recv_map, &header.id)) : nullptr;
}

// Drops a packet that has arrived before. The library would count its bytes again, and make a block of as many in the
// end.
bool Endpoint::drop_repeated(const Header &header) {
    const msginfo *const message = arriving(header);
    if (message == nullptr || message->flags[header.index - 1] == 0)
        return false;
    std::array<std::uint8_t, PACKET_SIZE> packet{};
    circle_buf_get(record_->recv_buf, packet.data(), static_cast<std::int32_t>(PACKET_HEADER_SIZE + header.length));
    return true;
}

void Endpoint::drop_delivered(std::uint32_t id) {
    void *key = nullptr;
    msginfo_free(static_cast<msginfo *>(hashmap_remove2(record_->recv_map, &id, &key)));
    _xfree(key);
}

void Endpoint::parse(const Header &header) {
    std::uint32_t id = 0;
    std::uint8_t *data = nullptr;
    const std::int32_t before = waiting();
    const std::int32_t length = parse_circle_data(record_.get(), &id, &data);
    const Block<std::uint8_t> owner(data);
    const std::int32_t consumed = before - circle_buf_data_len(record_->recv_buf);
    if (length < 0 || consumed <= 0)
        throw Malformed("a packet that cannot be handled");
    if (length == 0)
        return;
    if (header.count > 1)
        drop_delivered(id);
    deliver(id, data, static_cast<std::size_t>(length));
}

void Endpoint::deliver(std::uint32_t id, const std::uint8_t *data, std::size_t size) {
    message_.reserve(size + 2); // the reader's spare bytes, without a second copy
    message_.assign(data, data + size);
    owner_.deliver(id, message_);
    if (message_.capacity() > kLargestKept)
        message_ = Bytes();
}

std::size_t Endpoint::take(const std::uint8_t *data, std::size_t size) {
    std::size_t taken = 0;
    while (waiting() == 0 && size - taken >= PACKET_HEADER_SIZE) {
        const std::uint8_t *const packet = data + taken;
        const Header header = header_of(packet);
        if (header.count != 1 || std::memcmp(packet, PACKET_MAGIC, PACKET_MAGIC_SIZE) != 0)
            break;
        check(header);
        if (size - taken < PACKET_HEADER_SIZE + header.length)
            break;
        taken += PACKET_HEADER_SIZE + header.length;
        deliver(header.id, packet + PACKET_HEADER_SIZE, header.length);
    }
    return taken;
}

bool Endpoint::proceed() {
    Header header{};
    while (waiting() > 0 && peek(header)) {
        check(header);
        if (waiting() < static_cast<std::int32_t>(PACKET_HEADER_SIZE + header.length))
            break;
        if (drop_repeated(header))
            continue;
        const bool may_write = header.count != 1;
        if (may_write && !owner_.has_room())
            return false;
        parse(header);
    }
    return true;
}

void Endpoint::forget_rest() {
    circle_buf_clear(record_->recv_buf);
}

// To a stream with send, which costs less than the library's write and tells what does not fit. The library takes what
// is no socket.
bool Endpoint::send_bytes(const std::uint8_t *bytes, std::size_t size) {
    const bool is_stream = record_->type == CLIENT_STREAM;
    while (is_stream && size != 0) {
        const ssize_t sent = ::send(static_cast<int>(record_->peer), bytes, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == ENOTSOCK)
            break;
        if (sent < 0 && errno != EINTR)
            return false;
        bytes += std::max<ssize_t>(sent, 0);
        size -= static_cast<std::size_t>(std::max<ssize_t>(sent, 0));
    }
    return size == 0 || client_send(record_.get(), bytes, static_cast<std::uint32_t>(size)) == 1;
}

// A message of one packet is acknowledged by nobody, so that it needs no place among those being sent, nor a copy
// there.
bool Endpoint::send_packet(std::uint32_t id, std::span<const std::uint8_t> message) {
    std::uint8_t packet[PACKET_SIZE];
    std::memcpy(packet, PACKET_MAGIC, PACKET_MAGIC_SIZE);
    store_word(packet + 6, id);
    store_word(packet + 10, 1);
    store_word(packet + 14, 1);
    store_word(packet + 18, static_cast<std::uint32_t>(message.size()));
    std::memcpy(packet + PACKET_HEADER_SIZE, message.data(), message.size());
    return send_bytes(packet, PACKET_HEADER_SIZE + message.size());
}

bool Endpoint::send(std::uint32_t id, std::span<const std::uint8_t> message) {
    if (is_sending(id))
        return false;
    if (!message.empty() && message.size() <= PACKET_PAYLOAD_MAX)
        return send_packet(id, message);
    return client_send_data(record_.get(), id, message.data(), static_cast<std::uint32_t>(message.size())) == 1;
}

bool Endpoint::is_sending(std::uint32_t id) const {
    return sending() != 0 && hashmap_contains(record_->send_map, &id) != 0;
}

std::uint32_t Endpoint::sending() const {
    return hashmap_size(record_->send_map);
}

std::uint32_t Endpoint::receiving() const {
    return hashmap_size(record_->recv_map);
}

namespace {

std::size_t bytes_of(hashmap *messages) {
    std::size_t bytes = 0;
    std::uintptr_t token = HASHMAP_ITERATE_START;
    while (const void *const message = hashmap_iterate(messages, &token, nullptr))
        bytes += std::size_t{msginfo_packet_count(static_cast<const msginfo *>(message))} * sizeof(msginfo_packet);
    return bytes;
}

} // namespace

std::size_t Endpoint::kept_bytes() const {
    return (sending() != 0 ? bytes_of(record_->send_map) : 0) + (receiving() != 0 ? bytes_of(record_->recv_map) : 0);
}

bool Endpoint::holds_bytes() const {
    return waiting() > 0;
}

} // namespace varnel::protocol
