// SPDX-License-Identifier: MIT
// Options that several commands have.
#pragma once

#include "ctl/session.h"

#include <CLI/CLI.hpp>

namespace varnel::ctl {

// Before or behind the command: --socket, --udp, --timeout.
void add_connection_options(CLI::App &app, Session &session);

void add_json(CLI::App &command, Session &session);
void add_verbose(CLI::App &command, Session &session);
void add_durability(CLI::App &command, Session &session);

} // namespace varnel::ctl
