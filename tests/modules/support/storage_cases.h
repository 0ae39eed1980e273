// SPDX-License-Identifier: MIT
// The modules that the shared suite runs against, and what each of them can do.
#pragma once

#include "support/storage.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace varnel::test {

struct ModuleCase {
    const char *module;
    bool writable;  // otherwise its values come from elsewhere, and it answers -EROFS
    int durability; // the class that it reaches when the highest is wanted

    // Its settings; what they name lies in the folder. With the sample in it, if it is not writable.
    Settings (*settings)(const TemporaryFolder &folder);
};

void PrintTo(const ModuleCase &module, std::ostream *out);

std::vector<ModuleCase> all_modules();
std::vector<ModuleCase> writable_modules();
std::vector<ModuleCase> read_only_modules();

std::string name_of(const testing::TestParamInfo<ModuleCase> &module);

// What "the sample" is, as listed in the layer "user".
std::vector<std::string> sample_listing();

// Puts it into a writable store.
void fill_with_sample(const Store &store);

} // namespace varnel::test
