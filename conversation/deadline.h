// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <limits>
#include <optional>

namespace varnel::conversation {

using Milliseconds = std::chrono::milliseconds;

// A moment until which something may take, by the clock that nobody sets; or none.
class Deadline {
public:
    static Deadline never() { return Deadline(std::nullopt); }

    // Times of a century and more are never.
    static Deadline after(Milliseconds time) {
        constexpr auto kCentury = std::chrono::hours(24 * 36525);
        return time >= kCentury ? never() : Deadline(Clock::now() + std::max(time, Milliseconds(0)));
    }

    // For poll(2): whole milliseconds, rounded up; 0 once it has passed, -1 for never.
    [[nodiscard]] int poll_time() const {
        if (!moment_)
            return -1;
        const auto left = std::chrono::ceil<Milliseconds>(*moment_ - Clock::now()).count();
        constexpr auto kMost = std::numeric_limits<int>::max();
        return static_cast<int>(std::clamp<decltype(left)>(left, 0, kMost));
    }

    [[nodiscard]] bool passed() const { return poll_time() == 0; }

private:
    using Clock = std::chrono::steady_clock;
    explicit Deadline(std::optional<Clock::time_point> moment) : moment_(moment) {}
    std::optional<Clock::time_point> moment_;
};

} // namespace varnel::conversation
