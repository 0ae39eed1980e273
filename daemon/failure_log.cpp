// SPDX-License-Identifier: MIT
#include "daemon/failure_log.h"

#include "daemon/log.h"

#include <utility>

namespace varnel::daemon {

namespace {

constexpr std::uint64_t kInterval = 60000; // milliseconds

} // namespace

void FailureLog::failed(const std::string &subject, const std::string &what, std::uint64_t now) {
    const auto [entry, first] = kinds_[subject].try_emplace(what, Kind{now});
    Kind &kind = entry->second;
    if (!first && now - kind.logged_at < kInterval) {
        ++kind.not_logged;
        return;
    }
    kind.logged_at = now;
    const std::uint64_t others = std::exchange(kind.not_logged, 0);
    log_error(subject + " " + what +
              (others != 0 ? " (" + std::to_string(others + 1) + " times since the last line)" : ""));
    failing_.insert(subject);
}

void FailureLog::recovered(const std::string &subject, const std::string &what) {
    if (failing_.erase(subject) == 0)
        return;
    std::uint64_t others = 0;
    for (auto &[text, kind] : kinds_[subject])
        others += std::exchange(kind.not_logged, 0);
    log_info(subject + " " + what +
             (others != 0 ? " (" + std::to_string(others) + " failures have not been logged)" : ""));
}

} // namespace varnel::daemon
