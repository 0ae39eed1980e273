// SPDX-License-Identifier: MIT
// Measures servers that run already; bench/store/run starts them.
#include "bench/store/report.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace {

using namespace varnel::bench;

struct Options {
    Settings settings;
    std::string json;
    std::vector<std::string> notes; // "name=text"
};

void add_options(CLI::App &app, Options &options) {
    constexpr double kLeastSeconds = 0.05;
    constexpr double kMostSeconds = 600;
    constexpr unsigned kMostRounds = 1000;
    Settings &settings = options.settings;
    app.add_option("--echo", settings.sockets.echo, "Socket of varnel_bench_echo")->required();
    app.add_option("--varnel", settings.sockets.varnel, "Socket of varneld")->required();
    app.add_option("--redis", settings.sockets.redis, "Socket of a Redis without persistence")->required();
    app.add_option("--redis-synced", settings.sockets.redis_synced, "Socket of a Redis that syncs always")->required();
    app.add_option("--folder", settings.folder, "Folder to measure syncing in")->required();
    app.add_option("--seconds", settings.seconds, "Seconds for each row, contender and round")
        ->check(CLI::Range(kLeastSeconds, kMostSeconds));
    app.add_option("--rounds", settings.rounds, "Rounds")->check(CLI::Range(1U, kMostRounds));
    app.add_option("--only", settings.only, "Only rows whose title contains this text");
    app.add_option("--json", options.json, "File for the results as JSON");
    app.add_option("--note", options.notes, "NAME=TEXT to print with the results");
}

Notes all_notes(const std::vector<std::string> &given) {
    Notes notes = environment();
    for (const std::string &note : given) {
        const std::size_t equals = note.find('=');
        if (equals == std::string::npos)
            throw Failure("--note " + note + ": NAME=TEXT is expected");
        notes.emplace_back(note.substr(0, equals), note.substr(equals + 1));
    }
    return notes;
}

void run(const Options &options) {
    const Notes notes = all_notes(options.notes);
    const std::vector<RowResult> results = run_rounds(options.settings);
    print_table(notes, options.settings, results);
    if (!options.json.empty())
        write_json(options.json, notes, options.settings, results);
}

} // namespace

int main(int argc, char **argv) {
    try {
        CLI::App app("The daemon beside Redis and a bare echo server");
        Options options;
        add_options(app, options);
        CLI11_PARSE(app, argc, argv);
        run(options);
        return 0;
    } catch (const std::exception &failure) {
        static_cast<void>(std::fprintf(stderr, "varnel_bench_store: %s\n", failure.what()));
        return 1;
    }
}
