// SPDX-License-Identifier: MIT
// dump: a layer as JSON, in the form that load reads (load_document.h).
#include "conversation/requests.h"
#include "ctl/commands.h"
#include "ctl/failure.h"
#include "ctl/keys.h"
#include "ctl/load_document.h"
#include "ctl/options.h"
#include "ctl/output.h"
#include "ctl/value_json.h"

#include <algorithm>

namespace varnel::ctl {

using conversation::Conversation;
using conversation::Row;
using conversation::StoreStatus;

namespace {

// A layer is read in several answers: when it changed between them, it is read again.
constexpr int kAttempts = 5;

// The backend that takes the layer's changes; empty when none does.
std::string writable_backend(const StoreStatus &status, const std::string &layer) {
    const auto found = std::find_if(status.backends.begin(), status.backends.end(), [&](const auto &row) {
        return row.layer == layer && (row.flags & protocol::kBackendWritesGoHere) != 0;
    });
    return found != status.backends.end() ? found->backend : "";
}

struct Dump {
    KeyParts key;
    bool all = false;

    [[nodiscard]] bool wants(const Row &row, const std::string &backend) const {
        const bool named = key.name.empty() || row.name.empty() || row.name == key.name;
        return named && (all || row.backend == backend);
    }
    [[nodiscard]] Json read(Conversation &conversation, const StoreStatus &status) const;
    [[nodiscard]] std::string layer(const StoreStatus &status) const;
};

std::string Dump::layer(const StoreStatus &status) const {
    return key.layer.empty() || key.layer == "default" ? status.default_layer : key.layer;
}

Json Dump::read(Conversation &conversation, const StoreStatus &status) const {
    const std::string name = layer(status);
    const std::string backend = writable_backend(status, name);
    if (backend.empty() && !all)
        throw Failure(kRefused, "layer " + name + " has no backend that takes changes: --all writes what it shows");
    Json groups = Json::object();
    conversation::list(conversation, key, [&](const std::string &, const Row &row) {
        if (!wants(row, backend))
            return;
        Json &group = groups[row.group];
        if (group.is_null())
            group = Json::object();
        if (!row.name.empty())
            put_value(group[row.name], *row.value);
    });
    return document_of(name, std::move(groups));
}

void run_dump(const Session &session, const std::string &text, bool all) {
    const Dump dump = {any_key(text), all};
    const auto conversation = session.connect();
    StoreStatus status = conversation::store_status(*conversation);
    for (int attempt = 1;; ++attempt) {
        const Json document = dump.read(*conversation, status);
        const std::uint64_t before = status.revision;
        status = conversation::store_status(*conversation);
        if (status.revision == before)
            return print_json(document);
        if (attempt == kAttempts)
            throw Failure(kRefused,
                          "the store changes all the time: hold a lock that its writers respect, and try again");
    }
}

} // namespace

void add_dump(CLI::App &command, Session &session) {
    const auto key = std::make_shared<std::string>();
    const auto all = std::make_shared<bool>(false);
    command.add_option("KEY", *key, "layer[:group[:name]]; without it all of the default layer");
    command.add_flag("--all", *all, "All that the layer shows, values of its read-only backends included");
    command.callback([&session, key, all] { run_dump(session, *key, *all); });
}

} // namespace varnel::ctl
