// SPDX-License-Identifier: MIT
// What has happened to the store, numbered, and what of it is remembered.
#pragma once

#include "common/records.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace varnel::daemon {

struct Event {
    std::uint64_t revision;
    std::uint32_t flags; // protocol::EventFlag
    std::string layer;
    std::string group;
    std::string name;
    SharedValue old_value; // nullptr: none
    SharedValue new_value;

    [[nodiscard]] std::size_t bytes() const; // about what it takes in a message
};
using EventRef = std::shared_ptr<const Event>;

// A layer, a group in it, or a value in that.
struct Scope {
    std::string layer;
    std::string group; // empty: the whole layer
    std::string name;  // empty: the whole group

    bool operator==(const Scope &) const = default;
    [[nodiscard]] bool includes(const Event &event) const;
    [[nodiscard]] bool conflicts(const Scope &other) const; // the same, or one includes the other
};

class History {
public:
    History(std::uint64_t revision, std::size_t most_events, std::size_t most_bytes)
        : revision_(revision), forgotten_(revision), most_events_(most_events), most_bytes_(most_bytes) {}

    // Gives the event the next revision and remembers it; the oldest ones are forgotten past the bounds.
    EventRef add(Event event);

    // Remembers nothing of what has been up to a revision, which is the present one or the next: that of an event for
    // which there was no memory.
    void forget_all(std::uint64_t revision) noexcept;

    [[nodiscard]] std::uint64_t revision() const { return revision_; }

    // Whether everything after revision from is remembered. False, too, for a revision that has not been.
    [[nodiscard]] bool remembers(std::uint64_t from) const { return from >= forgotten_ && from <= revision_; }

    // The remembered events after revision from, in order; visit ends it with false.
    void replay(std::uint64_t from, const std::function<bool(const EventRef &)> &visit) const;

private:
    std::uint64_t revision_;
    std::uint64_t forgotten_; // the latest revision that is not remembered
    std::size_t most_events_;
    std::size_t most_bytes_;
    std::size_t bytes_ = 0;
    std::deque<EventRef> events_;
};

} // namespace varnel::daemon
