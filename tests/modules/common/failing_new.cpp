// SPDX-License-Identifier: MIT
#include "common/failing_new.h"

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

namespace varnel::test {

namespace {

constexpr int kNoEnd = std::numeric_limits<int>::max();

int successes_left = kNoEnd;

void *allocate(std::size_t size) {
    if (successes_left == 0)
        throw std::bad_alloc();
    if (successes_left != kNoEnd)
        --successes_left;
    void *const block = std::malloc(size != 0 ? size : 1);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

} // namespace

FailingNew::FailingNew(int successes) {
    successes_left = successes;
}

FailingNew::~FailingNew() {
    successes_left = kNoEnd;
}

} // namespace varnel::test

void *operator new(std::size_t size) {
    return varnel::test::allocate(size);
}

void operator delete(void *block) noexcept {
    std::free(block);
}

void operator delete(void *block, std::size_t) noexcept {
    std::free(block);
}
