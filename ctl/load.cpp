// SPDX-License-Identifier: MIT
// load: a dump into a layer. The rows that do not fit into one request travel in several, of which all but the last
// carry the flag "more": the daemon does all of them with the last, or none.
#include "common/key_text.h"
#include "conversation/requests.h"
#include "ctl/commands.h"
#include "ctl/failure.h"
#include "ctl/load_document.h"
#include "ctl/options.h"
#include "ctl/output.h"
#include "ctl/written.h"
#include "protocol/limits.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iostream>
#include <numeric>
#include <system_error>

namespace varnel::ctl {

using conversation::Assignment;
using conversation::Conversation;
using conversation::Written;
using protocol::Limit;

namespace {

constexpr std::size_t kHeadParameters = 3; // layer, durability, flags
constexpr std::size_t kRowParameters = 3;  // group, name, value
constexpr std::size_t kHeadBytes = 12 + (4 + kLongestKeyPart + 1) + 8 + 8;
constexpr std::size_t kMostBytes = 1048576;

struct LoadOptions {
    std::vector<std::string> layer_and_file;
    bool replace = false;
    bool dry_run = false;
    bool respect_locks = false;
};

LoadDocument read_file(const std::string &path) {
    if (path == "-")
        return read_document(std::cin);
    std::ifstream file(path);
    if (!file)
        throw usage_failure("cannot open " + path + ": " + std::generic_category().message(errno));
    return read_document(file);
}

// By the daemon's limits: what one request may hold, and what all of those that are one write may.
struct WriteSize {
    std::size_t rows;
    std::size_t bytes;
    std::size_t staged_bytes;
};

std::size_t limit_of(const conversation::Numbers &limits, Limit limit) {
    const auto &row = protocol::kLimits[static_cast<std::size_t>(limit)];
    const auto found = std::find_if(limits.begin(), limits.end(), [&](const auto &l) { return l.first == row.name; });
    return found != limits.end() ? static_cast<std::size_t>(found->second) : row.fallback;
}

WriteSize write_size(Conversation &conversation) {
    const conversation::Numbers limits = conversation::limits(conversation);
    const std::size_t parameters = std::clamp<std::size_t>(limit_of(limits, Limit::parameters),
                                                           kHeadParameters + kRowParameters, protocol::kMostParameters);
    return {(parameters - kHeadParameters) / kRowParameters,
            std::min(kMostBytes, limit_of(limits, Limit::message_bytes)), limit_of(limits, Limit::staged_bytes)};
}

std::size_t bytes_of(const LoadValue &row) {
    constexpr std::size_t kTextExtra = 4 + 1; // entry header and zero byte
    return kTextExtra + row.group.size() + kTextExtra + row.name.size() + protocol::encoded_size(*row.value);
}

std::size_t staged_bytes_of(const LoadValue &row) {
    return protocol::kStagedRowBytes + row.group.size() + row.name.size() + protocol::encoded_size(*row.value);
}

[[noreturn]] void refuse(const std::string &what, std::size_t bytes, Limit limit, std::size_t allowed) {
    const char *const name = protocol::kLimits[static_cast<std::size_t>(limit)].name;
    throw Failure(kRefused, what + " too large: it takes " + std::to_string(bytes) + " bytes, and the daemon's limit " +
                                name + " is " + std::to_string(allowed) + "; nothing has been stored");
}

using Requests = std::vector<std::vector<Assignment>>;

// The daemon keeps the rows of all requests until the last one; what comes in one is not kept.
void expect_staged(const std::vector<LoadValue> &values, const Requests &requests, std::size_t allowed) {
    const std::size_t bytes =
        std::accumulate(values.begin(), values.end(), std::size_t{0},
                        [](std::size_t sum, const LoadValue &value) { return sum + staged_bytes_of(value); });
    if (requests.size() > 1 && bytes > allowed)
        refuse("the dump is", bytes, Limit::staged_bytes, allowed);
}

// The values as rows of as many requests as they need, at least one.
Requests requests_of(const std::vector<LoadValue> &values, const WriteSize &size) {
    Requests requests(1);
    std::size_t bytes = kHeadBytes;
    for (const LoadValue &value : values) {
        const std::size_t more = bytes_of(value);
        if (kHeadBytes + more > size.bytes)
            refuse(value.group + ":" + value.name + " is", kHeadBytes + more, Limit::message_bytes, size.bytes);
        if (requests.back().size() == size.rows || bytes + more > size.bytes) {
            requests.emplace_back();
            bytes = kHeadBytes;
        }
        bytes += more;
        requests.back().push_back({value.group, value.name, value.value.get()});
    }
    expect_staged(values, requests, size.staged_bytes);
    return requests;
}

Written store(Conversation &conversation, conversation::WriteOptions options, const LoadDocument &document) {
    const auto requests = requests_of(document.values, write_size(conversation));
    const std::uint32_t last_flags = options.flags;
    options.flags = protocol::kWriteMore;
    for (std::size_t i = 0; i + 1 < requests.size(); ++i)
        conversation::set(conversation, options, requests[i]);
    options.flags = last_flags;
    return conversation::set(conversation, options, requests.back());
}

// Groups that are there already are as they should be.
void make_group(Conversation &conversation, const KeyParts &group, std::uint32_t durability, Written &written) {
    try {
        written = conversation::create_group(conversation, group, durability);
    } catch (const conversation::Error &error) {
        if (error.kind() != conversation::ErrorKind::refused || error.status() != protocol::Status::exists)
            throw;
    }
}

// A dry run needs no daemon, but one that is there is asked what it takes.
void expect_limits(const Session &session, const LoadDocument &document) {
    WriteSize size{};
    try {
        size = write_size(*session.connect());
    } catch (const conversation::Error &) {
        return;
    }
    static_cast<void>(requests_of(document.values, size));
}

void describe(const Session &session, const LoadDocument &document) {
    expect_limits(session, document);
    if (session.json)
        return print_json(Json{{"layer", document.layer},
                               {"values", document.values.size()},
                               {"empty_groups", document.empty_groups.size()}});
    print_line("would store " + std::to_string(document.values.size()) + " values and " +
               std::to_string(document.empty_groups.size()) + " empty groups in " +
               (document.layer.empty() ? "the default layer" : "layer " + shown(document.layer)));
}

void run_load(const Session &session, const LoadOptions &options) {
    LoadDocument document = read_file(options.layer_and_file.back());
    if (options.layer_and_file.size() == 2)
        document.layer = options.layer_and_file.front();
    if (!document.layer.empty() && !valid_key_part(document.layer))
        throw usage_failure("'" + document.layer + "' is no name of a layer");
    if (options.dry_run)
        return describe(session, document);
    const std::uint32_t durability = session.durability_class();
    const std::uint32_t flags =
        (options.replace ? protocol::kWriteReplace : 0U) | (options.respect_locks ? protocol::kWriteRespectLocks : 0U);
    const auto conversation = session.connect();
    Written written;
    if (options.replace || !document.values.empty())
        written = store(*conversation, {document.layer, durability, flags}, document);
    const auto changed = written.changed;
    for (const std::string &group : document.empty_groups)
        make_group(*conversation, {document.layer, group, ""}, durability, written);
    written.changed = changed;
    report_written(session, written);
}

} // namespace

void add_load(CLI::App &command, Session &session) {
    const auto options = std::make_shared<LoadOptions>();
    command
        .add_option("FILE", options->layer_and_file,
                    "The dump, - for standard input; before it, the layer to load into when not the one it names")
        ->option_text("or LAYER FILE")
        ->required()
        ->expected(1, 2);
    command.add_flag("--replace", options->replace, "Remove what the layer's backend holds besides");
    command.add_flag("--dry-run", options->dry_run,
                     "Check the file, and that a daemon that is there would take so much, and store nothing");
    command.add_flag("--respect-locks", options->respect_locks,
                     "Change nothing while somebody else holds a lock on it");
    add_durability(command, session);
    add_verbose(command, session);
    add_json(command, session);
    command.callback([&session, options] { run_load(session, *options); });
}

} // namespace varnel::ctl
