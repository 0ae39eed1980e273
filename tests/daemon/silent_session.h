// SPDX-License-Identifier: MIT
// A client that is told nothing.
#pragma once

#include "daemon/session.h"

class SilentSession final : public varnel::daemon::Session {
public:
    SilentSession() : Session(1, "connection 1") {}
    void answer(std::uint32_t, const varnel::protocol::Message &) override {}
    void wake() override {}
};
