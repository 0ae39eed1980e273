// SPDX-License-Identifier: MIT
#include "daemon/engine.h"

#include "daemon/log.h"

#include <varnel/transport.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

namespace varnel::daemon {

using protocol::Message;
using protocol::Received;
using protocol::Status;

Engine::Engine(const Store &store, const Limits &limits, std::uint64_t revision, std::function<std::uint64_t()> now,
               std::function<void(std::uint64_t)> revising)
    : store_(store), limits_(limits), now_(std::move(now)), revising_(std::move(revising)), first_revision_(revision),
      history_(revision, limits[Limit::history_events], limits[Limit::history_bytes]) {}

void Engine::add(Session &session) {
    sessions_.emplace(session.number(), &session);
}

void Engine::remove(const Session &session) {
    sessions_.erase(session.number());
    statistics_.subscriptions -= session.subscriptions().size();
    std::erase(subscribers_, &session);
    std::vector<Waited> done;
    locks_.forget(session.number(), &done);
    answer_waits(done);
}

Session *Engine::session_of(ConnectionNumber number) const {
    const auto found = sessions_.find(number);
    return found != sessions_.end() ? found->second : nullptr;
}

bool Engine::may_be_silent(const Session &session) const {
    return !session.subscriptions().empty() || locks_.count(session.number()) != 0;
}

// ---- requests

Engine::Handler Engine::handler_of(std::uint32_t code) {
    static constexpr std::array<Handler, control_max> kHandlers = {
        nullptr,         &Engine::create_group, &Engine::remove_group, &Engine::set,     &Engine::get,
        &Engine::unset,  &Engine::notify,       &Engine::unnotify,     &Engine::list,    &Engine::list_keys,
        &Engine::status, &Engine::changed,      &Engine::sync,         &Engine::trylock, &Engine::lock,
        &Engine::unlock, &Engine::other};
    static_assert(control_create_group == 1 && control_get == 4 && control_list_keys == 9 && control_other == 16);
    return code < kHandlers.size() ? kHandlers[code] : nullptr;
}

namespace {

// The code of a message that need not be a good one, for the answer to it.
std::uint32_t announced_code(const protocol::Bytes &bytes) {
    constexpr std::size_t kCodeOffset = 2;
    const std::uint32_t code = bytes.size() > kCodeOffset + 1
                                   ? std::uint32_t{bytes[kCodeOffset]} << 8 | bytes[kCodeOffset + 1]
                                   : std::uint32_t{control_other};
    return code > control_min && code < control_max ? code : std::uint32_t{control_other};
}

} // namespace

bool Engine::only_reads(const protocol::Bytes &bytes) {
    static constexpr std::array kReads = {control_get,     control_list, control_list_keys, control_status,
                                          control_changed, control_sync, control_other};
    const std::uint32_t code = announced_code(bytes);
    return std::any_of(kReads.begin(), kReads.end(), [code](auto read) { return std::uint32_t{read} == code; });
}

bool Engine::may_take_long(const protocol::Bytes &bytes) {
    return announced_code(bytes) != control_get || bytes.size() > PACKET_PAYLOAD_MAX;
}

void Engine::handle(Session &session, std::uint32_t id, protocol::Bytes &bytes) {
    ++statistics_.requests;
    const std::uint32_t code = announced_code(bytes);
    const auto refused = [&](Status status, const std::string &why) { refuse(session, id, code, status, why); };
    if (!session.within_rate(now_(), limits_[Limit::rate]))
        return refused(Status::too_fast, "too many requests in this second");
    if (bytes.size() > limits_[Limit::message_bytes])
        return refused(Status::too_large, "a message of " + std::to_string(bytes.size()) + " bytes");
    try {
        Received message(bytes);
        if (message.size() > limits_[Limit::parameters])
            return refused(Status::too_large, "a message of " + std::to_string(message.size()) + " parameters");
        dispatch(session, id, std::move(message));
    } catch (const protocol::Malformed &malformed) {
        refused(Status::invalid, malformed.what());
    } catch (const std::bad_alloc &) {
        refused(Status::no_memory, "out of memory");
    }
}

// Rows of a write that were kept for the rest of it are dropped: they must not be done with those of another write.
void Engine::refuse(Session &session, std::uint32_t id, std::uint32_t code, Status status, const std::string &why) {
    ++statistics_.refusals;
    if (code == control_set || code == control_unset)
        session.drop_staged();
    session.answer(id, refusal(code, status, why));
}

void Engine::defer(Session &session, std::uint32_t id, Received message) {
    session.set_deferred(true);
    deferred_.push_back({session.number(), id, std::move(message)});
}

void Engine::dispatch(Session &session, std::uint32_t id, Received message) {
    if (session.has_deferred())
        return defer(session, id, std::move(message));
    const Request request{session, id, message};
    const auto refused = [&](Status status, const std::string &why) {
        refuse(session, id, message.code(), status, why);
    };
    try {
        const Handler handler = handler_of(message.code());
        if (handler == nullptr)
            return refused(Status::unsupported, "no such code");
        const Reply reply = (this->*handler)(request);
        if (reply && reply->bytes() > limits_[Limit::queue_bytes])
            return refused(Status::too_large, "an answer of " + std::to_string(reply->bytes()) + " bytes");
        if (reply)
            session.answer(id, *reply);
    } catch (const Defer &) {
        defer(session, id, std::move(message));
    } catch (const Refused &why) {
        refused(why.status(), why.what());
    } catch (const protocol::Malformed &malformed) {
        refused(Status::invalid, malformed.what());
    } catch (const std::length_error &) {
        refused(Status::too_large, "an answer of more than 4096 parameters");
    } catch (const std::bad_alloc &) {
        refused(Status::no_memory, "out of memory");
    }
}

LayerStore &Engine::any_layer(const Request &request) const {
    LayerStore *const layer = store_.find(request.message.text(0));
    if (layer == nullptr)
        throw Refused(Status::unknown_layer, "there is no layer " + key_part_or_empty(request, 0));
    return *layer;
}

LayerStore &Engine::readable_layer(const Request &request) {
    LayerStore &layer = any_layer(request);
    if (pending_of(layer) != nullptr)
        throw Defer();
    return layer;
}

LayerStore &Engine::writable_layer(const Request &request) const {
    LayerStore &layer = any_layer(request);
    if (!layer.writer())
        throw Refused(Status::read_only, "layer " + layer.name() + " takes no changes");
    return layer;
}

// ---- changes

Engine::PendingLayer *Engine::pending_of(const LayerStore &layer) {
    const auto found =
        std::find_if(pending_.begin(), pending_.end(), [&](const PendingLayer &p) { return p.layer == &layer; });
    return found != pending_.end() ? &*found : nullptr;
}

void Engine::note_unsynced(const LayerStore &layer) {
    if (std::find(unsynced_.begin(), unsynced_.end(), &layer) == unsynced_.end())
        unsynced_.push_back(&layer);
}

namespace {

std::string words_of_writer(const LayerStore &layer) {
    return "layer " + layer.name() + ": backend " + layer.backends()[*layer.writer()].name();
}

} // namespace

// Logs what syncing a layer has led to: a failure, or the end of failures that have been logged.
void Engine::note_synced(const LayerStore &layer, int result, const char *failure) {
    if (result < 0)
        failures_.failed(words_of_writer(layer), std::string(failure) + ": " + std::strerror(-result), now_());
    else if (failures_.has_failures())
        failures_.recovered(words_of_writer(layer), "stores changes again", now_());
}

void Engine::take_back(ChangeSet &changes) {
    if (!changes.undo())
        failures_.failed(words_of_writer(changes.layer()), "does not take changes back", now_());
}

namespace {

// Revisions that publishing them takes.
std::uint64_t visible_changes(const ChangeSet &changes) {
    return static_cast<std::uint64_t>(std::count_if(changes.changes().begin(), changes.changes().end(),
                                                    [](const Change &change) { return change.visible(); }));
}

std::uint32_t visible_values(const ChangeSet &changes) {
    return static_cast<std::uint32_t>(
        std::count_if(changes.changes().begin(), changes.changes().end(),
                      [](const Change &change) { return change.kind == ChangeKind::value && change.visible(); }));
}

} // namespace

Message Engine::write_answer(std::uint32_t code, const ChangeSet &changes, int durability, std::uint64_t revision,
                             std::uint32_t visible) {
    Message message = ok_answer(code);
    message.add(changes.layer().name()).add(changes.writer().name()).add(static_cast<std::uint32_t>(durability));
    message.add(revision);
    if (code == control_set || code == control_unset)
        message.add(visible);
    return message;
}

Reply Engine::do_write(const Request &request, ChangeSet changes, std::uint32_t durability) {
    const LayerStore &layer = changes.layer();
    const int wanted = std::max(static_cast<int>(durability), layer.durability());
    PendingLayer *pending = pending_of(layer);
    if (wanted == DURABILITY_MEMORY && pending == nullptr) {
        if (!changes.changes().empty())
            note_unsynced(layer);
        const std::uint64_t revisions = visible_changes(changes);
        reserve_revisions(revisions);
        Message answer = write_answer(request.code(), changes, DURABILITY_MEMORY, history_.revision() + revisions,
                                      visible_values(changes)); // before the changes stay: memory may be short
        publish(layer, changes.take_changes());
        return answer;
    }
    if (pending == nullptr)
        pending = &pending_.emplace_back(PendingLayer{&layer, {}});
    pending->writes.push_back({request.session.number(), request.id, request.code(), wanted, std::move(changes)});
    return std::nullopt;
}

// A revision that was given to a change must not come again, though the process is killed as soon as the storage has
// it.
void Engine::reserve_revisions(std::uint64_t count) {
    if (count != 0)
        revising_(history_.revision() + count);
}

// The changes have been made and stay: memory that is short costs no more than the news of them.
void Engine::publish(const LayerStore &layer, std::vector<Change> changes) {
    for (Change &change : changes) {
        if (!change.visible())
            continue;
        const std::uint64_t next = history_.revision() + 1;
        try {
            publish_one(layer, change);
        } catch (const std::bad_alloc &) {
            lose_news(next);
        }
    }
}

void Engine::lose_news(std::uint64_t last) noexcept {
    history_.forget_all(last);
    statistics_.lost += subscribers_.size();
    for (Session *const session : subscribers_) {
        session->lose_events(last);
        try {
            session->wake();
        } catch (const std::bad_alloc &) {
            continue; // it is told when it is woken the next time
        }
    }
}

void Engine::publish_one(const LayerStore &layer, Change &change) {
    std::uint32_t flags = change.visible_old != nullptr ? protocol::kEventHadValue : 0;
    flags |= change.visible_new != nullptr ? protocol::kEventHasValue : 0;
    if (change.kind != ChangeKind::value)
        flags = change.kind == ChangeKind::group_created ? protocol::kEventGroupCreated : protocol::kEventGroupRemoved;
    const EventRef event = history_.add({0, flags, layer.name(), std::move(change.group), std::move(change.name),
                                         std::move(change.visible_old), std::move(change.visible_new)});
    ++statistics_.changes;
    const EventBounds bounds{limits_[Limit::events], limits_[Limit::event_bytes]};
    for (Session *const session : subscribers_) {
        if (!session->wants(*event))
            continue;
        const bool given = session->push_event(event, bounds);
        ++(given ? statistics_.events : statistics_.lost);
        if (!given)
            session->note_lost(*event);
        session->wake();
    }
}

// ---- the storage

void Engine::commit_layer(PendingLayer &pending) {
    int wanted = DURABILITY_MEMORY;
    std::uint64_t revisions = 0;
    for (const PendingWrite &write : pending.writes) {
        wanted = std::max(wanted, write.wanted);
        revisions += visible_changes(write.changes);
    }
    reserve_revisions(revisions);
    const BackendAccess &writer = pending.layer->backends()[*pending.layer->writer()];
    ++statistics_.syncs;
    const int reached = writer.sync(wanted);
    note_synced(*pending.layer, reached, "cannot store changes");
    if (reached < 0) {
        std::for_each(pending.writes.rbegin(), pending.writes.rend(),
                      [this](PendingWrite &write) { take_back(write.changes); });
        note_unsynced(*pending.layer);
    }
    for (PendingWrite &write : pending.writes) {
        const std::uint32_t visible = visible_values(write.changes);
        if (reached >= 0)
            publish(*pending.layer, write.changes.take_changes());
        Session *const session = session_of(write.connection);
        if (session == nullptr)
            continue;
        if (reached >= 0) {
            session->answer(write.request,
                            write_answer(write.code, write.changes, reached, history_.revision(), visible));
            continue;
        }
        const Refused refused = refusal_of(reached, writer.name(), "the change");
        ++statistics_.refusals;
        session->answer(write.request, refusal(write.code, refused.status(), refused.what()));
    }
}

void Engine::commit() {
    while (!pending_.empty() || !deferred_.empty()) {
        std::vector<PendingLayer> pending = std::exchange(pending_, {});
        for (PendingLayer &layer : pending)
            commit_layer(layer);
        std::vector<Deferred> waiting = std::exchange(deferred_, {});
        for (const Deferred &deferred : waiting) {
            if (Session *const session = session_of(deferred.connection))
                session->set_deferred(false);
        }
        for (Deferred &deferred : waiting) {
            if (Session *const session = session_of(deferred.connection))
                dispatch(*session, deferred.id, std::move(deferred.message));
        }
    }
}

void Engine::flush() {
    commit(); // what may still be refused must not reach the storage
    std::erase_if(unsynced_, [this](const LayerStore *layer) {
        ++statistics_.syncs;
        const int result = layer->backends()[*layer->writer()].sync(DURABILITY_MEMORY);
        note_synced(*layer, result, "cannot store changes, which stay in memory");
        return result >= 0;
    });
    failures_.catch_up(now_());
}

// ---- locks

void Engine::answer_waits(const std::vector<Waited> &done) {
    for (const Waited &wait : done) {
        Session *const session = session_of(wait.connection);
        if (session == nullptr)
            continue;
        if (!wait.granted)
            ++statistics_.refusals;
        session->answer(wait.request, wait.granted ? lock_answer(control_lock, {wait.layer, "", ""})
                                                   : refusal(control_lock, Status::timed_out, "the lock is held"));
    }
}

void Engine::end_waits() {
    std::vector<Waited> done;
    locks_.expire(UINT64_MAX, &done);
    answer_waits(done);
}

void Engine::expire_waits() {
    std::vector<Waited> done;
    locks_.expire(now_(), &done);
    answer_waits(done);
}

} // namespace varnel::daemon
