// SPDX-License-Identifier: MIT
// The one exception of this folder.
#pragma once

#include "protocol/protocol.h"

#include <cstdint>
#include <stdexcept>
#include <string>

namespace varnel::conversation {

enum class ErrorKind : std::uint8_t {
    cannot_connect, // error_number() says why, where the system did
    connection_lost,
    timed_out,
    interrupted, // the descriptor of interrupt_with became readable
    malformed,   // the peer sent what the protocol does not have: the connection is of no use any more
    refused      // the answer's status is not ok
};

class Error : public std::runtime_error {
public:
    Error(ErrorKind kind, const std::string &message, int error_number = 0)
        : std::runtime_error(message), kind_(kind), error_number_(error_number) {}
    Error(protocol::Status status, const std::string &message)
        : std::runtime_error(message), kind_(ErrorKind::refused), status_(status) {}

    [[nodiscard]] ErrorKind kind() const { return kind_; }
    [[nodiscard]] int error_number() const { return error_number_; }
    [[nodiscard]] protocol::Status status() const { return status_; } // of kind refused

private:
    ErrorKind kind_;
    int error_number_ = 0;
    protocol::Status status_ = protocol::Status::ok;
};

// The same with the text of errno behind what.
Error system_error(ErrorKind kind, const std::string &what);

} // namespace varnel::conversation
