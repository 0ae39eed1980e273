// SPDX-License-Identifier: MIT
// What the command line's parser cannot take as people write it.
#pragma once

#include <string>
#include <vector>

namespace varnel::ctl {

struct Arguments {
    std::vector<std::string> options; // for the parser, the program's name not among them
    std::vector<std::string> words;   // lock: the command behind "--"
};

// Takes lock's command out, and moves a negative number that set is given behind a "--": it is no option.
Arguments prepare_arguments(int argc, const char *const *argv);

} // namespace varnel::ctl
