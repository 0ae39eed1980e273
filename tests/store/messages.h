// SPDX-License-Identifier: MIT
// Requests in one line, and what an answer is made of.
#pragma once

#include "peer.h"

#include "common/records.h"
#include "common/value_text.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <utility>

namespace varnel::protocol {

// For messages of failed tests.
inline void PrintTo(Status status, std::ostream *out) {
    *out << status_name(static_cast<std::uint32_t>(status));
}

} // namespace varnel::protocol

namespace varnel::test {

// Text, std::uint32_t, std::uint64_t and Value become parameters.
template <class... Parameters> Message message(std::uint32_t code, Parameters &&...parameters) {
    Message made(code);
    (made.add(std::forward<Parameters>(parameters)), ...);
    return made;
}

// The types of all parameters, such as "uint32 string string".
inline std::string types_of(const Received &received) {
    std::string types;
    for (std::size_t i = 0; i < received.size(); ++i)
        types.append(types.empty() ? "" : " ").append(name_of_type(received.at(i).type));
    return types;
}

// All parameters from the first one on as texts, with spaces between them; an empty text is "-".
inline std::string texts_of(const Received &received, std::size_t first = 0) {
    std::string texts;
    for (std::size_t i = first; i < received.size(); ++i) {
        const std::string text = print_value(received.at(i));
        texts.append(i == first ? "" : " ").append(text.empty() ? "-" : text);
    }
    return texts;
}

constexpr std::uint32_t kNoFlags = 0;
constexpr std::uint32_t kInMemory = 0;
constexpr std::uint32_t kInFile = 1;
constexpr std::uint32_t kInFolder = 2;

constexpr std::uint32_t kBriefly = 50; // milliseconds to wait for a lock

inline Message set_message(const std::string &layer, const std::string &group, const std::string &name, Value value) {
    return message(control_set, layer, kInMemory, kNoFlags, group, name, std::move(value));
}

inline Message get_message(const std::string &layer, const std::string &group, const std::string &name) {
    return message(control_get, layer, group, name);
}

// A string value of so many bytes on the wire, its zero byte counted.
inline Value long_text(std::size_t bytes, char letter = 'x') {
    return make_string(std::string(bytes - 1, letter));
}

} // namespace varnel::test
