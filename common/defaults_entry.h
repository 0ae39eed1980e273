// SPDX-License-Identifier: MIT
// One setting of a file of factory defaults: name = value, or name:type = value.
#pragma once

#include "common/records.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace varnel {

struct DefaultsEntry {
    std::string name;
    Value value; // nullptr: the entry is wrong, and the rest tells how

    enum class Part { name, type, value };
    Part wrong_part = Part::name;
    std::size_t offset = 0; // of a wrong type in the key
    std::string message;
    std::string expected;
};

// The type behind the last colon of the key, or the one that the text looks like (common/value_text.h).
DefaultsEntry read_defaults_entry(std::string_view key, std::string_view text);

} // namespace varnel
