// SPDX-License-Identifier: MIT
// Sockets that lead to the daemon, and waiting for them.
#pragma once

#include "common/fd.h"
#include "conversation/deadline.h"

#include <cstdint>
#include <netinet/in.h>
#include <string>

namespace varnel::conversation {

// A blocking stream socket connected to that path, close-on-exec. Otherwise Error: cannot_connect, or timed_out when
// the daemon's queue of connections stays full.
Fd connect_unix(const std::string &path, const Deadline &deadline);

// The IPv4 address of a host's name and a port from 1 to 32767: peers with a higher one are answered at the wrong
// address (varnel/transport.h). Error cannot_connect when there is none.
sockaddr_in datagram_address(const std::string &host, std::uint16_t port);

// A datagram socket at a random free port from 1024 to 32767, that hears and reaches this peer only.
Fd connect_udp(const sockaddr_in &peer);

enum class Wake : std::uint8_t { ready, timed_out, interrupted };

// Waits until fd is ready for events (poll(2)), or broken, or interrupt is readable (-1: nothing interrupts).
Wake wait_for(int fd, short events, int interrupt, const Deadline &deadline);

} // namespace varnel::conversation
