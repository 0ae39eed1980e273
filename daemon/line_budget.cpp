// SPDX-License-Identifier: MIT
#include "daemon/line_budget.h"

#include "daemon/log.h"

namespace varnel::daemon {

bool LineBudget::allows(std::uint64_t now) {
    catch_up(now);
    if (lines_ == 0)
        began_ = now;
    return ++lines_ <= kMost;
}

void LineBudget::catch_up(std::uint64_t now) {
    if (now - began_ >= kLogInterval)
        finish();
}

void LineBudget::finish() {
    const std::uint64_t lines = std::exchange(lines_, 0);
    if (lines > kMost)
        log_info(subject_ + ": " + std::to_string(lines - kMost) + " more, which have not been logged");
}

} // namespace varnel::daemon
