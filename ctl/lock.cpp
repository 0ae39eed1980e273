// SPDX-License-Identifier: MIT
// lock: holds a lock while a command runs, or until interrupted. The lock goes with the connection.
#include "common/text.h"
#include "conversation/requests.h"
#include "ctl/child.h"
#include "ctl/commands.h"
#include "ctl/failure.h"
#include "ctl/keep_alive.h"
#include "ctl/keys.h"
#include "ctl/options.h"
#include "ctl/output.h"
#include "ctl/signals.h"

namespace varnel::ctl {

using conversation::Conversation;
using conversation::Error;
using conversation::ErrorKind;

namespace {

constexpr double kLongestWait = 86400;

std::string take_lock(Conversation &conversation, const KeyParts &key, double wait) {
    return wait > 0 ? conversation::lock(conversation, key, milliseconds(wait))
                    : conversation::trylock(conversation, key);
}

// Waits for the next signal, while the daemon keeps the connection; otherwise Error.
int next_signal(Conversation &conversation, KeepAlive &keep_alive, const Signals &signals) {
    for (;;) {
        try {
            if (!conversation.next_event(keep_alive.deadline()))
                keep_alive.speak();
        } catch (const Error &error) {
            if (error.kind() != ErrorKind::interrupted)
                throw;
            if (const int number = signals.take(); number != 0)
                return number;
        }
    }
}

// The terminal sends its signals to the command, too; others are passed on.
void pass_on(const Child &child, int number) {
    if (number == SIGTERM || number == SIGHUP)
        child.signal(number);
}

int wait_for_child(const Child &child, Conversation &conversation, KeepAlive &keep_alive, const Signals &signals) {
    try {
        for (;;) {
            pass_on(child, next_signal(conversation, keep_alive, signals));
            if (const auto code = child.poll())
                return *code;
        }
    } catch (const Error &error) {
        complain(std::string("the lock is lost, and the command goes on: ") + error.what());
        static_cast<void>(child.wait());
        return kUnreachable;
    }
}

void wait_for_interrupt(Conversation &conversation, KeepAlive &keep_alive, const Signals &signals) {
    while (next_signal(conversation, keep_alive, signals) == SIGCHLD) {
    }
}

// The end of the connection would do, but a daemon does not see that over UDP. One that is gone holds no lock.
void release(Conversation &conversation, const KeyParts &key) {
    conversation.interrupt_with(-1);
    try {
        conversation::unlock(conversation, key);
    } catch (const Error &error) {
        if (error.kind() == ErrorKind::refused)
            complain(std::string("the lock was lost before: ") + error.what());
    }
}

struct LockOptions {
    std::string key;
    double wait = 0;
};

void run_lock(Session &session, const LockOptions &options) {
    KeyParts key = lock_key(options.key);
    const auto conversation = session.connect();
    KeepAlive keep_alive(*conversation);
    key.layer = take_lock(*conversation, key, options.wait);
    const Signals signals{SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP};
    conversation->interrupt_with(signals.descriptor());
    if (session.words.empty()) {
        print_line("locked " + escaped(print_key(key)));
        flush_output();
        wait_for_interrupt(*conversation, keep_alive, signals);
        release(*conversation, key);
    } else {
        const Child child(session.words, signals.before());
        session.result = wait_for_child(child, *conversation, keep_alive, signals);
        release(*conversation, key);
    }
}

} // namespace

void add_lock(CLI::App &command, Session &session) {
    const auto options = std::make_shared<LockOptions>();
    command.add_option("KEY", options->key, "layer:group or layer:group:name; behind it -- and a COMMAND to run")
        ->required();
    command.add_option("--wait", options->wait, "How long to wait while others hold it; not at all by default")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, kLongestWait).description(""));
    command.callback([&session, options] { run_lock(session, *options); });
}

} // namespace varnel::ctl
