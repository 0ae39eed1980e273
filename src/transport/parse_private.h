// SPDX-License-Identifier: MIT
// The parser's handling of one data packet, apart from the question whether its message is new.
#pragma once

#include "transport/packet.h"

namespace varnel {

// Handles the complete packet at the front of the client's ring, whose header this is. known says that the tracker has
// seen the message's id before. Results as parse_circle_data.
int32_t parse_data_packet(client *c, const PacketHeader &header, bool known, uint32_t *msgid_out, uint8_t **data_out);

} // namespace varnel
