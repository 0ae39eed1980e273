// SPDX-License-Identifier: MIT
// A load of random changes on the module, recorded, with what it answered.
#pragma once

#include "powercut/disk.h"
#include "sqlite/sqlite_storage.h"

#include <cstddef>
#include <string>
#include <vector>

namespace varnel::test {

// What one module_sync, or closing the store, had to write.
struct Batch {
    Content content;   // of the store at its beginning
    std::size_t begin; // number of events before it
    std::size_t end;   // and with it
    int result;
};

struct Recording {
    std::string folder;
    std::vector<Event> events;
    std::vector<Batch> batches; // the first one stands for the empty store
};

// Opens the store several times. Files are made and removed, and the log is emptied several times meanwhile.
Recording run_load(const Settings &settings, unsigned seed);

} // namespace varnel::test
