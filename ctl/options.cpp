// SPDX-License-Identifier: MIT
#include "ctl/options.h"

namespace varnel::ctl {

namespace {

constexpr double kLeastTimeout = 0.001;
constexpr double kMostTimeout = 1e6;

} // namespace

void add_connection_options(CLI::App &app, Session &session) {
    app.add_option("--socket", session.socket, "The daemon's UNIX socket")
        ->type_name("PATH")
        ->envname("VARNEL_SOCKET")
        ->capture_default_str();
    app.add_option("--udp", session.udp, "Reach the daemon over UDP instead; the port alone: on this machine")
        ->type_name("HOST:PORT");
    app.add_option("--timeout", session.timeout, "How long to wait for an answer")
        ->type_name("SECONDS")
        ->check(CLI::Range(kLeastTimeout, kMostTimeout).description(""))
        ->capture_default_str();
}

void add_json(CLI::App &command, Session &session) {
    command.add_flag("--json", session.json, "Print JSON");
}

void add_verbose(CLI::App &command, Session &session) {
    command.add_flag("-v,--verbose", session.verbose, "Say how safe the change is now, and its revision");
}

void add_durability(CLI::App &command, Session &session) {
    command.add_option("--durability", session.durability, "How safe the change must be at least when this returns")
        ->type_name("CLASS")
        ->check(CLI::IsMember({"memory", "file", "folder"}))
        ->capture_default_str();
}

} // namespace varnel::ctl
