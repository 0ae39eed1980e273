// SPDX-License-Identifier: MIT
#include "server/requests.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <vector>

namespace demo {

namespace {

// A request to a layer.
struct Request {
    const layer &where;
    std::string group;
    const Received &message;

    [[nodiscard]] Key key(const std::string &name = "") const { return make_key(where, group, name); }
};

// What goes into the answer behind the result and the names.
using Answer = std::vector<Value>;

constexpr std::size_t kFirstParameter = 2; // behind layer and group

Outcome create_group(const Request &request, Answer &) {
    return set_value(request.where, *request.key(), nullptr);
}

Outcome remove_group(const Request &request, Answer &) {
    return unset_value(request.where, *request.key());
}

Outcome set(const Request &request, Answer &) {
    Outcome outcome{-EINVAL, ""};
    for (std::size_t i = kFirstParameter; i < request.message.size(); i += 2) {
        const Key key = request.key(request.message.text(i));
        outcome = set_value(request.where, *key, &request.message.at(i + 1));
        if (outcome.result != 0)
            break;
    }
    return outcome;
}

Outcome get(const Request &request, Answer &answer) {
    Value value;
    Outcome outcome = get_value(request.where, *request.key(request.message.text(kFirstParameter)), value);
    if (value != nullptr)
        answer.push_back(std::move(value));
    return outcome;
}

Outcome unset(const Request &request, Answer &) {
    return unset_value(request.where, *request.key(request.message.text(kFirstParameter)));
}

Outcome list(const Request &request, Answer &answer) {
    Entries entries;
    Outcome outcome = list_all(request.where, request.group, entries);
    for (auto &[key, entry] : entries) {
        if (entry.value == nullptr)
            continue;
        answer.push_back(make_text(key));
        answer.push_back(std::move(entry.value));
    }
    return outcome;
}

Outcome list_keys(const Request &request, Answer &answer) {
    Entries entries;
    Outcome outcome = list_all(request.where, request.group, entries);
    for (const auto &[key, entry] : entries)
        answer.push_back(make_text(key));
    return outcome;
}

Outcome status(const Request &request, Answer &answer) {
    Outcome outcome{0, ""};
    visit_backends(request.where, [&](const backend &b, const std::string &module, std::uint32_t values) {
        outcome.backends += outcome.backends.empty() ? "" : "+";
        outcome.backends += b.name;
        answer.push_back(make_text(b.name));
        answer.push_back(make_text(module));
        answer.push_back(make_int32(confparser_getint(b.config, "priority", 0)));
        answer.push_back(make_uint32(values));
        answer.push_back(make_boolean(!writable(request.where, b)));
    });
    return outcome;
}

Outcome sync(const Request &request, Answer &) {
    return sync_all(request.where);
}

// The server stops by itself once it has answered.
Outcome stop(const Request &, Answer &) {
    return {0, ""};
}

using HandlerFunction = Outcome (*)(const Request &, Answer &);

struct Handler {
    std::uint32_t code;
    HandlerFunction handle;
};

constexpr Handler kHandlers[] = {
    {control_create_group, create_group},
    {control_remove_group, remove_group},
    {control_set, set},
    {control_get, get},
    {control_unset, unset},
    {control_list, list},
    {control_list_keys, list_keys},
    {control_status, status},
    {control_sync, sync},
    {control_other, stop},
};

Outcome dispatch(const Request &request, Answer &answer) {
    const Handler *const found =
        std::find_if(std::begin(kHandlers), std::end(kHandlers),
                     [&request](const Handler &handler) { return handler.code == request.message.code(); });
    return found != std::end(kHandlers) ? found->handle(request, answer) : Outcome{-ENOSYS, ""};
}

} // namespace

Message answer(const Store &store, const Received &request) {
    Message message(request.code());
    const layer *const where = store.find(request.text(0));
    if (where == nullptr)
        return std::move(message.add(make_int32(-ENOENT)).add("").add(""));
    Answer values;
    const Outcome outcome = dispatch({*where, request.text(1), request}, values);
    message.add(make_int32(outcome.result)).add(where->name).add(outcome.backends);
    for (Value &value : values)
        message.add(std::move(value));
    return message;
}

} // namespace demo
