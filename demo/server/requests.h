// SPDX-License-Identifier: MIT
#pragma once

#include "common/message.h"
#include "server/store.h"

namespace demo {

// The answer to a request, as common/message.h describes both. A request that misses parameters is a Failure.
Message answer(const Store &store, const Received &request);

} // namespace demo
