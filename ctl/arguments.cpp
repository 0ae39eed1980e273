// SPDX-License-Identifier: MIT
#include "ctl/arguments.h"

#include <algorithm>
#include <array>
#include <strings.h>

namespace varnel::ctl {

namespace {

using Words = std::vector<std::string>;

bool takes_value(const std::string &word) {
    constexpr std::array kOptions = {"--socket", "--udp", "--timeout"};
    return std::find(kOptions.begin(), kOptions.end(), word) != kOptions.end();
}

// The command: the first word that is neither an option nor the value of one.
std::string command_of(const Words &words) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (takes_value(words[i]))
            ++i;
        else if (words[i].empty() || words[i].front() != '-')
            return words[i];
    }
    return "";
}

bool is_negative_number(const std::string &word) {
    if (word.size() < 2 || word.front() != '-')
        return false;
    const bool number = (word[1] >= '0' && word[1] <= '9') || word[1] == '.';
    return number || strncasecmp(word.c_str(), "-inf", 4) == 0 || strncasecmp(word.c_str(), "-nan", 4) == 0;
}

void move_negative_number(Words &words) {
    const auto end = std::find(words.begin(), words.end(), "--");
    const auto number = std::find_if(words.begin(), end, is_negative_number);
    if (number == end)
        return;
    const std::string value = *number;
    words.erase(number);
    if (std::find(words.begin(), words.end(), "--") == words.end())
        words.emplace_back("--");
    words.push_back(value);
}

} // namespace

Arguments prepare_arguments(int argc, const char *const *argv) {
    Arguments arguments;
    Words &options = arguments.options;
    options.assign(argv + std::min(argc, 1), argv + argc);
    const std::string command = command_of(options);
    if (command == "set")
        move_negative_number(options);
    if (command == "lock") {
        const auto end = std::find(options.begin(), options.end(), "--");
        if (end != options.end())
            arguments.words.assign(end + 1, options.end());
        options.erase(end, options.end());
    }
    return arguments;
}

} // namespace varnel::ctl
