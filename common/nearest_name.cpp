// SPDX-License-Identifier: MIT
#include "common/nearest_name.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace varnel {

// Row by row: row[j] is the distance of the letters of a so far to the first j of b.
std::size_t edit_distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char letter : a) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (letter == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string nearest_name(std::string_view name, const std::vector<std::string> &known) {
    std::string nearest;
    std::size_t least = (name.size() + 1) / 2;
    for (const std::string &candidate : known) {
        const std::size_t distance = edit_distance(name, candidate);
        if (distance >= least)
            continue;
        least = distance;
        nearest = candidate;
    }
    return nearest;
}

std::string expected_names(std::string_view name, const std::vector<std::string> &known) {
    std::string text = nearest_name(name, known);
    if (!text.empty())
        return text;
    for (const std::string &candidate : known)
        text += (text.empty() ? "" : ", ") + candidate;
    return text;
}

} // namespace varnel
