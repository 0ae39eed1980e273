// SPDX-License-Identifier: MIT
#include "daemon/session.h"

#include "protocol/protocol.h"

#include <algorithm>
#include <iterator>

namespace varnel::daemon {

namespace {

constexpr std::uint64_t kMillisecondsPerSecond = 1000;

Value value_or_empty(const SharedValue &value) {
    return value != nullptr ? copy_of(*value) : make_string("");
}

} // namespace

void add_event(protocol::Message &message, const Event &event) {
    message.add(event.revision).add(event.flags).add(event.layer).add(event.group).add(event.name);
    message.add(value_or_empty(event.old_value)).add(value_or_empty(event.new_value));
}

bool Session::push(EventRef event, Amount &amount, EventBounds bounds) {
    const std::size_t bytes = event->bytes();
    const bool fits = amount.events == 0 || (amount.events < bounds.events && amount.bytes + bytes <= bounds.bytes);
    lost_ = lost_ || !fits;
    if (lost_)
        return false;
    waiting_.push_back({std::move(event), &amount});
    ++amount.events;
    amount.bytes += bytes;
    return true;
}

std::optional<protocol::Bytes> Session::take_event(std::uint64_t revision) {
    protocol::Message message(control_changed);
    if (!waiting_.empty()) {
        const auto [event, amount] = std::move(waiting_.front());
        waiting_.pop_front();
        --amount->events;
        amount->bytes -= event->bytes();
        add_event(message, *event);
        return message.encode();
    }
    if (!lost_)
        return std::nullopt;
    lost_ = false;
    add_event(message, Event{revision, protocol::kEventLost, "", "", "", nullptr, nullptr});
    return message.encode();
}

bool Session::within_rate(std::uint64_t now, std::uint32_t rate) {
    if (now / kMillisecondsPerSecond != second_) {
        second_ = now / kMillisecondsPerSecond;
        requests_ = 0;
    }
    return ++requests_ <= rate;
}

bool Session::has_subscribed(const Scope &scope) const {
    return std::any_of(subscriptions_.begin(), subscriptions_.end(),
                       [&scope](const Subscription &subscription) { return subscription.scope == scope; });
}

bool Session::wants(const Event &event) const {
    return std::any_of(subscriptions_.begin(), subscriptions_.end(),
                       [&event](const Subscription &subscription) { return subscription.scope.includes(event); });
}

void Session::subscribe(const Scope &scope, std::uint64_t since) {
    const auto known = std::find_if(subscriptions_.begin(), subscriptions_.end(),
                                    [&scope](const Subscription &subscription) { return subscription.scope == scope; });
    if (known == subscriptions_.end())
        subscriptions_.push_back({scope, since});
    else
        known->since = std::min(known->since, since);
}

bool Session::was_given(const Event &event) const {
    return std::any_of(subscriptions_.begin(), subscriptions_.end(), [&event](const Subscription &subscription) {
        return event.revision > subscription.since && subscription.scope.includes(event);
    });
}

void Session::note_lost(const Event &event) {
    for (Subscription &subscription : subscriptions_) {
        if (subscription.scope.includes(event))
            subscription.since = std::max(subscription.since, event.revision);
    }
}

std::size_t Session::drop_events() {
    const std::size_t dropped = waiting_.size();
    for (const Waiting &waiting : waiting_)
        note_lost(*waiting.event);
    waiting_.clear();
    live_ = past_ = {};
    lost_ = true;
    return dropped;
}

void Session::lose_events(std::uint64_t revision) noexcept {
    lost_ = true;
    for (Subscription &subscription : subscriptions_)
        subscription.since = std::max(subscription.since, revision);
}

bool Session::unsubscribe(const Scope &scope) {
    return std::erase_if(subscriptions_,
                         [&scope](const Subscription &subscription) { return subscription.scope == scope; }) != 0;
}

void Session::stage(std::uint32_t code, const std::string &layer, std::vector<WriteRow> rows, std::size_t bytes) {
    if (!staged_)
        staged_ = StagedWrite{code, layer, {}};
    staged_->bytes += bytes;
    std::move(rows.begin(), rows.end(), std::back_inserter(staged_->rows));
}

std::vector<WriteRow> Session::take_staged() {
    std::vector<WriteRow> rows = staged_ ? std::move(staged_->rows) : std::vector<WriteRow>();
    staged_.reset();
    return rows;
}

} // namespace varnel::daemon
