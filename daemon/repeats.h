// SPDX-License-Identifier: MIT
// Which requests of a peer have come before. Networks repeat datagrams, and late: a change that was done again then
// would undo what others have changed meanwhile.
#pragma once

#include "protocol/message.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace varnel::daemon {

class Repeats {
public:
    // Requests that are remembered.
    static constexpr std::size_t kMost = 64;

    // Remembers a request. False when the same one, id and all, is among those remembered. A program that begins with
    // the first id again, under the address of one before it, asks for something else.
    [[nodiscard]] bool is_new(std::uint32_t id, const protocol::Bytes &bytes) {
        const std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
        const Request request{id, std::hash<std::string_view>()(text)};
        if (std::find(requests_.begin(), requests_.end(), request) != requests_.end())
            return false;
        if (requests_.size() < kMost)
            requests_.push_back(request);
        else
            requests_[oldest_++ % kMost] = request;
        return true;
    }

private:
    struct Request {
        std::uint32_t id;
        std::size_t hash;
        bool operator==(const Request &) const = default;
    };
    std::vector<Request> requests_;
    std::size_t oldest_ = 0;
};

} // namespace varnel::daemon
