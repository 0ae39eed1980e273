// SPDX-License-Identifier: MIT
// When a turn of the loop ends.
#pragma once

#include <cstdint>
#include <utility>

namespace varnel::daemon {

// Clients that are answered together ask again together: one sync of the storage, and one time that they are woken, for
// all of them. So when a turn has brought several requests, the sockets are looked at again before any is answered, for
// as long as more arrive. A request alone is answered at once.
class Gathering {
public:
    // Times that the sockets are looked at again, at most: clients that never stop asking are answered, too.
    static constexpr int kMost = 4;

    // Whether the turn goes on; requests is how many have been handled since the beginning.
    [[nodiscard]] bool goes_on(std::uint64_t requests) {
        const bool arrived = std::exchange(before_, requests) != requests;
        if (arrived && requests - answered_ > 1 && again_ < kMost) {
            ++again_;
            return true;
        }
        again_ = 0;
        answered_ = requests;
        return false;
    }

private:
    std::uint64_t before_ = 0;   // requests when it was asked last
    std::uint64_t answered_ = 0; // requests at the end of the last turn
    int again_ = 0;
};

} // namespace varnel::daemon
