// SPDX-License-Identifier: MIT
// Control messages: one being made, one that has arrived.
#pragma once

#include "common/records.h"

#include <varnel/serialize.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::protocol {

using Bytes = std::vector<std::uint8_t>;

// A message that cannot be read, or a parameter that is not there or has another type.
class Malformed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A message being made. A small one takes a single block of memory: an answer is made for every request.
class Message {
public:
    explicit Message(std::uint32_t code);

    // At most 4096 parameters, and strings of at most 65535 bytes with their zero byte: what is over it is
    // std::length_error. A nullptr and a string without its zero byte are std::invalid_argument.
    Message &add(Value value);
    Message &add(std::string_view text); // up to its first zero byte
    Message &add(const char *text) { return add(std::string_view(text)); }
    Message &add(std::uint32_t number);
    Message &add(std::uint64_t number);

    [[nodiscard]] std::uint32_t code() const { return code_; }
    [[nodiscard]] std::size_t size() const;                    // parameters
    [[nodiscard]] std::size_t bytes() const { return bytes_; } // of the encoded message

    // std::bad_alloc when memory is short. The first form uses the memory that bytes has already.
    void encode(Bytes &bytes) const;
    [[nodiscard]] Bytes encode() const;

private:
    struct Parameters;
    struct ParametersDeleter {
        void operator()(Parameters *parameters) const;
    };
    void add_record(const xdata &record);

    std::uint32_t code_;
    std::size_t bytes_;
    std::unique_ptr<Parameters, ParametersDeleter> parameters_;
};

// Bytes that value takes in a message.
std::size_t encoded_size(const xdata &value);

class Received {
public:
    Received() = default;

    // Reads one message, all of bytes; malformed ones are Malformed. bytes is used as scratch space.
    explicit Received(Bytes &bytes);

    [[nodiscard]] std::uint32_t code() const { return code_; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] const xdata &at(std::size_t index) const;

    // The text up to its first zero byte; good as long as the message.
    [[nodiscard]] std::string_view text(std::size_t index) const;
    [[nodiscard]] std::uint32_t uint32(std::size_t index) const;
    [[nodiscard]] std::int32_t int32(std::size_t index) const;
    [[nodiscard]] std::uint64_t uint64(std::size_t index) const;

private:
    struct RecordsDeleter {
        std::size_t size;
        void operator()(xdata *records) const;
    };
    [[nodiscard]] const xdata &expect(std::size_t index, xdata_type type) const;

    std::uint32_t code_ = 0;
    std::size_t size_ = 0;
    std::unique_ptr<xdata, RecordsDeleter> records_{nullptr, RecordsDeleter{0}};
};

} // namespace varnel::protocol
