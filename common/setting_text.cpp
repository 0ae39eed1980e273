// SPDX-License-Identifier: MIT
#include "common/setting_text.h"

#include "common/number_text.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <string>

namespace varnel {

namespace {

constexpr std::uint64_t kMostMode = 0777;

std::optional<std::uint32_t> parse_address(std::string_view text) {
    in_addr address{};
    if (text.find('\0') != std::string_view::npos || inet_pton(AF_INET, std::string(text).c_str(), &address) != 1)
        return std::nullopt;
    return ntohl(address.s_addr);
}

} // namespace

std::optional<std::uint32_t> parse_count(std::string_view text, std::uint32_t least, std::uint32_t most) {
    const auto number = read_digits(text, 10);
    if (!number || *number < least || *number > most)
        return std::nullopt;
    return static_cast<std::uint32_t>(*number);
}

std::optional<std::uint32_t> parse_mode(std::string_view text) {
    const auto mode = read_digits(text, 8);
    if (!mode || *mode > kMostMode)
        return std::nullopt;
    return static_cast<std::uint32_t>(*mode);
}

std::optional<UdpAddress> parse_udp_address(std::string_view text) {
    const std::size_t colon = text.find(':');
    const bool port_only = colon == std::string_view::npos;
    const auto address =
        port_only ? std::optional<std::uint32_t>(INADDR_LOOPBACK) : parse_address(text.substr(0, colon));
    const auto port = parse_count(port_only ? text : text.substr(colon + 1), 1, INT16_MAX);
    if (!address || !port)
        return std::nullopt;
    return UdpAddress{*address, static_cast<std::uint16_t>(*port)};
}

} // namespace varnel
