// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace varnel::ctl {

struct FlagWord {
    std::uint32_t flag;
    const char *word;
};

// The words of the flags that are set, with commas between them, in the order of the table.
template <std::size_t n> std::string words_of_flags(std::uint32_t flags, const FlagWord (&table)[n]) {
    std::string words;
    for (const FlagWord &row : table) {
        if ((flags & row.flag) != 0)
            words += (words.empty() ? "" : ", ") + std::string(row.word);
    }
    return words;
}

} // namespace varnel::ctl
