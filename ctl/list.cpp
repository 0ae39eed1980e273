// SPDX-License-Identifier: MIT
// list, keys.
#include "common/value_text.h"
#include "conversation/requests.h"
#include "ctl/commands.h"
#include "ctl/keys.h"
#include "ctl/options.h"
#include "ctl/output.h"
#include "ctl/table.h"
#include "ctl/value_json.h"

#include <algorithm>
#include <iterator>

namespace varnel::ctl {

using conversation::Conversation;
using conversation::Row;

namespace {

// A row, and the layer that it was found in.
struct LayerRow {
    std::string layer;
    Row row;
    [[nodiscard]] bool is_group() const { return row.name.empty(); }
    // layer:group: of a group: what is below it follows.
    [[nodiscard]] std::string key() const { return layer + ":" + row.group + ":" + row.name; }
};

using Rows = std::vector<LayerRow>;

LayerRow single_row(Conversation &conversation, const KeyParts &key) {
    conversation::Found found = conversation::get(conversation, key);
    return {found.layer, {key.group, key.name, std::move(found.value), found.backend}};
}

// All below key. Groups that have values do not stand for themselves.
Rows rows_below(Conversation &conversation, const KeyParts &key, bool values) {
    Rows rows;
    if (!key.name.empty()) {
        rows.push_back(single_row(conversation, key));
        return rows;
    }
    const auto take = [&rows](const std::string &layer, Row &&row) {
        if (!rows.empty() && rows.back().is_group() && rows.back().row.group == row.group)
            rows.pop_back();
        rows.push_back({layer, std::move(row)});
    };
    (values ? conversation::list : conversation::list_keys)(conversation, key, take);
    return rows;
}

Json json_of(const LayerRow &row, bool value) {
    Json json;
    json["key"] = row.key();
    json["layer"] = row.layer;
    json["group"] = row.row.group;
    json["name"] = row.row.name;
    if (value && !row.is_group())
        put_value(json, *row.row.value);
    if (value)
        json["backend"] = row.row.backend;
    return json;
}

void print_rows(const Rows &rows, bool values) {
    Json json = Json::array();
    std::transform(rows.begin(), rows.end(), std::back_inserter(json),
                   [values](const LayerRow &row) { return json_of(row, values); });
    print_json(json);
}

void print_table(const Rows &rows) {
    Table table;
    for (const LayerRow &row : rows) {
        const bool group = row.is_group();
        table.add({row.key(), group ? "group" : name_of_type(row.row.value->type),
                   group ? "-" : print_value(*row.row.value), row.row.backend});
    }
    print(table.text());
}

enum class Shown : std::uint8_t { keys, groups, layers };

void print_keys(const Rows &rows) {
    for (const LayerRow &row : rows)
        print_line(shown(row.key()));
}

void print_groups(const Rows &rows) {
    const std::string *last = nullptr;
    for (const LayerRow &row : rows) {
        if (last == nullptr || *last != row.row.group)
            print_line(shown(row.layer + ":" + row.row.group));
        last = &row.row.group;
    }
}

// Backends of one layer stand together.
void print_layers(Conversation &conversation) {
    std::string last;
    for (const auto &row : conversation::store_status(conversation).backends) {
        if (row.layer != last)
            print_line(shown(row.layer));
        last = row.layer;
    }
}

void run_list(const Session &session, const std::string &text) {
    const KeyParts key = any_key(text);
    const auto conversation = session.connect();
    const Rows rows = rows_below(*conversation, key, true);
    if (session.json)
        print_rows(rows, true);
    else
        print_table(rows);
}

void run_keys(const Session &session, const std::string &text, Shown what) {
    const KeyParts key = any_key(text);
    const auto conversation = session.connect();
    if (what == Shown::layers)
        return print_layers(*conversation);
    const Rows rows = rows_below(*conversation, key, false);
    if (what == Shown::groups)
        print_groups(rows);
    else if (session.json)
        print_rows(rows, false);
    else
        print_keys(rows);
}

} // namespace

void add_list(CLI::App &command, Session &session) {
    const auto key = std::make_shared<std::string>();
    command.add_option("KEY", *key, "layer[:group[:name]]; without it all of the default layer");
    add_json(command, session);
    command.callback([&session, key] { run_list(session, *key); });
}

void add_keys(CLI::App &command, Session &session) {
    const auto key = std::make_shared<std::string>();
    const auto what = std::make_shared<Shown>(Shown::keys);
    command.add_option("KEY", *key, "layer[:group[:name]]; without it all of the default layer");
    auto *const groups = command.add_flag_callback(
        "--groups", [what] { *what = Shown::groups; }, "Print groups alone");
    auto *const layers = command.add_flag_callback(
        "--layers", [what] { *what = Shown::layers; }, "Print the names of all layers");
    add_json(command, session);
    groups->excludes(layers);
    groups->excludes("--json");
    layers->excludes("--json");
    command.callback([&session, key, what] { run_keys(session, *key, *what); });
}

} // namespace varnel::ctl
