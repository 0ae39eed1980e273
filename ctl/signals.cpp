// SPDX-License-Identifier: MIT
#include "ctl/signals.h"

#include "ctl/failure.h"

#include <sys/signalfd.h>
#include <unistd.h>

namespace varnel::ctl {

Signals::Signals(std::initializer_list<int> numbers) {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : numbers)
        sigaddset(&set, number);
    fd_ = Fd(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (fd_.get() < 0 || sigprocmask(SIG_BLOCK, &set, &before_) != 0)
        throw Failure(kRefused, "cannot wait for signals");
}

Signals::~Signals() {
    while (take() != 0) {
        // one that has been acted upon without taking it would end the process now
    }
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

int Signals::take() const {
    signalfd_siginfo info = {};
    return read(fd_.get(), &info, sizeof info) == sizeof info ? static_cast<int>(info.ssi_signo) : 0;
}

} // namespace varnel::ctl
