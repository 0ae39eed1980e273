// SPDX-License-Identifier: MIT
// What the daemon keeps of a connection beside its transport: subscriptions, events that wait, a write that comes in
// parts.
#pragma once

#include "daemon/event.h"
#include "daemon/lock_table.h"

#include "protocol/message.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace varnel::daemon {

// What a connection has subscribed to. The events of the scope after revision since have been given to it.
struct Subscription {
    Scope scope;
    std::uint64_t since;
};

// A row of a write: the value is nullptr to unset.
struct WriteRow {
    std::string group;
    std::string name;
    SharedValue value;
};

// Rows that wait for the request that does them.
struct StagedWrite {
    std::uint32_t code;
    std::string layer;
    std::vector<WriteRow> rows;
    std::size_t bytes = 0;
};

// How much may wait for sending; one event always fits.
struct EventBounds {
    std::size_t events;
    std::size_t bytes;
};

class Session {
public:
    Session(ConnectionNumber number, std::string description) : number_(number), description_(std::move(description)) {}
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    virtual ~Session() = default;

    // Sends the answer to a request, now or when there is room.
    virtual void answer(std::uint32_t request, const protocol::Message &message) = 0;

    // Events wait: take_event until there is none, as far as there is room.
    virtual void wake() = 0;

    // Whether anybody is there for answers: a list, which is long work, is not made for nobody.
    [[nodiscard]] virtual bool takes_answers() const { return true; }

    [[nodiscard]] ConnectionNumber number() const { return number_; }
    [[nodiscard]] const std::string &description() const { return description_; }

    // Keeps an event for sending: one of now, or of the past for a new subscription. Each kind has bounds of its own:
    // who catches up with much does not lose what comes meanwhile. False past the bounds: only that events were lost is
    // kept then.
    bool push_event(EventRef event, EventBounds bounds) { return push(std::move(event), live_, bounds); }
    bool push_past_event(EventRef event, EventBounds bounds) { return push(std::move(event), past_, bounds); }

    // The next event, encoded; nothing when there is none. revision is the current one.
    std::optional<protocol::Bytes> take_event(std::uint64_t revision);
    [[nodiscard]] bool has_events() const { return lost_ || !waiting_.empty(); }

    // Bytes of the events that wait, which others may wait for, too.
    [[nodiscard]] std::size_t event_bytes() const { return live_.bytes + past_.bytes; }

    // Gives the events that wait up as lost; how many there were.
    std::size_t drop_events();

    // Of rows that wait.
    [[nodiscard]] std::size_t staged_bytes() const { return staged_ ? staged_->bytes : 0; }

    // Counts a request; false when there were more in this second than rate. now is in milliseconds.
    bool within_rate(std::uint64_t now, std::uint32_t rate);

    // What the connection has subscribed to: each scope once.
    [[nodiscard]] const std::vector<Subscription> &subscriptions() const { return subscriptions_; }
    [[nodiscard]] bool has_subscribed(const Scope &scope) const;
    [[nodiscard]] bool wants(const Event &event) const;
    bool unsubscribe(const Scope &scope); // false when there is no such subscription

    // Events of the scope are given to it from now on; those after revision since have been. Once for each scope.
    void subscribe(const Scope &scope, std::uint64_t since);

    // Whether the connection has been given the event, which may wait for sending; that it has not.
    [[nodiscard]] bool was_given(const Event &event) const;
    void note_lost(const Event &event);

    // Events up to the revision that may have been for the connection are lost, without one to tell which.
    void lose_events(std::uint64_t revision) noexcept;

    // The rows of a write that are there so far, if there are any.
    [[nodiscard]] const std::optional<StagedWrite> &staged() const { return staged_; }
    void stage(std::uint32_t code, const std::string &layer, std::vector<WriteRow> rows, std::size_t bytes);
    std::vector<WriteRow> take_staged();
    void drop_staged() { staged_.reset(); }

    // Whether requests wait for the storage: later ones wait behind them.
    [[nodiscard]] bool has_deferred() const { return has_deferred_; }
    void set_deferred(bool has_deferred) { has_deferred_ = has_deferred; }

private:
    // Of one kind of events, what waits.
    struct Amount {
        std::size_t events = 0;
        std::size_t bytes = 0;
    };
    struct Waiting {
        EventRef event;
        Amount *amount; // that it is part of
    };
    bool push(EventRef event, Amount &amount, EventBounds bounds);

    const ConnectionNumber number_;
    const std::string description_;
    std::vector<Subscription> subscriptions_;
    std::optional<StagedWrite> staged_;
    bool has_deferred_ = false;
    std::deque<Waiting> waiting_;
    Amount live_;
    Amount past_;
    bool lost_ = false;
    std::uint64_t second_ = 0;
    std::uint32_t requests_ = 0;
};

// An event's seven parameters, added to a message that is being made.
void add_event(protocol::Message &message, const Event &event);

} // namespace varnel::daemon
