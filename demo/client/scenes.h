// SPDX-License-Identifier: MIT
// What the client does, in scenes. Each checks all that comes back: anything unexpected is a Failure.
#pragma once

#include "client/session.h"

namespace demo {

void show_layers(Session &session);      // status of both layers
void all_types(Session &session);        // set, get, list and unset values of all eight types; one packet's bytes
void layers_of_values(Session &session); // defaults shine through, are covered, refuse changes
void long_message(Session &session);     // more than 100 packets, there and back
void over_datagrams(Session &session);   // short and long messages over UDP
void stop_server(Session &session);

} // namespace demo
