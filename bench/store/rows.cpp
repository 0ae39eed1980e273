// SPDX-License-Identifier: MIT
#include "bench/store/rows.h"

namespace varnel::bench {

namespace {

constexpr std::size_t kSizes[] = {16, 256};
constexpr std::size_t kConnections[] = {1, 50};
constexpr double kGoalBesideEcho = 0.8;
constexpr double kGoalBesideRedis = 1.0;

Contender daemon(const Sockets &sockets, const std::string &name, const std::string &layer, std::uint32_t durability) {
    return {Kind::varnel, name, sockets.varnel, layer, durability};
}

Row get_row(const Sockets &sockets) {
    return {"get",
            {Work::get, 0},
            0,
            {{Kind::echo, "echo", sockets.echo, "volatile"},
             daemon(sockets, "varneld volatile", "volatile", 0),
             daemon(sockets, "varneld user", "user", 0),
             {Kind::redis, "Redis", sockets.redis}},
            {{1, 0, kGoalBesideEcho}, {2, 0, kGoalBesideEcho}, {1, 3, 0}, {2, 3, 0}},
            false};
}

Row set_memory_row(const Sockets &sockets) {
    return {"set, memory",
            {Work::set, 0},
            0,
            {daemon(sockets, "varneld memory", "volatile", 0), {Kind::redis, "Redis", sockets.redis}},
            {{0, 1, kGoalBesideRedis}},
            false};
}

Row set_synced_row(const Sockets &sockets) {
    return {"set, synced",
            {Work::set, 0},
            0,
            {daemon(sockets, "varneld file", "user", 1),
             daemon(sockets, "varneld folder", "user", 2),
             {Kind::redis, "Redis appendfsync always", sockets.redis_synced}},
            {{0, 2, kGoalBesideRedis}, {1, 2, kGoalBesideRedis}},
            true};
}

std::string words(std::size_t number, const std::string &noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

} // namespace

std::vector<Row> all_rows(const Sockets &sockets, const std::string &only) {
    std::vector<Row> rows;
    for (const Row &kind : {get_row(sockets), set_memory_row(sockets), set_synced_row(sockets)}) {
        for (const std::size_t connections : kConnections) {
            for (const std::size_t size : kSizes) {
                Row row = kind;
                row.title += ", " + words(connections, "client") + ", " + words(size, "byte");
                row.connections = connections;
                row.job.value_bytes = size;
                if (row.title.find(only) != std::string::npos)
                    rows.push_back(std::move(row));
            }
        }
    }
    return rows;
}

} // namespace varnel::bench
