// SPDX-License-Identifier: MIT
// Who has how many of the places for connections over the UNIX socket.
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
// daemon's own: a program that forgets its connections leaves room for others, and a user who takes all he can get for
// root.
class Places {
public:
    // The number of places, and the daemon's own user.
    Places(std::size_t places, uid_t own) : places_(places), own_(own) {}

    // Why the peer gets no further place; nothing when it does. A peer that is not known is nobody in particular.
    [[nodiscard]] std::optional<std::string> refusal(const std::optional<ucred> &peer) const;

    void take(ConnectionNumber connection, const std::optional<ucred> &peer);
    void give_back(ConnectionNumber connection);

private:
    [[nodiscard]] std::size_t share() const { return places_ - places_ / 8; }
    [[nodiscard]] bool is_bounded(uid_t user) const { return user != 0 && user != own_; }

    const std::size_t places_;
    const uid_t own_;
    std::map<ConnectionNumber, ucred> peers_;
    std::map<pid_t, std::size_t> of_process_;
    std::map<uid_t, std::size_t> of_user_;
};

} // namespace varnel::daemon
