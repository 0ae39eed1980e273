// SPDX-License-Identifier: MIT
// Unsigned remainders on processors that have no instruction for them.
#pragma once

#include <stdint.h>

namespace varnel {

// value % divisor, by subtraction of the divisor's multiples by powers of two. divisor is not 0.
constexpr uint32_t subtracted_remainder(uint32_t value, uint32_t divisor) {
    if (value < divisor)
        return value;
    for (uint32_t step = divisor << (__builtin_clz(divisor) - __builtin_clz(value));; step >>= 1) {
        if (value >= step)
            value -= step;
        if (step == divisor)
            return value;
    }
}

// value % divisor. Of ARM processors, many have no instruction for it; the function that compilers call then is fast,
// but would be a fortieth of the library: where size counts, a loop takes its place.
constexpr uint32_t remainder(uint32_t value, uint32_t divisor) {
#if defined(__OPTIMIZE_SIZE__) && defined(__arm__) && !defined(__ARM_FEATURE_IDIV)
    return subtracted_remainder(value, divisor);
#else
    return value % divisor;
#endif
}

} // namespace varnel
