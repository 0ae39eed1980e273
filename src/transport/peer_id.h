// SPDX-License-Identifier: MIT
// The 64-bit name of an IPv4 datagram peer: address << 16 plus the port.
#pragma once

#include <netinet/in.h>
#include <stdint.h>

namespace varnel {

// The port is added as a signed number, so a port of 32768 or more borrows one from the address: stored ids have it so.
inline int64_t peer_id_of(const sockaddr_in &address) {
    const int64_t host = ntohl(address.sin_addr.s_addr);
    return host * 65536 + static_cast<int16_t>(ntohs(address.sin_port));
}

// The inverse, except that the borrowed one is not given back: such a peer's address comes out one below the real one.
inline void store_peer_address(sockaddr_in &address, int64_t peer_id) {
    const auto bits = static_cast<uint64_t>(peer_id);
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(bits));
    address.sin_addr.s_addr = htonl(static_cast<uint32_t>(bits >> 16));
}

} // namespace varnel
