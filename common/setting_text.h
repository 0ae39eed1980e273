// SPDX-License-Identifier: MIT
// Settings of the daemon as they are written in its configuration file and on its command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace varnel {

// A decimal number within bounds, digits only.
std::optional<std::uint32_t> parse_count(std::string_view text, std::uint32_t least, std::uint32_t most);

// Permissions of a file: octal digits, at most 0777.
std::optional<std::uint32_t> parse_mode(std::string_view text);

// Where a datagram socket is bound, in the byte order of the host.
struct UdpAddress {
    std::uint32_t address;
    std::uint16_t port;
};

// ADDRESS:PORT, the address IPv4 in dotted decimal, or PORT alone, on loopback; the port from 1 to 32767: the transport
// counts ports as signed numbers, so that nobody could answer a higher one.
std::optional<UdpAddress> parse_udp_address(std::string_view text);

} // namespace varnel
