// SPDX-License-Identifier: MIT
// What is measured: a row is one kind of work, done by several contenders in turn.
#pragma once

#include "bench/store/talk.h"

#include <cstddef>
#include <string>
#include <vector>

namespace varnel::bench {

struct Sockets {
    std::string echo;
    std::string varnel;
    std::string redis;        // without persistence
    std::string redis_synced; // appendfsync always
};

struct Comparison {
    std::size_t subject; // index of a contender of the row
    std::size_t yardstick;
    double goal; // of the subject's requests per second divided by the yardstick's; 0: none
};

struct Row {
    std::string title;
    Job job;
    std::size_t connections;
    std::vector<Contender> contenders;
    std::vector<Comparison> comparisons;
    bool synced; // beside the bare cost of syncing
};

// Rows whose title contains only.
std::vector<Row> all_rows(const Sockets &sockets, const std::string &only);

} // namespace varnel::bench
