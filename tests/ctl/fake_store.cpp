// SPDX-License-Identifier: MIT
#include "ctl/fake_store.h"

#include "common/value_text.h"

namespace ctl_tests {

using varnel::copy_of;
using varnel::make_int32;
using varnel::make_string;

FakeStore::FakeStore() {
    layers["user"];
    layers["volatile"];
    limits = {{"message_bytes", 1048576}, {"parameters", 4096}};
}

void FakeStore::put(const std::string &layer, const std::string &group, const std::string &name, varnel::Value value,
                    const std::string &backend) {
    layers[layer].try_emplace({group, ""}, make_string(""), backend);
    layers[layer].insert_or_assign(Names(group, name), std::pair(std::move(value), backend));
}

std::string FakeStore::described(const std::string &layer, const std::string &group, const std::string &name) {
    const auto found = layers[layer].find({group, name});
    if (found == layers[layer].end())
        return "none";
    const xdata &value = *found->second.first;
    return varnel::name_of_type(value.type) + std::string(" ") + varnel::print_value(value);
}

std::string FakeStore::layer_of(const Received &request) const {
    const std::string name(request.text(0));
    return name.empty() ? "user" : name;
}

std::unique_ptr<Message> FakeStore::written(std::uint32_t code, const std::string &layer, std::uint32_t changed) {
    auto answer = ok(code);
    answer->add(layer).add("sqlite").add(durability).add(++revision);
    if (code == control_set || code == control_unset)
        answer->add(changed);
    return answer;
}

std::unique_ptr<Message> FakeStore::get(const Received &request) {
    const std::string layer = layer_of(request);
    const auto found = layers[layer].find({std::string(request.text(1)), std::string(request.text(2))});
    if (found == layers[layer].end())
        return refusal(control_get, Status::not_found, "no such value");
    auto answer = ok(control_get);
    answer->add(copy_of(*found->second.first)).add(layer).add(found->second.second);
    return answer;
}

std::unique_ptr<Message> FakeStore::set(const Received &request) {
    const std::string layer = layer_of(request);
    durability = request.uint32(1);
    flags = request.uint32(2);
    for (std::size_t i = 3; i < request.size(); i += 3)
        staged_.emplace_back(Names(request.text(i), request.text(i + 1)), copy_of(request.at(i + 2)));
    if ((flags & varnel::protocol::kWriteMore) != 0)
        return written(control_set, layer, 0);
    if ((flags & varnel::protocol::kWriteReplace) != 0)
        layers[layer].clear();
    const auto changed = static_cast<std::uint32_t>(staged_.size());
    for (auto &[names, value] : staged_)
        put(layer, names.first, names.second, std::move(value));
    staged_.clear();
    ++writes;
    return written(control_set, layer, changed);
}

std::unique_ptr<Message> FakeStore::unset(const Received &request) {
    const std::string layer = layer_of(request);
    flags = request.uint32(2);
    for (std::size_t i = 3; i < request.size(); i += 2) {
        if (layers[layer].erase({std::string(request.text(i)), std::string(request.text(i + 1))}) == 0)
            return refusal(control_unset, Status::not_found, "no such value");
    }
    return written(control_unset, layer, 1);
}

std::unique_ptr<Message> FakeStore::make_group(const Received &request) {
    const std::string layer = layer_of(request);
    durability = request.uint32(2);
    const Names group{std::string(request.text(1)), ""};
    if (!layers[layer].try_emplace(group, make_string(""), "sqlite").second)
        return refusal(control_create_group, Status::exists, "the group is there");
    return written(control_create_group, layer, 0);
}

// One page of what stands behind the last row of the page before.
std::unique_ptr<Message> FakeStore::list(const Received &request) {
    const std::string layer = layer_of(request);
    const std::string group(request.text(1));
    const bool values = request.code() == control_list;
    auto row = layers[layer].upper_bound({std::string(request.text(2)), std::string(request.text(3))});
    if (request.text(2).empty())
        row = layers[layer].lower_bound({group, ""});
    std::vector<Rows::const_iterator> rows;
    bool more = false;
    for (; row != layers[layer].end() && !more && (group.empty() || row->first.first == group); ++row) {
        more = rows.size() == page;
        if (!more)
            rows.push_back(row);
    }
    auto answer = ok(request.code());
    answer->add(layer).add(std::uint32_t{more});
    for (const auto &found : rows) {
        answer->add(found->first.first).add(found->first.second);
        if (values)
            answer->add(copy_of(*found->second.first)).add(found->second.second);
    }
    return answer;
}

std::unique_ptr<Message> FakeStore::status(const Received &request) {
    using namespace varnel::protocol;
    auto answer = ok(control_status);
    if (request.size() != 0) {
        answer->add(layer_of(request)).add("connection 7 (pid 1, user 0)");
        const std::string layer = layer_of(request);
        answer->add(layer).add("sqlite").add(std::uint32_t{kKeyHasValue | kKeyWins | kKeyWritesGoHere});
        answer->add(make_int32(1400));
        answer->add(layer).add("defaults").add(std::uint32_t{kKeyHasValue | kKeyHidden | kKeyReadOnly});
        answer->add(make_int32(1500));
        return answer;
    }
    answer->add(revision).add("user");
    for (const auto &[layer, rows] : layers) {
        const std::uint32_t shared = layer == "user" ? kBackendDefaultLayer : 0U;
        answer->add(layer).add("sqlite").add("sqlite.so").add(make_int32(10)).add(shared | kBackendWritesGoHere);
        answer->add(std::uint32_t{1}).add("");
        answer->add(layer).add("defaults").add("defaults.so").add(make_int32(0));
        answer->add(shared | kBackendReadOnly | kBackendFailing).add(std::uint32_t{1}).add("no \033[31mfile");
    }
    return answer;
}

std::unique_ptr<Message> FakeStore::other(const Received &request) {
    auto answer = ok(control_other);
    if (request.text(0) == "version") {
        answer->add("1.2.3").add(std::uint32_t{1});
    } else {
        for (const auto &[name, number] : limits)
            answer->add(name).add(number);
    }
    return answer;
}

std::unique_ptr<Message> FakeStore::answer(const Received &request) {
    if (request.size() > 1 && layers.count(layer_of(request)) == 0)
        return refusal(request.code(), Status::unknown_layer, "no such layer");
    switch (request.code()) {
    case control_get:
        return get(request);
    case control_set:
        return set(request);
    case control_unset:
        return unset(request);
    case control_list:
    case control_list_keys:
        return list(request);
    case control_create_group:
        return make_group(request);
    case control_status:
        return status(request);
    case control_other:
        return other(request);
    default:
        return refusal(request.code(), Status::unsupported, "not here");
    }
}

} // namespace ctl_tests
