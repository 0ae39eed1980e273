// SPDX-License-Identifier: MIT
// What a mistyped name was probably meant to be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varnel {

// Fewest letters to insert, remove or replace to turn one text into the other.
std::size_t edit_distance(std::string_view a, std::string_view b);

// The known name that is nearest to name, when less than half of its letters differ; otherwise empty.
std::string nearest_name(std::string_view name, const std::vector<std::string> &known);

// The nearest name, or a list of all: what to expect in the place of name.
std::string expected_names(std::string_view name, const std::vector<std::string> &known);

} // namespace varnel
