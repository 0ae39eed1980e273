// SPDX-License-Identifier: MIT
#include "ctl/session.h"

#include "ctl/failure.h"

#include <charconv>
#include <cmath>

namespace varnel::ctl {

using conversation::Conversation;
using conversation::Milliseconds;

namespace {

constexpr const char *kLoopback = "127.0.0.1";

std::uint16_t parse_port(const std::string &text) {
    unsigned port = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || stop != end || port < 1 || port > 32767)
        throw usage_failure("--udp takes HOST:PORT with a port from 1 to 32767, not '" + text + "'");
    return static_cast<std::uint16_t>(port);
}

std::unique_ptr<Conversation> connect_to(const std::string &udp, Milliseconds time) {
    const std::size_t colon = udp.rfind(':');
    if (colon == std::string::npos)
        return Conversation::over_udp(kLoopback, parse_port(udp), time);
    return Conversation::over_udp(udp.substr(0, colon), parse_port(udp.substr(colon + 1)), time);
}

} // namespace

Milliseconds milliseconds(double seconds) {
    return Milliseconds(static_cast<Milliseconds::rep>(std::ceil(seconds * 1000)));
}

std::unique_ptr<Conversation> Session::connect() const {
    const Milliseconds time = milliseconds(timeout);
    return udp.empty() ? Conversation::over_unix(socket, time) : connect_to(udp, time);
}

std::uint32_t Session::durability_class() const {
    for (std::uint32_t i = 0; i < 3; ++i) {
        if (durability == protocol::durability_name(i))
            return i;
    }
    throw usage_failure("--durability takes memory, file or folder, not '" + durability + "'");
}

} // namespace varnel::ctl
