// SPDX-License-Identifier: MIT
#pragma once

#include "conversation/socket.h"

#include <csignal>
#include <initializer_list>

namespace varnel::ctl {

// Keeps signals from being delivered; they can be read from a descriptor instead.
class Signals {
public:
    Signals(std::initializer_list<int> numbers);
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;
    ~Signals();

    [[nodiscard]] int descriptor() const { return fd_.get(); }       // readable when a signal has come
    [[nodiscard]] int take() const;                                  // its number; 0 when there is none
    [[nodiscard]] const sigset_t &before() const { return before_; } // the mask as it was

private:
    sigset_t before_ = {};
    Fd fd_;
};

} // namespace varnel::ctl
