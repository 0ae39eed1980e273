// SPDX-License-Identifier: MIT
#include "daemon/lock_table.h"

#include <algorithm>

namespace varnel::daemon {

bool LockTable::keeps_waiting(ConnectionNumber connection, const Scope &scope) const {
    const auto group = held_.find(group_of(scope));
    return group != held_.end() && std::any_of(group->second.begin(), group->second.end(), [&](const Held &held) {
               return held.connection == connection && held.scope.conflicts(scope);
           });
}

// Those who wait for the connection itself do not count: they would wait for it, and it for them.
bool LockTable::awaited_before(const Scope &scope, std::list<Waiter>::const_iterator end,
                               ConnectionNumber connection) const {
    return std::any_of(waiters_.begin(), end, [&](const Waiter &waiter) {
        return waiter.connection != connection && waiter.scope.conflicts(scope) &&
               !keeps_waiting(connection, waiter.scope);
    });
}

std::optional<ConnectionNumber> LockTable::holder(const Scope &scope, ConnectionNumber except) const {
    const auto group = held_.find(group_of(scope));
    if (group == held_.end())
        return std::nullopt;
    const auto found = std::find_if(group->second.begin(), group->second.end(), [&](const Held &held) {
        return held.connection != except && held.scope.conflicts(scope);
    });
    return found != group->second.end() ? std::optional(found->connection) : std::nullopt;
}

void LockTable::add(ConnectionNumber connection, const Scope &scope) {
    held_[group_of(scope)].push_back({connection, scope});
    ++counts_[connection];
}

void LockTable::uncount(ConnectionNumber connection) {
    const auto counted = counts_.find(connection);
    if (--counted->second == 0)
        counts_.erase(counted);
}

bool LockTable::holds(ConnectionNumber connection, const Scope &scope) const {
    const auto group = held_.find(group_of(scope));
    return group != held_.end() && std::any_of(group->second.begin(), group->second.end(), [&](const Held &held) {
               return held.connection == connection && held.scope == scope;
           });
}

bool LockTable::try_lock(ConnectionNumber connection, const Scope &scope) {
    if (holds(connection, scope))
        return true;
    if (holder(scope, connection) || awaited_before(scope, waiters_.end(), connection))
        return false;
    add(connection, scope);
    return true;
}

void LockTable::wait(ConnectionNumber connection, std::uint32_t request, const Scope &scope, std::uint64_t deadline) {
    waiters_.push_back({connection, request, scope, deadline});
    ++counts_[connection];
}

// Hands out what has become free in these groups. A waiter passes those before it only where they do not conflict.
void LockTable::grant(const std::set<GroupKey> &groups, std::vector<Waited> *done) {
    for (auto waiter = waiters_.begin(); waiter != waiters_.end();) {
        if (!groups.contains(group_of(waiter->scope)) || holder(waiter->scope, waiter->connection) ||
            awaited_before(waiter->scope, waiter, waiter->connection)) {
            ++waiter;
            continue;
        }
        done->push_back({waiter->connection, waiter->request, waiter->scope.layer, true});
        uncount(waiter->connection);
        if (!holds(waiter->connection, waiter->scope))
            add(waiter->connection, waiter->scope);
        waiter = waiters_.erase(waiter);
    }
}

void LockTable::remove_held(std::map<GroupKey, std::vector<Held>>::iterator group, std::vector<Held>::iterator held) {
    uncount(held->connection);
    group->second.erase(held);
    if (group->second.empty())
        held_.erase(group);
}

bool LockTable::unlock(ConnectionNumber connection, const Scope &scope, std::vector<Waited> *done) {
    bool found = false;
    for (auto waiter = waiters_.begin(); waiter != waiters_.end();) {
        const bool mine = waiter->connection == connection && waiter->scope == scope;
        found = found || mine;
        if (!mine) {
            ++waiter;
            continue;
        }
        done->push_back({connection, waiter->request, waiter->scope.layer, false});
        uncount(connection);
        waiter = waiters_.erase(waiter);
    }
    if (const auto group = held_.find(group_of(scope)); group != held_.end()) {
        const auto held = std::find_if(group->second.begin(), group->second.end(),
                                       [&](const Held &h) { return h.connection == connection && h.scope == scope; });
        found = found || held != group->second.end();
        if (held != group->second.end())
            remove_held(group, held);
    }
    grant({group_of(scope)}, done);
    return found;
}

void LockTable::forget(ConnectionNumber connection, std::vector<Waited> *done) {
    if (counts_.erase(connection) == 0)
        return;
    std::set<GroupKey> groups;
    std::erase_if(waiters_, [&](const Waiter &waiter) {
        if (waiter.connection == connection)
            groups.insert(group_of(waiter.scope));
        return waiter.connection == connection;
    });
    for (auto &[key, group] : held_) {
        if (std::erase_if(group, [connection](const Held &held) { return held.connection == connection; }) != 0)
            groups.insert(key);
    }
    std::erase_if(held_, [](const auto &group) { return group.second.empty(); });
    grant(groups, done);
}

void LockTable::expire(std::uint64_t now, std::vector<Waited> *done) {
    std::set<GroupKey> groups;
    for (auto waiter = waiters_.begin(); waiter != waiters_.end();) {
        if (waiter->deadline > now) {
            ++waiter;
            continue;
        }
        done->push_back({waiter->connection, waiter->request, waiter->scope.layer, false});
        uncount(waiter->connection);
        groups.insert(group_of(waiter->scope));
        waiter = waiters_.erase(waiter);
    }
    grant(groups, done); // who waited behind them may be next
}

std::optional<std::uint64_t> LockTable::next_deadline() const {
    const auto first = std::min_element(waiters_.begin(), waiters_.end(),
                                        [](const Waiter &a, const Waiter &b) { return a.deadline < b.deadline; });
    return first != waiters_.end() ? std::optional(first->deadline) : std::nullopt;
}

std::size_t LockTable::count(ConnectionNumber connection) const {
    const auto found = counts_.find(connection);
    return found != counts_.end() ? found->second : 0;
}

} // namespace varnel::daemon
