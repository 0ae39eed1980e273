// SPDX-License-Identifier: MIT
// The load: connections driven by one thread, each with one request at a time.
#pragma once

#include "bench/store/talk.h"

#include <chrono>
#include <cstddef>

namespace varnel::bench {

using Seconds = std::chrono::duration<double>;

struct Measurement {
    double per_second = 0;
    double p50_us = 0; // of a request's time, from before it is written until its answer has been checked
    double p99_us = 0;
    double client_us = 0; // processor time for a request, here and
    double server_us = 0; // in the process that listens on the socket
};

// Asks for as long as it says, after a fifth of that which is not counted.
Measurement run_load(Talk &talk, std::size_t connections, Seconds duration);

// Asks so many times, one after the other.
void run_requests(Talk &talk, std::size_t count);

} // namespace varnel::bench
