// SPDX-License-Identifier: MIT
#include "daemon/block_cache.h"

#include <cstdlib>
#include <malloc.h>
#include <new>
#include <utility>

namespace varnel::daemon {

BlockCache::~BlockCache() {
    for (Free *&list : lists_) {
        while (list != nullptr)
            std::free(std::exchange(list, list->next));
    }
}

void *BlockCache::take(std::size_t size) {
    if (size > kLargestBlock)
        return std::malloc(size);
    const std::size_t step = size == 0 ? 1 : (size + kStep - 1) / kStep;
    Free *const block = lists_[step];
    if (block == nullptr)
        return std::malloc(step * kStep);
    lists_[step] = block->next;
    bytes_ -= step * kStep;
    return block;
}

void BlockCache::give(void *block) {
    const std::size_t size = malloc_usable_size(block); // 0 for nullptr
    const std::size_t step = size / kStep;
    if (step == 0 || step >= lists_.size() || bytes_ + step * kStep > kMostBytes)
        return std::free(block);
    bytes_ += step * kStep;
    lists_[step] = new (block) Free{lists_[step]};
}

} // namespace varnel::daemon
