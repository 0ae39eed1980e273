// SPDX-License-Identifier: MIT
#include "daemon/places.h"

namespace varnel::daemon {

namespace {

template <class Key> std::size_t count_of(const std::map<Key, std::size_t> &counts, Key key) {
    const auto found = counts.find(key);
    return found != counts.end() ? found->second : 0;
}

template <class Key> void uncount(std::map<Key, std::size_t> &counts, Key key) {
    const auto found = counts.find(key);
    if (found != counts.end() && --found->second == 0)
        counts.erase(found);
}

} // namespace

std::optional<std::string> Places::refusal(const std::optional<ucred> &peer) const {
    if (!peer)
        return std::nullopt;
    const std::string rest = " has " + std::to_string(share()) + " of the " + std::to_string(places_) + " places";
    const bool known = peer->pid != 0; // a process of another PID namespace is not
    if (known && count_of(of_process_, peer->pid) >= share())
        return "process " + std::to_string(peer->pid) + rest;
    if (is_bounded(peer->uid) && count_of(of_user_, peer->uid) >= share())
        return "user " + std::to_string(peer->uid) + rest;
    return std::nullopt;
}

void Places::take(ConnectionNumber connection, const std::optional<ucred> &peer) {
    if (!peer || !peers_.emplace(connection, *peer).second)
        return;
    ++of_process_[peer->pid];
    ++of_user_[peer->uid];
}

void Places::give_back(ConnectionNumber connection) {
    const auto found = peers_.find(connection);
    if (found == peers_.end())
        return;
    uncount(of_process_, found->second.pid);
    uncount(of_user_, found->second.uid);
    peers_.erase(found);
}

} // namespace varnel::daemon
