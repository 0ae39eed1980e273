// SPDX-License-Identifier: MIT
// The packet (integers big-endian):
//
//   offset  size  field
//        0     6  magic         "VARNEL"
//        6     4  message id
//       10     4  packet count  0 in an acknowledgement
//       14     4  packet index  from 1
//       18     4  data length   bytes that follow; 0 in an acknowledgement
//
// Never change a value: both ends of every conversation know them.
#pragma once

#include <varnel/transport.h>

#include "base/bytes.h"

#include <string.h>

namespace varnel {

using PacketMagic = uint8_t[PACKET_MAGIC_SIZE];
inline constexpr PacketMagic kPacketMagic = {'V', 'A', 'R', 'N', 'E', 'L'};
static_assert(sizeof PACKET_MAGIC - 1 == PACKET_MAGIC_SIZE);
static_assert(PACKET_HEADER_SIZE == PACKET_MAGIC_SIZE + 4 * sizeof(uint32_t));
static_assert(PACKET_PAYLOAD_MAX == PACKET_SIZE - PACKET_HEADER_SIZE);

struct PacketHeader {
    uint32_t id;
    uint32_t count;
    uint32_t index;
    uint32_t length;
};

inline void store_header(uint8_t *packet, const PacketHeader &header) {
    memcpy(packet, kPacketMagic, sizeof kPacketMagic);
    store_be(packet + 6, header.id);
    store_be(packet + 10, header.count);
    store_be(packet + 14, header.index);
    store_be(packet + 18, header.length);
}

// Does not look at the magic.
inline PacketHeader load_header(const uint8_t *packet) {
    return {load_be<uint32_t>(packet + 6), load_be<uint32_t>(packet + 10), load_be<uint32_t>(packet + 14),
            load_be<uint32_t>(packet + 18)};
}

} // namespace varnel
