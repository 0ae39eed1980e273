// SPDX-License-Identifier: MIT
// notify, unnotify, changed, trylock, lock, unlock.
#include "daemon/engine.h"

#include <algorithm>
#include <utility>

namespace varnel::daemon {

using protocol::Message;
using protocol::Status;

namespace {

constexpr std::size_t kEventHead = 5;       // status, layer, revision, lost, more
constexpr std::size_t kEventParameters = 7; // of a row

} // namespace

// Whether changes of the layer after revision from are not to be had. What a layer held in memory went with the process
// before this one, without an event for it.
bool Engine::has_lost(const LayerStore &layer, std::uint64_t from) const {
    if (from == protocol::kFromNow)
        return false;
    const bool is_from_before = from != 0 && from <= first_revision_;
    return !history_.remembers(from) || (is_from_before && !layer.keeps_changes());
}

Scope Engine::scope_of(const Request &request) const {
    const auto [group, name] = scope_parts(request, 1);
    return {any_layer(request).name(), group, name};
}

// Gives the session what has happened in the scope after revision from, and not been given to it yet. The answer is the
// revision after which it has been given everything.
std::uint64_t Engine::catch_up(Session &session, const Scope &scope, std::uint64_t from) {
    const EventBounds bounds{limits_[Limit::history_events], limits_[Limit::history_bytes]};
    std::uint64_t since = from;
    history_.replay(from, [&](const EventRef &event) {
        if (!scope.includes(*event) || session.was_given(*event))
            return true;
        if (session.push_past_event(event, bounds)) {
            ++statistics_.events;
        } else {
            ++statistics_.lost;
            since = event->revision;
        }
        return true;
    });
    if (session.has_events())
        session.wake();
    return since;
}

Reply Engine::notify(const Request &request) {
    expect_count(request, 4);
    const Scope scope = scope_of(request);
    const std::uint64_t from = request.message.uint64(3);
    Session &session = request.session;
    const bool known = session.has_subscribed(scope);
    if (!known && session.subscriptions().size() >= limits_[Limit::subscriptions])
        throw Refused(Status::too_many,
                      "more subscriptions than the limit of " + std::to_string(limits_[Limit::subscriptions]));
    const bool lost = has_lost(any_layer(request), from);
    Message answer = ok_answer(request.code());
    answer.add(scope.layer).add(history_.revision()).add(std::uint32_t{lost});
    session.answer(request.id, answer); // before the events
    const std::uint64_t since = catch_up(session, scope, lost ? 0 : std::min(from, history_.revision()));
    if (session.subscriptions().empty())
        subscribers_.push_back(&session);
    session.subscribe(scope, since);
    statistics_.subscriptions += known ? 0 : 1;
    return std::nullopt;
}

Reply Engine::unnotify(const Request &request) {
    expect_count(request, 3);
    const Scope scope = scope_of(request);
    if (!request.session.unsubscribe(scope))
        throw Refused(Status::not_held, "there is no such subscription");
    --statistics_.subscriptions;
    if (request.session.subscriptions().empty())
        std::erase(subscribers_, &request.session);
    Message answer = ok_answer(request.code());
    answer.add(scope.layer);
    return answer;
}

Reply Engine::changed(const Request &request) {
    expect_count(request, 4);
    const Scope scope = scope_of(request);
    const std::uint64_t from = request.message.uint64(3);
    const bool lost = has_lost(any_layer(request), from);
    std::vector<EventRef> events;
    std::size_t bytes = 0;
    bool more = false;
    history_.replay(lost ? 0 : from, [&](const EventRef &event) {
        if (!scope.includes(*event))
            return true;
        bytes += event->bytes();
        const std::size_t parameters = kEventHead + (events.size() + 1) * kEventParameters;
        more = !events.empty() && (bytes > protocol::kPageBytes || parameters > protocol::kMostParameters);
        if (!more)
            events.push_back(event);
        return !more;
    });
    Message answer = ok_answer(request.code());
    answer.add(scope.layer).add(history_.revision()).add(std::uint32_t{lost}).add(std::uint32_t{more});
    for (const EventRef &event : events)
        add_event(answer, *event);
    return answer;
}

// ---- locks

std::string Engine::describe(ConnectionNumber number) const {
    const Session *const session = session_of(number);
    return session != nullptr ? session->description() : "connection " + std::to_string(number);
}

Scope Engine::lock_scope(const Request &request) const {
    Scope scope = scope_of(request);
    if (scope.group.empty())
        throw Refused(Status::invalid, "a lock is on a group or on a value in one");
    return scope;
}

// True when the connection has the lock now.
bool Engine::take_lock(const Request &request, const Scope &scope) {
    const ConnectionNumber number = request.session.number();
    if (locks_.holds(number, scope))
        return true;
    if (locks_.count(number) >= limits_[Limit::locks])
        throw Refused(Status::too_many, "more locks than the limit of " + std::to_string(limits_[Limit::locks]));
    return locks_.try_lock(number, scope);
}

Message Engine::lock_answer(std::uint32_t code, const Scope &scope) {
    Message answer = ok_answer(code);
    answer.add(scope.layer);
    return answer;
}

Reply Engine::trylock(const Request &request) {
    expect_count(request, 3);
    const Scope scope = lock_scope(request);
    if (take_lock(request, scope))
        return lock_answer(request.code(), scope);
    const auto holder = locks_.holder(scope, request.session.number());
    throw Refused(Status::busy, holder ? "locked by " + describe(*holder) : "others are waiting for the lock");
}

Reply Engine::lock(const Request &request) {
    expect_count(request, 4);
    const Scope scope = lock_scope(request);
    const std::uint32_t wait = request.message.uint32(3);
    if (wait > limits_[Limit::lock_wait])
        throw Refused(Status::too_large,
                      "a wait of more than " + std::to_string(limits_[Limit::lock_wait]) + " milliseconds");
    if (take_lock(request, scope))
        return lock_answer(request.code(), scope);
    if (wait == 0)
        throw Refused(Status::timed_out, "the lock is held");
    locks_.wait(request.session.number(), request.id, scope, now_() + wait);
    return std::nullopt;
}

Reply Engine::unlock(const Request &request) {
    expect_count(request, 3);
    const Scope scope = lock_scope(request);
    std::vector<Waited> done;
    if (!locks_.unlock(request.session.number(), scope, &done))
        throw Refused(Status::not_held, "there is no such lock of this connection");
    answer_waits(done);
    return lock_answer(request.code(), scope);
}

} // namespace varnel::daemon
