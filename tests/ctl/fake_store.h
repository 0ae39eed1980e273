// SPDX-License-Identifier: MIT
// Answers from a map: layers of one writable backend, "sqlite", above one of defaults. What the real daemon answers is
// in docs/protocol.md; here is as much of it as varnelctl's commands need to be tried.
#pragma once

#include "common/records.h"
#include "ctl/fake_daemon.h"

#include <map>
#include <set>
#include <string>
#include <utility>

namespace ctl_tests {

class FakeStore {
public:
    using Names = std::pair<std::string, std::string>; // group and name; no name: the group
    using Rows = std::map<Names, std::pair<varnel::Value, std::string>>;

    FakeStore();

    std::unique_ptr<Message> answer(const Received &request);
    Handler handler() {
        return [this](const Received &request) { return answer(request); };
    }

    void put(const std::string &layer, const std::string &group, const std::string &name, varnel::Value value,
             const std::string &backend = "sqlite");

    // The text of a value, nothing else than its type before it; "none" where there is none.
    std::string described(const std::string &layer, const std::string &group, const std::string &name);

    std::map<std::string, Rows> layers;
    std::map<std::string, std::uint64_t> limits; // answered to "limits"
    std::uint32_t durability = 0;                // asked for by the last change
    std::uint32_t flags = 0;                     // of the last set or unset
    std::size_t page = 1000;                     // rows of an answer
    std::uint64_t revision = 0;
    int writes = 0; // sets that were done

private:
    std::string layer_of(const Received &request) const;
    std::unique_ptr<Message> get(const Received &request);
    std::unique_ptr<Message> set(const Received &request);
    std::unique_ptr<Message> unset(const Received &request);
    std::unique_ptr<Message> list(const Received &request);
    std::unique_ptr<Message> make_group(const Received &request);
    std::unique_ptr<Message> status(const Received &request);
    std::unique_ptr<Message> other(const Received &request);
    std::unique_ptr<Message> written(std::uint32_t code, const std::string &layer, std::uint32_t changed);

    std::vector<std::pair<Names, varnel::Value>> staged_;
};

} // namespace ctl_tests
