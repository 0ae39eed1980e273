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

std::optional<std::string> Places::refusal(std::size_t taken, bool bounded) const {
    if (taken >= places_)
        return std::to_string(places_) + " connections are the limit";
    if (bounded && taken >= share())
        return "the last " + std::to_string(places_ - share()) + of_the_places() + " are kept for root and user " +
               std::to_string(own_);
    return std::nullopt;
}

std::optional<std::string> Places::refusal_of_datagrams(std::size_t datagrams, std::size_t taken) const {
    const std::size_t half = (places_ + 1) / 2;
    if (taken < places_ && datagrams >= half)
        return "UDP peers have " + std::to_string(half) + of_the_places();
    return refusal(taken, true);
}

std::optional<std::string> Places::refusal(const std::optional<ucred> &peer, std::size_t taken) const {
    if (!peer || taken >= places_)
        return refusal(taken, false);
    const std::string rest = " has " + std::to_string(share()) + of_the_places();
    const bool known = peer->pid != 0; // a process of another PID namespace is not
    if (known && count_of(of_process_, peer->pid) >= share())
        return "process " + std::to_string(peer->pid) + rest;
    if (is_bounded(peer->uid) && count_of(of_user_, peer->uid) >= share())
        return "user " + std::to_string(peer->uid) + rest;
    return refusal(taken, is_bounded(peer->uid));
}

std::optional<ucred> Places::peer(ConnectionNumber connection) const {
    const auto found = peers_.find(connection);
    return found != peers_.end() ? std::optional(found->second) : std::nullopt;
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
