// SPDX-License-Identifier: MIT
#include "ctl/output.h"

#include "common/text.h"
#include "ctl/failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <unistd.h>

namespace varnel::ctl {

namespace {

constexpr int kIndent = 2;

[[noreturn]] void fail_to_write() {
    const int number = errno;
    if (number == EPIPE)
        throw BrokenPipe();
    throw Failure(kRefused, "cannot write the output: " + std::generic_category().message(number));
}

std::string dumped(const Json &json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

} // namespace

void print(const std::string &text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        fail_to_write();
}

void print_line(const std::string &text) {
    print(text + '\n');
}

void print_json(const Json &json) {
    print_line(dumped(json, kIndent));
}

void print_json_line(const Json &json) {
    print_line(dumped(json, -1));
}

void flush_output() {
    if (std::fflush(stdout) != 0)
        fail_to_write();
}

bool output_is_terminal() {
    return isatty(STDOUT_FILENO) == 1;
}

// Backslashes alone are no reason to write a text in another way.
std::string shown(std::string_view text) {
    std::string others(text);
    others.erase(std::remove(others.begin(), others.end(), '\\'), others.end());
    return output_is_terminal() && escaped(others) != others ? escaped(text) : std::string(text);
}

void complain(const std::string &message) {
    std::string text = "varnelctl: ";
    std::size_t start = 0;
    for (std::size_t end = message.find('\n'); end != std::string::npos; end = message.find('\n', start)) {
        text += escaped(std::string_view(message).substr(start, end - start)) + '\n';
        start = end + 1;
    }
    text += escaped(std::string_view(message).substr(start)) + '\n';
    std::fputs(text.c_str(), stderr);
}

} // namespace varnel::ctl
