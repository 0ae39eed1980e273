// SPDX-License-Identifier: MIT
// Who gets one of the places for connections.
#pragma once

#include "daemon/lock_table.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/types.h>

namespace varnel::daemon {

// One process gets at most seven eighths of the places, and so do all processes of one user other than root and the
// daemon's own: a program that forgets its connections leaves room for others. The last eighth that is free is kept for
// root and the daemon's own user: others, and UDP peers, which anybody can pretend to be, get none of it. UDP peers get
// no more than a half.
class Places {
public:
    // The number of places, and the daemon's own user.
    Places(std::size_t places, uid_t own) : places_(places), own_(own) {}

    // Why a process on the UNIX socket gets no further place when so many are taken by connections of all kinds;
    // nothing when it does. A peer that is not known is nobody in particular.
    [[nodiscard]] std::optional<std::string> refusal(const std::optional<ucred> &peer, std::size_t taken) const;

    // The same for a UDP peer, when so many of them are there.
    [[nodiscard]] std::optional<std::string> refusal_of_datagrams(std::size_t datagrams, std::size_t taken) const;

    // Who has the place of a connection, as far as that is known.
    [[nodiscard]] std::optional<ucred> peer(ConnectionNumber connection) const;

    // Of processes.
    void take(ConnectionNumber connection, const std::optional<ucred> &peer);
    void give_back(ConnectionNumber connection);

private:
    [[nodiscard]] std::size_t share() const { return places_ - places_ / 8; }
    [[nodiscard]] bool is_bounded(uid_t user) const { return user != 0 && user != own_; }
    [[nodiscard]] std::string of_the_places() const { return " of the " + std::to_string(places_) + " places"; }
    [[nodiscard]] std::optional<std::string> refusal(std::size_t taken, bool bounded) const;

    const std::size_t places_;
    const uid_t own_;
    std::map<ConnectionNumber, ucred> peers_;
    std::map<pid_t, std::size_t> of_process_;
    std::map<uid_t, std::size_t> of_user_;
};

} // namespace varnel::daemon
