// SPDX-License-Identifier: MIT
// Advisory locks on groups and values, held by connections, with waiting in the order of arrival.
#pragma once

#include "daemon/event.h"

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace varnel::daemon {

using ConnectionNumber = std::uint64_t;

// A lock that has been waited for: whose request it answers, and whether it was to be had.
struct Waited {
    ConnectionNumber connection;
    std::uint32_t request;
    std::string layer;
    bool granted;
};

class LockTable {
public:
    // True when the connection has the lock now, as before or newly. Scopes name a group or a value.
    bool try_lock(ConnectionNumber connection, const Scope &scope);

    // Puts a request that try_lock refused into the queue until deadline (milliseconds of the daemon's clock).
    void wait(ConnectionNumber connection, std::uint32_t request, const Scope &scope, std::uint64_t deadline);

    // Gives up what is held or awaited; the waits that end with it and those that are granted are added to *done. False
    // when there was neither.
    bool unlock(ConnectionNumber connection, const Scope &scope, std::vector<Waited> *done);

    // Everything of a connection that has gone.
    void forget(ConnectionNumber connection, std::vector<Waited> *done);

    // The waits whose time is over.
    void expire(std::uint64_t now, std::vector<Waited> *done);

    // When the next wait is over.
    [[nodiscard]] std::optional<std::uint64_t> next_deadline() const;

    // The connection other than except that holds a lock which conflicts with scope.
    [[nodiscard]] std::optional<ConnectionNumber> holder(const Scope &scope, ConnectionNumber except = 0) const;

    // Whether the connection holds a lock on just this.
    [[nodiscard]] bool holds(ConnectionNumber connection, const Scope &scope) const;

    // Locks that the connection holds or waits for.
    [[nodiscard]] std::size_t count(ConnectionNumber connection) const;

private:
    struct Held {
        ConnectionNumber connection;
        Scope scope;
    };
    struct Waiter {
        ConnectionNumber connection;
        std::uint32_t request;
        Scope scope;
        std::uint64_t deadline;
    };
    using GroupKey = std::pair<std::string, std::string>; // layer and group: locks conflict within one only
    static GroupKey group_of(const Scope &scope) { return {scope.layer, scope.group}; }

    // Whether a lock that the connection holds conflicts with scope.
    [[nodiscard]] bool keeps_waiting(ConnectionNumber connection, const Scope &scope) const;
    [[nodiscard]] bool awaited_before(const Scope &scope, std::list<Waiter>::const_iterator end,
                                      ConnectionNumber connection) const;
    void add(ConnectionNumber connection, const Scope &scope);
    void uncount(ConnectionNumber connection);
    void remove_held(std::map<GroupKey, std::vector<Held>>::iterator group, std::vector<Held>::iterator held);
    void grant(const std::set<GroupKey> &groups, std::vector<Waited> *done);

    std::map<GroupKey, std::vector<Held>> held_;
    std::list<Waiter> waiters_; // in the order of arrival
    std::map<ConnectionNumber, std::size_t> counts_;
};

} // namespace varnel::daemon
