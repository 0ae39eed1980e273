// SPDX-License-Identifier: MIT
// What the packet parser asks of the ring beyond its public operations.
#pragma once

#include "transport/packet.h"

namespace varnel {

// Drops unread bytes until the ring starts with magic or holds fewer than `fewest` bytes (at least the magic's), in one
// search under the lock.
void circle_buf_resynchronise(circle_buf *ring, const PacketMagic &magic, int32_t fewest);

} // namespace varnel
