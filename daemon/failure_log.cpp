// SPDX-License-Identifier: MIT
#include "daemon/failure_log.h"

#include "daemon/log.h"

#include <algorithm>
#include <utility>

namespace varnel::daemon {

void FailureLog::tell_failure(const std::string &name, Subject &subject, std::uint64_t now) {
    Kind &kind = subject.kinds[subject.last];
    const std::uint64_t others = std::exchange(kind.not_logged, 0);
    kind.logged_at = now;
    subject.told = true;
    log_error(name + " " + subject.last +
              (others != 0 ? " (" + std::to_string(others + 1) + " times since the last line)" : "") +
              (subject.comes_and_goes ? "; it comes and goes, and is told again in a minute" : ""));
}

void FailureLog::tell_recovery(const std::string &name, Subject &subject) {
    std::uint64_t others = 0;
    for (auto &[what, kind] : subject.kinds)
        others += std::exchange(kind.not_logged, 0);
    subject.told = false;
    log_info(name + " " + subject.last +
             (others != 0 ? " (" + std::to_string(others) + " failures have not been logged)" : ""));
}

void FailureLog::failed(const std::string &subject, const std::string &what, std::uint64_t now) {
    Subject &it = subjects_[subject];
    it.last = what;
    it.fails = true;
    const auto [kind, is_new] = it.kinds.try_emplace(what, Kind{now});
    if (catch_up(subject, it, now))
        return;
    const bool is_due = is_new || now - kind->second.logged_at >= kLogInterval;
    if (!is_due && it.told) {
        ++kind->second.not_logged;
        return;
    }
    if (!is_due) { // after a line that it works
        it.comes_and_goes = true;
        it.left_alone_at = now;
    }
    tell_failure(subject, it, now);
}

void FailureLog::recovered(const std::string &subject, const std::string &what, std::uint64_t now) {
    const auto found = subjects_.find(subject);
    if (found == subjects_.end())
        return;
    Subject &it = found->second;
    it.last = what;
    it.fails = false;
    if (!catch_up(subject, it, now) && it.told && !it.comes_and_goes)
        tell_recovery(subject, it);
}

bool FailureLog::catch_up(const std::string &name, Subject &subject, std::uint64_t now) {
    if (!subject.comes_and_goes || now - subject.left_alone_at < kLogInterval)
        return false;
    subject.comes_and_goes = false;
    if (subject.fails)
        tell_failure(name, subject, now);
    else
        tell_recovery(name, subject);
    return true;
}

void FailureLog::catch_up(std::uint64_t now) {
    for (auto &[name, subject] : subjects_)
        catch_up(name, subject, now);
}

bool FailureLog::has_failures() const {
    return std::any_of(subjects_.begin(), subjects_.end(),
                       [](const auto &entry) { return entry.second.fails || entry.second.told; });
}

} // namespace varnel::daemon
