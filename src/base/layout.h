// SPDX-License-Identifier: MIT
// Compile-time checks of record layouts on the 32-bit device, whose programs know them.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace varnel {

inline constexpr bool kIlp32 = sizeof(void *) == 4;

// 64-bit members lie at multiples of this: 4 on i386, 8 on ARM.
struct AlignmentProbe {
    char first;
    uint64_t second;
};
inline constexpr size_t kAlign64 = offsetof(AlignmentProbe, second);

} // namespace varnel

// offset is that of 32-bit targets; nothing is checked elsewhere.
#define VARNEL_OFFSET32(record, field, offset)                                                                         \
    static_assert(!varnel::kIlp32 || offsetof(record, field) == (offset), #record "." #field)
#define VARNEL_SIZE32(record, size) static_assert(!varnel::kIlp32 || sizeof(record) == (size), #record)
