// SPDX-License-Identifier: MIT
// status, sync.
#include "conversation/requests.h"
#include "ctl/commands.h"
#include "ctl/failure.h"
#include "ctl/flag_words.h"
#include "ctl/options.h"
#include "ctl/output.h"
#include "ctl/table.h"

#include <charconv>

namespace varnel::ctl {

using conversation::BackendStatus;
using conversation::Conversation;
using conversation::Numbers;
using conversation::StoreStatus;

namespace {

constexpr FlagWord kBackendWords[] = {
    {protocol::kBackendDefaultLayer, "default layer"},
    {protocol::kBackendLayerReadOnly, "layer read-only"},
    {protocol::kBackendReadOnly, "read-only"},
    {protocol::kBackendWritesGoHere, "writes go here"},
    {protocol::kBackendFailing, "FAILING"},
};

std::string state_of(const BackendStatus &row) {
    const std::string words = words_of_flags(row.flags, kBackendWords);
    return row.message.empty() ? words : words + ": " + row.message;
}

Json json_of(const BackendStatus &row) {
    Json json;
    json["layer"] = row.layer;
    json["backend"] = row.backend;
    json["library"] = row.library;
    json["priority"] = row.priority;
    json["durability"] = protocol::durability_name(row.durability);
    json["default_layer"] = (row.flags & protocol::kBackendDefaultLayer) != 0;
    json["layer_readonly"] = (row.flags & protocol::kBackendLayerReadOnly) != 0;
    json["readonly"] = (row.flags & protocol::kBackendReadOnly) != 0;
    json["writes_go_here"] = (row.flags & protocol::kBackendWritesGoHere) != 0;
    json["failing"] = (row.flags & protocol::kBackendFailing) != 0;
    json["message"] = row.message;
    return json;
}

void print_store(const Session &session, Conversation &conversation) {
    const StoreStatus status = conversation::store_status(conversation);
    if (session.json) {
        Json json;
        json["revision"] = status.revision;
        json["default_layer"] = status.default_layer;
        json["backends"] = Json::array();
        for (const BackendStatus &row : status.backends)
            json["backends"].push_back(json_of(row));
        print_json(json);
        return;
    }
    Table table({"LAYER", "BACKEND", "LIBRARY", "PRIORITY", "DURABILITY", "STATE"});
    for (const BackendStatus &row : status.backends)
        table.add({row.layer, row.backend, row.library, std::to_string(row.priority),
                   protocol::durability_name(row.durability), state_of(row)});
    print(table.text() + "revision " + std::to_string(status.revision) + "\n");
}

void print_numbers(const Session &session, const Numbers &numbers) {
    Json json = Json::object();
    Table table;
    for (const auto &[name, number] : numbers) {
        json[name] = number;
        table.add({name, std::to_string(number)});
    }
    if (session.json)
        print_json(json);
    else
        print(table.text());
}

void print_version(const Session &session, const conversation::Version &version) {
    if (session.json)
        print_json(Json{{"version", version.text}, {"protocol", version.protocol}});
    else
        print_line("varneld " + shown(version.text) + ", protocol " + std::to_string(version.protocol));
}

void run_status(const Session &session, const std::string &subject) {
    const auto conversation = session.connect();
    if (subject == "limits")
        print_numbers(session, conversation::limits(*conversation));
    else if (subject == "statistics")
        print_numbers(session, conversation::statistics(*conversation));
    else if (subject == "version")
        print_version(session, conversation::version(*conversation));
    else
        print_store(session, *conversation);
}

void run_sync(const Session &session, const CLI::Option &layer) {
    const auto conversation = session.connect();
    const std::uint32_t reached = layer.empty() ? conversation::sync_all(*conversation)
                                                : conversation::sync_layer(*conversation, layer.as<std::string>());
    const char *const name = protocol::durability_name(reached);
    if (session.json)
        print_json(Json{{"durability", name}});
    else if (session.verbose)
        print_line(std::string("durability ") + name);
}

} // namespace

void add_status(CLI::App &command, Session &session) {
    const auto subject = std::make_shared<std::string>();
    const auto add = [&](const char *name, const char *summary) {
        return command.add_flag_callback(
            std::string("--") + name, [subject, name] { *subject = name; }, summary);
    };
    auto *const limits = add("limits", "Print the limits that the daemon keeps clients to, instead");
    auto *const statistics = add("statistics", "Print what the daemon has counted, instead");
    auto *const version = add("version", "Print the daemon's version, instead");
    limits->excludes(statistics);
    limits->excludes(version);
    statistics->excludes(version);
    add_json(command, session);
    command.callback([&session, subject] { run_status(session, *subject); });
}

void add_sync(CLI::App &command, Session &session) {
    auto *const layer = command.add_option("LAYER", "Only this layer");
    add_verbose(command, session);
    add_json(command, session);
    command.callback([&session, layer] { run_sync(session, *layer); });
}

} // namespace varnel::ctl
