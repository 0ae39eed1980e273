// SPDX-License-Identifier: MIT
#pragma once

#include "common/message.h"

namespace demo {

// Prints the bytes of a one-packet message, field by field: the packet's header, the message's header, the parameters.
void print_packet(const Bytes &packet);

} // namespace demo
