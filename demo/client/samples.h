// SPDX-License-Identifier: MIT
// The values that the demo stores.
#pragma once

#include "common/message.h"

#include <functional>
#include <string>
#include <vector>

namespace demo {

struct Sample {
    std::string name;
    std::function<Value()> make; // a new one every time
};

Sample text_sample(const std::string &name, const std::string &text);

// Ascending by name; every type at least once, at the ends of its range.
std::vector<Sample> samples_of_all_types();

// Ascending by name; together more than 100 packets in one message.
std::vector<Sample> long_samples();

} // namespace demo
