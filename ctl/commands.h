// SPDX-License-Identifier: MIT
// The table of commands. Each has a function that adds its arguments and options to a parser, and a callback to it,
// which does the work: it prints, sets the session's result where that is not 0, and throws Failure or
// conversation::Error.
#pragma once

#include "ctl/session.h"

#include <CLI/CLI.hpp>

namespace varnel::ctl {

struct Command {
    const char *name;
    const char *summary;
    void (*add)(CLI::App &command, Session &session);
    const char *examples; // behind the help
};

inline constexpr std::size_t kCommandCount = 15;
extern const Command kCommands[kCommandCount];

void add_get(CLI::App &command, Session &session);
void add_set(CLI::App &command, Session &session);
void add_unset(CLI::App &command, Session &session);
void add_list(CLI::App &command, Session &session);
void add_keys(CLI::App &command, Session &session);
void add_watch(CLI::App &command, Session &session);
void add_lock(CLI::App &command, Session &session);
void add_explain(CLI::App &command, Session &session);
void add_dump(CLI::App &command, Session &session);
void add_load(CLI::App &command, Session &session);
void add_status(CLI::App &command, Session &session);
void add_sync(CLI::App &command, Session &session);
void add_mkgroup(CLI::App &command, Session &session);
void add_rmgroup(CLI::App &command, Session &session);
void add_check(CLI::App &command, Session &session);

} // namespace varnel::ctl
