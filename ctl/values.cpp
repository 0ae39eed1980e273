// SPDX-License-Identifier: MIT
// get, set, unset.
#include "common/value_text.h"
#include "conversation/requests.h"
#include "ctl/commands.h"
#include "ctl/failure.h"
#include "ctl/keys.h"
#include "ctl/options.h"
#include "ctl/output.h"
#include "ctl/value_json.h"
#include "ctl/written.h"
#include "protocol/limits.h"

#include <cstdio>
#include <iterator>

namespace varnel::ctl {

using conversation::Conversation;
using conversation::Error;
using conversation::Found;

namespace {

// A string travels with its zero byte.
constexpr std::size_t kLongestText = protocol::kLimits[static_cast<std::size_t>(protocol::Limit::value_bytes)].most - 1;

Json json_of_found(const KeyParts &key, const Found &found) {
    Json json;
    json["key"] = print_key(key);
    json["layer"] = key.layer;
    json["group"] = key.group;
    json["name"] = key.name;
    put_value(json, *found.value);
    json["backend"] = found.backend;
    return json;
}

std::string text_of_value(const xdata &value) {
    return value.type == XDATA_STRING ? std::string(characters_of(value.value.s)) : print_value(value);
}

void run_get(const Session &session, const std::string &text) {
    KeyParts key = value_key(text);
    const auto conversation = session.connect();
    const Found found = conversation::get(*conversation, key);
    key.layer = found.layer;
    if (session.json)
        print_json(json_of_found(key, found));
    else
        print_line(shown(text_of_value(*found.value)));
}

struct SetOptions {
    std::string key;
    std::string value;
    std::string type;
    bool respect_locks = false;
};

// Standard input without the line end that a text file ends with.
std::string read_input() {
    std::string text;
    char buffer[4096];
    for (std::size_t n = 1; n != 0 && text.size() <= kLongestText + 1;) {
        n = std::fread(buffer, 1, sizeof buffer, stdin);
        text.append(buffer, n);
    }
    if (std::ferror(stdin) != 0)
        throw usage_failure("cannot read standard input");
    if (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

std::string value_text(const std::string &argument) {
    std::string text = argument == "-" ? read_input() : argument;
    if (text.size() > kLongestText)
        throw usage_failure("a value has at most " + std::to_string(kLongestText) + " bytes");
    if (text.find('\0') != std::string::npos)
        throw usage_failure("the value has a zero byte in it: 'varnelctl load' takes such values");
    return text;
}

xdata_type named_type(const std::string &name) {
    const auto type = type_of_name(name);
    if (!type)
        throw usage_failure("'" + name + "' is no type: expected one of " + kTypeNames);
    return *type;
}

// The type of the value that get answers with; that of the text where there is none.
xdata_type kept_type(Conversation &conversation, const KeyParts &key, const std::string &text, bool *kept) {
    try {
        const xdata_type type = conversation::get(conversation, key).value->type;
        *kept = true;
        return type;
    } catch (const Error &error) {
        if (error.kind() != conversation::ErrorKind::refused || error.status() != protocol::Status::not_found)
            throw;
        return guess_type(text);
    }
}

Value value_to_set(Conversation &conversation, const KeyParts &key, const SetOptions &options) {
    const std::string text = value_text(options.value);
    bool kept = false;
    const xdata_type type = options.type.empty() ? kept_type(conversation, key, text, &kept) : named_type(options.type);
    std::string expected;
    Value value = parse_value(text, type, &expected);
    if (value != nullptr)
        return value;
    std::string message = "'" + text + "' is no " + name_of_type(type) + ": expected " + expected;
    if (kept)
        message += "\n(" + options.key + " has the type " + name_of_type(type) + "; --type TYPE gives it another)";
    throw usage_failure(message);
}

void run_set(const Session &session, const SetOptions &options) {
    const KeyParts key = value_key(options.key);
    if (!options.type.empty())
        named_type(options.type);
    const auto conversation = session.connect();
    const Value value = value_to_set(*conversation, key, options);
    const conversation::WriteOptions write = {key.layer, session.durability_class(),
                                              options.respect_locks ? protocol::kWriteRespectLocks : 0U};
    report_written(session, conversation::set(*conversation, write, {{key.group, key.name, value.get()}}));
}

struct UnsetOptions {
    std::vector<std::string> keys;
    bool respect_locks = false;
};

// One request: all or none, so that all keys must be in one layer.
void run_unset(const Session &session, const UnsetOptions &options) {
    conversation::WriteOptions write = {"", session.durability_class(),
                                        options.respect_locks ? protocol::kWriteRespectLocks : 0U};
    std::vector<conversation::Assignment> rows;
    for (const std::string &text : options.keys) {
        const KeyParts key = value_key(text);
        if (!rows.empty() && key.layer != write.layer)
            throw usage_failure("the keys are in different layers: all are removed together, or none");
        write.layer = key.layer;
        rows.push_back({key.group, key.name, nullptr});
    }
    const auto conversation = session.connect();
    report_written(session, conversation::unset(*conversation, write, rows));
}

void add_respect_locks(CLI::App &command, bool &flag) {
    command.add_flag("--respect-locks", flag, "Change nothing while somebody else holds a lock on it");
}

} // namespace

void add_get(CLI::App &command, Session &session) {
    auto *const key = command.add_option("KEY", "The value's key")->required();
    add_json(command, session);
    command.callback([&session, key] { run_get(session, key->as<std::string>()); });
}

void add_set(CLI::App &command, Session &session) {
    const auto options = std::make_shared<SetOptions>();
    command.add_option("KEY", options->key, "The value's key")->required();
    command.add_option("VALUE", options->value, "The value as text; - reads standard input")->required();
    command.add_option("--type", options->type, std::string("Its type, when not the one it has: ") + kTypeNames)
        ->type_name("TYPE");
    add_durability(command, session);
    add_respect_locks(command, options->respect_locks);
    add_verbose(command, session);
    add_json(command, session);
    command.callback([&session, options] { run_set(session, *options); });
}

void add_unset(CLI::App &command, Session &session) {
    const auto options = std::make_shared<UnsetOptions>();
    command.add_option("KEY", options->keys, "Keys in one layer; all are removed or none")->required();
    add_durability(command, session);
    add_respect_locks(command, options->respect_locks);
    add_verbose(command, session);
    add_json(command, session);
    command.callback([&session, options] { run_unset(session, *options); });
}

} // namespace varnel::ctl
