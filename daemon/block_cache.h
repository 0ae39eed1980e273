// SPDX-License-Identifier: MIT
// Small blocks of malloc that have been released, for those who ask next. A request takes and releases a dozen; C
// libraries need a hundred instructions or a lock for each.
#pragma once

#include <array>
#include <cstddef>

namespace varnel::daemon {

// One thread at a time.
class BlockCache {
public:
    static constexpr std::size_t kLargestBlock = 1024;
    static constexpr std::size_t kMostBytes = 65536; // of the blocks that are kept

    BlockCache() = default;
    BlockCache(const BlockCache &) = delete;
    BlockCache &operator=(const BlockCache &) = delete;
    ~BlockCache();

    // At least size bytes, from malloc when none are here; nullptr when memory is short.
    void *take(std::size_t size);

    // Releases a block of malloc, or of take, from whichever thread it is.
    void give(void *block);

    // Bytes of the blocks that are kept, in steps.
    [[nodiscard]] std::size_t bytes() const { return bytes_; }

private:
    static constexpr std::size_t kStep = 16;

    // The beginning of a block that is kept.
    struct Free {
        Free *next;
    };

    std::array<Free *, kLargestBlock / kStep + 1> lists_{}; // by the size that every block of the list has at least
    std::size_t bytes_ = 0;
};

} // namespace varnel::daemon
