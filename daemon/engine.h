// SPDX-License-Identifier: MIT
// The store's answers to requests, apart from sockets and clocks.
//
// Changes that have to reach the storage before they are answered are collected, with those of other connections, until
// commit: the storage is synced once for all of them. Reads of such a layer wait until then, too, so that nobody is
// told a value that a failing storage takes back.
#pragma once

#include "daemon/change.h"
#include "daemon/event.h"
#include "daemon/failure_log.h"
#include "daemon/limits.h"
#include "daemon/lock_table.h"
#include "daemon/request.h"
#include "daemon/session.h"
#include "daemon/statistics.h"
#include "daemon/store.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace varnel::daemon {

class Engine {
public:
    // now gives milliseconds of a clock that never goes back; revising is called with a revision that changes may get
    // as far as, before the storage and readers get them.
    Engine(const Store &store, const Limits &limits, std::uint64_t revision, std::function<std::uint64_t()> now,
           std::function<void(std::uint64_t)> revising);

    void add(Session &session);
    void remove(const Session &session);

    // A message from a connection: answers it, now or later. bytes may be changed.
    void handle(Session &session, std::uint32_t id, protocol::Bytes &bytes);

    // Whether a message may take milliseconds, such as a list, which walks its layer, or a change of many values. A get
    // does not: modules have their values at hand.
    [[nodiscard]] static bool may_take_long(const protocol::Bytes &bytes);

    // Whether a message asks for something that can be done again and again: it changes neither values nor what the
    // connection has.
    [[nodiscard]] static bool only_reads(const protocol::Bytes &bytes);

    // Brings collected changes to the storage, answers them, and then what waited for them. To be called when no more
    // requests are at hand.
    void commit();

    // Brings to the storage what was answered as being in memory only. To be called now and then.
    void flush();

    // Ends the waits for locks whose time is over, or all of them, and when the next one will be over.
    void expire_waits();
    void end_waits();
    [[nodiscard]] std::optional<std::uint64_t> next_deadline() const { return locks_.next_deadline(); }

    // Whether the connection holds locks, waits for one, or has subscribed to something: it may be silent then.
    [[nodiscard]] bool may_be_silent(const Session &session) const;

    [[nodiscard]] std::uint64_t revision() const { return history_.revision(); }
    [[nodiscard]] std::uint64_t now() const { return now_(); }
    [[nodiscard]] Statistics &statistics() { return statistics_; }
    [[nodiscard]] const Limits &limits() const { return limits_; }

private:
    // A request whose changes wait for the storage.
    struct PendingWrite {
        ConnectionNumber connection;
        std::uint32_t request;
        std::uint32_t code;
        int wanted;
        ChangeSet changes;
    };
    struct PendingLayer {
        const LayerStore *layer;
        std::vector<PendingWrite> writes;
    };
    struct Deferred {
        ConnectionNumber connection;
        std::uint32_t id;
        protocol::Received message;
    };
    using Handler = Reply (Engine::*)(const Request &);
    static Handler handler_of(std::uint32_t code);

    void defer(Session &session, std::uint32_t id, protocol::Received message);
    void dispatch(Session &session, std::uint32_t id, protocol::Received message);
    void refuse(Session &session, std::uint32_t id, std::uint32_t code, protocol::Status status,
                const std::string &why);
    [[nodiscard]] Session *session_of(ConnectionNumber number) const;

    // Handlers, in requests_*.cpp. No message: the answer comes later.
    Reply create_group(const Request &request);
    Reply remove_group(const Request &request);
    Reply set(const Request &request);
    Reply unset(const Request &request);
    Reply get(const Request &request);
    Reply list(const Request &request);
    Reply list_keys(const Request &request);
    Reply notify(const Request &request);
    Reply unnotify(const Request &request);
    Reply changed(const Request &request);
    Reply status(const Request &request);
    Reply sync(const Request &request);
    Reply lock(const Request &request);
    Reply trylock(const Request &request);
    Reply unlock(const Request &request);
    Reply other(const Request &request);

    Reply status_of_store(const Request &request);
    Reply status_of_key(const Request &request);
    Reply write_rows(const Request &request, bool with_values);
    Reply do_write(const Request &request, ChangeSet changes, std::uint32_t durability);
    void expect_done(ChangeSet &changes, int result, const std::string &group, const std::string &name);
    void remove_all(ChangeSet &changes, const std::vector<WriteRow> &rows);
    bool stage(const Request &request, const LayerStore &layer, std::vector<WriteRow> &rows, bool more) const;
    void respect_locks(const Request &request, const LayerStore &layer, const std::vector<WriteRow> &rows) const;
    Reply page_of(const Request &request, bool values);
    [[nodiscard]] Scope scope_of(const Request &request) const;
    [[nodiscard]] Scope lock_scope(const Request &request) const;
    std::uint64_t catch_up(Session &session, const Scope &scope, std::uint64_t from);
    [[nodiscard]] bool has_lost(const LayerStore &layer, std::uint64_t from) const;
    bool take_lock(const Request &request, const Scope &scope);
    static protocol::Message lock_answer(std::uint32_t code, const Scope &scope);
    [[nodiscard]] std::string describe(ConnectionNumber number) const;

    // The layer that the first parameter names, ready to be read (defers the request when changes are pending), or to
    // be changed.
    LayerStore &readable_layer(const Request &request);
    [[nodiscard]] LayerStore &any_layer(const Request &request) const;
    LayerStore &writable_layer(const Request &request) const;

    PendingLayer *pending_of(const LayerStore &layer);
    void commit_layer(PendingLayer &pending);
    void publish(const LayerStore &layer, std::vector<Change> changes);
    void reserve_revisions(std::uint64_t count);
    void publish_one(const LayerStore &layer, Change &change);
    void lose_news(std::uint64_t last) noexcept;
    static protocol::Message write_answer(std::uint32_t code, const ChangeSet &changes, int durability,
                                          std::uint64_t revision, std::uint32_t visible);
    void answer_waits(const std::vector<Waited> &done);
    void note_unsynced(const LayerStore &layer);
    void note_synced(const LayerStore &layer, int result, const char *failure);
    void take_back(ChangeSet &changes);

    const Store &store_;
    const Limits limits_;
    std::function<std::uint64_t()> now_;
    std::function<void(std::uint64_t)> revising_;
    const std::uint64_t first_revision_; // that this process went on from
    History history_;
    LockTable locks_;
    Statistics statistics_;
    std::unordered_map<ConnectionNumber, Session *> sessions_;
    std::vector<Session *> subscribers_; // sessions with subscriptions
    std::vector<PendingLayer> pending_;
    std::vector<Deferred> deferred_;
    std::vector<const LayerStore *> unsynced_; // with changes that the storage may not have
    FailureLog failures_;
};

} // namespace varnel::daemon
