// SPDX-License-Identifier: MIT
#include "ctl/load_document.h"

#include "common/key_text.h"
#include "common/text.h"
#include "ctl/failure.h"
#include "ctl/value_json.h"
#include "protocol/limits.h"

#include <set>

namespace varnel::ctl {

namespace {

constexpr int kForm = 1;
constexpr std::size_t kLongestString = protocol::kLimits[static_cast<std::size_t>(protocol::Limit::value_bytes)].most;

// The parser keeps the last of two members of one name: whoever wrote both meant something else.
class DuplicateFinder {
public:
    bool operator()(int, Json::parse_event_t event, Json &parsed) {
        if (event == Json::parse_event_t::object_start)
            names_.emplace_back();
        else if (event == Json::parse_event_t::object_end)
            names_.pop_back();
        else if (event == Json::parse_event_t::key && !names_.back().insert(parsed.get<std::string>()).second)
            throw usage_failure('"' + parsed.get<std::string>() + R"(" is there twice in one object)");
        return true;
    }

private:
    std::vector<std::set<std::string>> names_;
};

Json parse_json(std::istream &input) {
    try {
        return Json::parse(input, DuplicateFinder());
    } catch (const Json::exception &error) {
        throw usage_failure(std::string("no JSON: ") + error.what());
    }
}

void check_members(const Json &document) {
    if (!document.is_object())
        throw usage_failure(R"(expected an object with the member "groups")");
    for (const auto &[name, member] : document.items()) {
        if (name != "varnel" && name != "layer" && name != "groups")
            throw usage_failure(R"(the members of a dump are "varnel", "layer" and "groups", not ")" + name + '"');
    }
    const auto form = document.find("varnel");
    if (form != document.end() && *form != kForm)
        throw usage_failure(R"("varnel" is )" + form->dump() + ": only form 1 is known");
    if (!document.contains("groups") || !document["groups"].is_object())
        throw usage_failure(R"("groups" must be there, an object of groups)");
}

std::string layer_of(const Json &document) {
    const auto layer = document.find("layer");
    if (layer == document.end())
        return "";
    if (!layer->is_string() ||
        (!layer->get_ref<const std::string &>().empty() && !valid_key_part(layer->get<std::string>())))
        throw usage_failure(R"("layer" must be the name of a layer)");
    return layer->get<std::string>();
}

void check_name(const std::string &name, const std::string &where) {
    if (!valid_key_part(name))
        throw usage_failure(where + in_quotes(name) +
                            " is no name: expected 1 to 255 bytes, without ':' and control characters");
}

void read_group(const std::string &group, const Json &members, LoadDocument &document) {
    check_name(group, "group ");
    if (!members.is_object())
        throw usage_failure(R"(group ")" + group + R"(" must be an object of values)");
    if (members.empty())
        document.empty_groups.push_back(group);
    const std::string in_group = group + ":";
    for (const auto &[name, member] : members.items()) {
        check_name(name, in_group);
        const std::string where = in_group + name;
        Value value = value_of_json(member, where);
        if (value->type == XDATA_STRING && value->value.s.len > kLongestString)
            throw usage_failure(where + ": a string has at most " + std::to_string(kLongestString - 1) + " bytes");
        document.values.push_back({group, name, std::move(value)});
    }
}

} // namespace

Json document_of(const std::string &layer, Json groups) {
    Json document;
    document["varnel"] = kForm;
    document["layer"] = layer;
    document["groups"] = std::move(groups);
    return document;
}

LoadDocument read_document(std::istream &input) {
    const Json json = parse_json(input);
    check_members(json);
    LoadDocument document;
    document.layer = layer_of(json);
    for (const auto &[group, members] : json["groups"].items())
        read_group(group, members, document);
    return document;
}

} // namespace varnel::ctl
