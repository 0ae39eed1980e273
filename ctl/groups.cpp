// SPDX-License-Identifier: MIT
// mkgroup, rmgroup.
#include "conversation/requests.h"
#include "ctl/commands.h"
#include "ctl/keys.h"
#include "ctl/options.h"
#include "ctl/written.h"

namespace varnel::ctl {

namespace {

using Change = conversation::Written (*)(conversation::Conversation &, const KeyParts &, std::uint32_t);

void add_group_command(CLI::App &command, Session &session, Change change) {
    auto *const group = command.add_option("GROUP", "[layer:]group")->required();
    add_durability(command, session);
    add_verbose(command, session);
    add_json(command, session);
    command.callback([&session, group, change] {
        const KeyParts key = group_key(group->as<std::string>());
        const auto conversation = session.connect();
        report_written(session, change(*conversation, key, session.durability_class()));
    });
}

} // namespace

void add_mkgroup(CLI::App &command, Session &session) {
    add_group_command(command, session, conversation::create_group);
}

void add_rmgroup(CLI::App &command, Session &session) {
    add_group_command(command, session, conversation::remove_group);
}

} // namespace varnel::ctl
