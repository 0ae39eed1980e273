// SPDX-License-Identifier: MIT
// Packets as they travel (docs/formats.md), made without the library's transport.
#pragma once

#include "protocol/message.h"

namespace conversation_tests {

using varnel::protocol::Bytes;
using varnel::protocol::Message;

struct Header {
    std::uint32_t id, count, index, length;
};

Bytes header(const Header &fields);

// The packets of a message, back to back; one of them.
Bytes packets(std::uint32_t id, const Bytes &message);
Bytes packet(std::uint32_t id, const Bytes &message, std::uint32_t index);
std::uint32_t packet_count(const Bytes &message);

Bytes acknowledgement(std::uint32_t id, std::uint32_t index);

Bytes operator+(Bytes a, const Bytes &b);

// The headers of packets that stand back to back.
std::vector<Header> headers_of(const Bytes &bytes);

// An answer that begins with status ok.
Message ok(std::uint32_t code);

// The bytes of one with a text behind it.
Bytes answer(const std::string &text, std::uint32_t code = control_get);

// An event about a string that became "on".
Message event(std::uint64_t revision, const std::string &name, const std::string &value = "on");

} // namespace conversation_tests
