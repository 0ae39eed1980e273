// SPDX-License-Identifier: MIT
#include "daemon/event.h"

#include "protocol/message.h"

#include <algorithm>
#include <utility>

namespace varnel::daemon {

namespace {

constexpr std::size_t kEventOverhead = 64;

std::size_t size_of(const SharedValue &value) {
    return value != nullptr ? protocol::encoded_size(*value) : 0;
}

} // namespace

std::size_t Event::bytes() const {
    return kEventOverhead + layer.size() + group.size() + name.size() + size_of(old_value) + size_of(new_value);
}

bool Scope::includes(const Event &event) const {
    return event.layer == layer && (group.empty() || (event.group == group && (name.empty() || event.name == name)));
}

bool Scope::conflicts(const Scope &other) const {
    return layer == other.layer && group == other.group && (name.empty() || other.name.empty() || name == other.name);
}

EventRef History::add(Event event) {
    event.revision = ++revision_;
    auto added = std::make_shared<const Event>(std::move(event));
    events_.push_back(added);
    bytes_ += added->bytes();
    while (events_.size() > most_events_ || bytes_ > most_bytes_) {
        forgotten_ = events_.front()->revision;
        bytes_ -= events_.front()->bytes();
        events_.pop_front();
    }
    return added;
}

void History::forget_all(std::uint64_t revision) noexcept {
    events_.clear();
    bytes_ = 0;
    forgotten_ = revision_ = revision;
}

void History::replay(std::uint64_t from, const std::function<bool(const EventRef &)> &visit) const {
    auto event = std::upper_bound(events_.begin(), events_.end(), from,
                                  [](std::uint64_t revision, const EventRef &e) { return revision < e->revision; });
    while (event != events_.end() && visit(*event))
        ++event;
}

} // namespace varnel::daemon
