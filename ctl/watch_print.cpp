// SPDX-License-Identifier: MIT
#include "ctl/watch_print.h"

#include "common/key_text.h"
#include "common/text.h"
#include "common/value_text.h"
#include "ctl/value_json.h"
#include "protocol/protocol.h"

namespace varnel::ctl {

using conversation::Change;

namespace {

bool had_value(const Change &change) {
    return (change.flags & protocol::kEventHadValue) != 0;
}

bool has_value(const Change &change) {
    return (change.flags & protocol::kEventHasValue) != 0;
}

const char *kind_of(const Change &change) {
    if ((change.flags & protocol::kEventGroupCreated) != 0)
        return "group-created";
    if ((change.flags & protocol::kEventGroupRemoved) != 0)
        return "group-removed";
    if (had_value(change))
        return has_value(change) ? "changed" : "removed";
    return "added";
}

std::string text_of(const xdata &value) {
    std::string text = escaped(print_value(value));
    if (value.type != XDATA_STRING)
        return text;
    std::string quoted(1, '"');
    return quoted.append(text).append(1, '"');
}

Json json_of_value(const xdata &value) {
    Json json;
    put_value(json, value);
    return json;
}

} // namespace

std::string line_of_change(const Change &change) {
    std::string line = std::to_string(change.revision) + " " + kind_of(change) + " " +
                       escaped(print_key({change.layer, change.group, change.name}));
    if (had_value(change))
        line.append(" ").append(text_of(*change.before));
    if (had_value(change) && has_value(change))
        line += " ->";
    if (has_value(change))
        line.append(" ").append(text_of(*change.after));
    return line;
}

Json json_of_change(const Change &change) {
    Json json;
    json["revision"] = change.revision;
    json["change"] = kind_of(change);
    json["key"] = print_key({change.layer, change.group, change.name});
    json["layer"] = change.layer;
    json["group"] = change.group;
    json["name"] = change.name;
    if (had_value(change))
        json["old"] = json_of_value(*change.before);
    if (has_value(change))
        json["new"] = json_of_value(*change.after);
    return json;
}

} // namespace varnel::ctl
