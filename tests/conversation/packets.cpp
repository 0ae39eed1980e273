// SPDX-License-Identifier: MIT
#include "conversation/packets.h"

#include "protocol/protocol.h"

#include <varnel/transport.h>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace conversation_tests {

namespace {

void append_word(Bytes &bytes, std::uint32_t word) {
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        bytes.push_back(static_cast<std::uint8_t>(word >> shift));
}

std::uint32_t word_at(const Bytes &bytes, std::size_t position) {
    std::uint32_t word = 0;
    for (std::size_t i = position; i < position + 4; ++i)
        word = word << 8 | bytes.at(i);
    return word;
}

} // namespace

Bytes header(const Header &fields) {
    Bytes bytes = {'V', 'A', 'R', 'N', 'E', 'L'};
    for (const std::uint32_t word : {fields.id, fields.count, fields.index, fields.length})
        append_word(bytes, word);
    return bytes;
}

std::uint32_t packet_count(const Bytes &message) {
    return static_cast<std::uint32_t>((message.size() + PACKET_PAYLOAD_MAX - 1) / PACKET_PAYLOAD_MAX);
}

Bytes packet(std::uint32_t id, const Bytes &message, std::uint32_t index) {
    const std::size_t start = (index - 1) * std::size_t{PACKET_PAYLOAD_MAX};
    const std::size_t size = std::min<std::size_t>(PACKET_PAYLOAD_MAX, message.size() - start);
    Bytes bytes = header({id, packet_count(message), index, static_cast<std::uint32_t>(size)});
    const auto from = message.begin() + static_cast<std::ptrdiff_t>(start);
    bytes.insert(bytes.end(), from, from + static_cast<std::ptrdiff_t>(size));
    return bytes;
}

Bytes packets(std::uint32_t id, const Bytes &message) {
    Bytes bytes;
    for (std::uint32_t i = 1; i <= packet_count(message); ++i)
        bytes = std::move(bytes) + packet(id, message, i);
    return bytes;
}

Bytes acknowledgement(std::uint32_t id, std::uint32_t index) {
    return header({id, 0, index, 0});
}

Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<Header> headers_of(const Bytes &bytes) {
    std::vector<Header> headers;
    for (std::size_t position = 0; position < bytes.size();) {
        if (!std::equal(&PACKET_MAGIC[0], &PACKET_MAGIC[PACKET_MAGIC_SIZE],
                        bytes.begin() + static_cast<long>(position)))
            throw std::runtime_error("no packet at byte " + std::to_string(position));
        headers.push_back({word_at(bytes, position + 6), word_at(bytes, position + 10), word_at(bytes, position + 14),
                           word_at(bytes, position + 18)});
        position += PACKET_HEADER_SIZE + headers.back().length;
    }
    return headers;
}

Message ok(std::uint32_t code) {
    Message message(code);
    message.add(std::uint32_t{0});
    return message;
}

Bytes answer(const std::string &text, std::uint32_t code) {
    return ok(code).add(text).encode();
}

Message event(std::uint64_t revision, const std::string &name, const std::string &value) {
    Message message(control_changed);
    message.add(revision).add(std::uint32_t{varnel::protocol::kEventHasValue}).add("user").add("lamps").add(name);
    message.add("").add(value);
    return message;
}

} // namespace conversation_tests
