// SPDX-License-Identifier: MIT
// explain: where a value comes from.
#include "common/value_text.h"
#include "conversation/requests.h"
#include "ctl/commands.h"
#include "ctl/flag_words.h"
#include "ctl/keys.h"
#include "ctl/options.h"
#include "ctl/output.h"
#include "ctl/table.h"
#include "ctl/value_json.h"

#include "common/text.h"

namespace varnel::ctl {

using conversation::KeyBackend;
using conversation::KeyStatus;

namespace {

constexpr FlagWord kKeyWords[] = {
    {protocol::kKeyWins, "WINS"},          {protocol::kKeyHidden, "hidden"},
    {protocol::kKeyFailing, "FAILING"},    {protocol::kKeyWritesGoHere, "writes go here"},
    {protocol::kKeyReadOnly, "read-only"},
};

bool has_value(const KeyBackend &row) {
    return (row.flags & protocol::kKeyHasValue) != 0;
}

Json json_of(const KeyBackend &row) {
    Json json;
    json["layer"] = row.layer;
    json["backend"] = row.backend;
    json["has_value"] = has_value(row);
    if (has_value(row))
        put_value(json, *row.value);
    json["wins"] = (row.flags & protocol::kKeyWins) != 0;
    json["hidden"] = (row.flags & protocol::kKeyHidden) != 0;
    json["writes_go_here"] = (row.flags & protocol::kKeyWritesGoHere) != 0;
    json["readonly"] = (row.flags & protocol::kKeyReadOnly) != 0;
    json["failing"] = (row.flags & protocol::kKeyFailing) != 0;
    return json;
}

void print_as_json(const KeyParts &key, const KeyStatus &status) {
    Json json;
    json["key"] = print_key(key);
    json["layer"] = key.layer;
    json["group"] = key.group;
    json["name"] = key.name;
    json["lock_holder"] = status.holder.empty() ? Json() : Json(status.holder);
    json["backends"] = Json::array();
    for (const KeyBackend &row : status.backends)
        json["backends"].push_back(json_of(row));
    print_json(json);
}

void print_as_table(const KeyParts &key, const KeyStatus &status) {
    Table table({"LAYER", "BACKEND", "STATE", "TYPE", "VALUE"});
    std::string winner;
    for (const KeyBackend &row : status.backends) {
        const bool has = has_value(row);
        if (row.layer == status.layer && (row.flags & protocol::kKeyWins) != 0)
            winner = row.backend;
        table.add({row.layer, row.backend, words_of_flags(row.flags, kKeyWords),
                   has ? name_of_type(row.value->type) : "-", has ? print_value(*row.value) : "-"});
    }
    const std::string name = escaped(print_key(key));
    print(table.text());
    print_line(winner.empty() ? name + " has no value" : name + " has the value of " + escaped(winner));
    print_line("lock: " + (status.holder.empty() ? "nobody" : escaped(status.holder)));
}

} // namespace

void add_explain(CLI::App &command, Session &session) {
    auto *const text = command.add_option("KEY", "The value's key")->required();
    add_json(command, session);
    command.callback([&session, text] {
        KeyParts key = value_key(text->as<std::string>());
        const auto conversation = session.connect();
        const KeyStatus status = conversation::key_status(*conversation, key);
        key.layer = status.layer;
        if (session.json)
            print_as_json(key, status);
        else
            print_as_table(key, status);
    });
}

} // namespace varnel::ctl
