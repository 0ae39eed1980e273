// SPDX-License-Identifier: MIT
// The library's memory, from a cache of small blocks that each thread has.
#pragma once

namespace varnel::daemon {

// Gives the library functions that are compatible with malloc and free. To be called before anything else of it.
// Whether it did so: a build with the address sanitizer keeps malloc itself, whose blocks it watches.
bool use_fast_allocator();

} // namespace varnel::daemon
