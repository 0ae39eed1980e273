// SPDX-License-Identifier: MIT
// watch: subscribes, prints what is missing since a revision, then what comes.
//
// The order in which a change is neither missed nor printed twice: subscribe to what comes from now on, ask for what
// has been, and leave out of the events those that were among it.
#include "conversation/requests.h"
#include "ctl/commands.h"
#include "ctl/failure.h"
#include "ctl/keep_alive.h"
#include "ctl/keys.h"
#include "ctl/options.h"
#include "ctl/output.h"
#include "ctl/signals.h"
#include "ctl/watch_print.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <set>

namespace varnel::ctl {

using conversation::Change;
using conversation::Conversation;
using conversation::Deadline;
using conversation::Error;
using conversation::ErrorKind;
using conversation::Milliseconds;

namespace {

constexpr Milliseconds kFirstPause(200);
constexpr Milliseconds kLongestPause(5000);

bool may_pass(const Error &error) {
    return error.kind() != ErrorKind::interrupted && error.kind() != ErrorKind::refused;
}

struct WatchOptions {
    std::vector<std::string> keys;
    std::optional<std::uint64_t> from;
    std::uint64_t count = 0; // 0: no end
    bool reconnect = false;
};

class Watch {
public:
    Watch(const Session &session, const WatchOptions &options)
        : session_(session), options_(options), last_(options.from), signals_({SIGINT, SIGTERM}) {
        std::transform(options.keys.begin(), options.keys.end(), std::back_inserter(keys_), any_key);
        if (keys_.empty())
            keys_.emplace_back();
    }

    // Until interrupted, or enough changes have been printed.
    void run();

private:
    void connect();
    void reconnect();
    void print_history(std::uint64_t now);
    void follow();
    bool follow_until_lost();
    void unsubscribe();
    [[nodiscard]] bool done() const { return options_.count != 0 && printed_ >= options_.count; }
    void print(const Change &change);
    void note_loss(std::uint64_t revision) const;
    void pause(Milliseconds time) const;

    const Session &session_;
    const WatchOptions &options_;
    std::vector<KeyParts> keys_;
    std::optional<std::uint64_t> last_; // the last revision seen
    std::set<std::uint64_t> known_;     // revisions of the history: their events are left out
    std::uint64_t printed_ = 0;
    Signals signals_;
    std::unique_ptr<Conversation> conversation_;
};

void Watch::note_loss(std::uint64_t revision) const {
    flush_output();
    complain("changes up to revision " + std::to_string(revision) + " were lost: read again what matters");
    if (session_.json)
        print_json_line(Json{{"lost", true}, {"revision", revision}});
}

void Watch::print(const Change &change) {
    last_ = std::max(last_.value_or(0), change.revision);
    if ((change.flags & protocol::kEventLost) != 0)
        note_loss(change.revision);
    if (change.group.empty())
        return; // nothing but the loss
    if (session_.json)
        print_json_line(json_of_change(change));
    else
        print_line(line_of_change(change));
    flush_output();
    ++printed_;
}

// What the daemon remembers about all keys, each change once, in order.
void Watch::print_history(std::uint64_t now) {
    std::map<std::uint64_t, Change> history;
    for (const KeyParts &key : keys_) {
        std::uint64_t from = *last_;
        for (bool more = true; more;) {
            conversation::Changes changes = conversation::changed(*conversation_, key, from);
            if (changes.lost)
                note_loss(changes.revision);
            if (changes.lost && from > changes.revision)
                from = 0; // another store than the one that was watched: all that it remembers is new
            more = changes.more;
            for (Change &change : changes.rows) {
                if (change.revision <= from)
                    throw Error(ErrorKind::malformed, "the daemon's changes are not in order");
                from = change.revision;
                history.emplace(from, std::move(change));
            }
        }
    }
    last_ = std::min(*last_, now);
    for (const auto &[revision, change] : history) {
        known_.insert(revision);
        if (!done())
            print(change);
    }
}

void Watch::connect() {
    conversation_ = session_.connect();
    conversation_->interrupt_with(signals_.descriptor());
    known_.clear();
    const auto subscribe = [this](std::uint64_t, const KeyParts &key) {
        return conversation::notify(*conversation_, key, protocol::kFromNow).revision;
    };
    const std::uint64_t now = std::accumulate(keys_.begin(), keys_.end(), std::uint64_t{0}, subscribe);
    if (last_)
        print_history(now);
    else
        last_ = now;
}

void Watch::follow() {
    KeepAlive keep_alive(*conversation_);
    while (!done()) {
        const auto event = conversation_->next_event(keep_alive.deadline());
        if (!event) {
            keep_alive.speak();
            continue;
        }
        const Change change = conversation::read_event(*event);
        if (!known_.contains(change.revision))
            print(change);
    }
}

// The end of the connection would do, but a daemon does not see that over UDP.
void Watch::unsubscribe() {
    if (conversation_ == nullptr || !conversation_->is_datagram())
        return;
    conversation_->interrupt_with(-1);
    try {
        for (const KeyParts &key : keys_)
            conversation::unnotify(*conversation_, key);
    } catch (const Error &error) {
        complain(std::string("the daemon may go on sending for a while: ") + error.what());
    }
}

void Watch::pause(Milliseconds time) const {
    const auto deadline = Deadline::after(time);
    if (conversation::wait_for(-1, 0, signals_.descriptor(), deadline) == conversation::Wake::interrupted)
        throw Error(ErrorKind::interrupted, "interrupted");
}

// False when the connection is lost, and is to be had again.
bool Watch::follow_until_lost() {
    try {
        follow();
        return true;
    } catch (const Error &error) {
        if (!options_.reconnect || !may_pass(error))
            throw;
        return false;
    }
}

void Watch::reconnect() {
    complain("the daemon is gone; waiting for it");
    for (Milliseconds time = kFirstPause;; time = std::min(time * 2, kLongestPause)) {
        pause(time);
        try {
            connect();
            complain("connected again");
            return;
        } catch (const Error &error) {
            if (!may_pass(error))
                throw;
        }
    }
}

void Watch::run() {
    try {
        connect();
        while (!follow_until_lost())
            reconnect();
    } catch (const Error &error) {
        if (error.kind() != ErrorKind::interrupted)
            throw;
        static_cast<void>(signals_.take()); // it has done its work
    }
    unsubscribe();
}

} // namespace

void add_watch(CLI::App &command, Session &session) {
    const auto options = std::make_shared<WatchOptions>();
    command.add_option("KEY", options->keys, "layer[:group[:name]] each; without any, the default layer");
    command.add_option("--from", options->from, "First print what has happened since this revision")
        ->type_name("REVISION");
    command.add_option("--count", options->count, "End after so many changes")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command.add_flag("--reconnect", options->reconnect, "When the daemon goes, wait for it and go on where it ended");
    add_json(command, session);
    command.callback([&session, options] { Watch(session, *options).run(); });
}

} // namespace varnel::ctl
