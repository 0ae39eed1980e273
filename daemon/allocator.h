// SPDX-License-Identifier: MIT
// Small blocks for the library, faster than the C library hands them out: calloc and realloc of glibc pass by the cache
// of free blocks that every thread has, and a request takes a dozen of them.
#pragma once

namespace varnel::daemon {

// Gives the library functions that are compatible with malloc and free. To be called before anything else of it.
void use_fast_allocator();

} // namespace varnel::daemon
