// SPDX-License-Identifier: MIT
// A request being answered.
#pragma once

#include "daemon/session.h"

#include "protocol/message.h"
#include "protocol/protocol.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace varnel::daemon {

// nothing: the answer comes later.
using Reply = std::optional<protocol::Message>;

struct Request {
    Session &session;
    std::uint32_t id;
    const protocol::Received &message;

    [[nodiscard]] std::uint32_t code() const { return message.code(); }
};

// The request is not done; its answer says why.
class Refused : public std::runtime_error {
public:
    Refused(protocol::Status status, const std::string &why) : std::runtime_error(why), status_(status) {}
    [[nodiscard]] protocol::Status status() const { return status_; }

private:
    protocol::Status status_;
};

// The request cannot be answered before the pending changes of its layer have reached the storage.
struct Defer {};

// An answer to a code that begins with status ok.
protocol::Message ok_answer(std::uint32_t code);
protocol::Message refusal(std::uint32_t code, protocol::Status status, const std::string &why);

// In words, why a module failed with that result.
std::string reason_of(int result);

// The refusal that a module's result stands for; what says what it was about.
Refused refusal_of(int result, const std::string &backend, const std::string &what);

// Parameters, or Refused (invalid): exactly count of them; a part of a key.
void expect_count(const Request &request, std::size_t count);
std::string key_part(const Request &request, std::size_t index);
std::string key_part_or_empty(const Request &request, std::size_t index);

// Parameters first and first + 1: a group and a name, either of which may be empty, the name only with a group that is.
struct GroupAndName {
    std::string group;
    std::string name;
};
GroupAndName scope_parts(const Request &request, std::size_t first);

// A durability class.
std::uint32_t durability_at(const Request &request, std::size_t index);

} // namespace varnel::daemon
