// SPDX-License-Identifier: MIT
// get, list, list_keys, status, other.
#include "daemon/engine.h"

#include <cerrno>
#include <utility>

namespace varnel::daemon {

using protocol::Message;
using protocol::Status;

namespace {

constexpr std::size_t kHeadParameters = 3; // status, layer, more

void add_value_or_empty(Message &message, const Value &value) {
    message.add(value != nullptr ? copy_of(*value) : make_string(""));
}

std::string failure_of(const BackendAccess &backend) {
    const int result = backend.sync(DURABILITY_MEMORY);
    return result < 0 ? reason_of(result) : "";
}

std::uint32_t flags_of(const LayerStore &layer, std::size_t position, bool failing) {
    std::uint32_t flags = layer.backends()[position].read_only() ? protocol::kBackendReadOnly : 0;
    flags |= layer.read_only() ? protocol::kBackendLayerReadOnly : 0;
    flags |= layer.writer() == position ? protocol::kBackendWritesGoHere : 0;
    flags |= failing ? protocol::kBackendFailing : 0;
    return flags;
}

void add_key_rows(Message &answer, const LayerStore &layer, const GroupAndName &key) {
    bool seen = false;
    for (std::size_t i = 0; i < layer.backends().size(); ++i) {
        const BackendAccess &backend = layer.backends()[i];
        const Found found = layer.find(key.group, key.name, i, i + 1);
        const bool failing = found.result != 0 && found.result != -ENOENT;
        std::uint32_t flags = layer.writer() == i ? protocol::kKeyWritesGoHere : 0;
        flags |= backend.read_only() || layer.read_only() ? protocol::kKeyReadOnly : 0;
        flags |= failing ? protocol::kKeyFailing : 0;
        if (found.result == 0)
            flags |= protocol::kKeyHasValue | (seen ? protocol::kKeyHidden : protocol::kKeyWins);
        seen = seen || found.result != -ENOENT;
        answer.add(layer.name()).add(backend.name()).add(flags);
        add_value_or_empty(answer, found.value);
    }
}

} // namespace

Reply Engine::get(const Request &request) {
    expect_count(request, 3);
    const std::string group = key_part(request, 1);
    const std::string name = key_part(request, 2);
    const LayerStore &layer = readable_layer(request);
    Found found = layer.find(group, name);
    if (found.result != 0)
        throw refusal_of(found.result, found.backend != nullptr ? found.backend->name() : "",
                         layer.name() + ":" + group + ":" + name);
    Message answer = ok_answer(request.code());
    answer.add(std::move(found.value)).add(layer.name()).add(found.backend->name());
    return answer;
}

Reply Engine::page_of(const Request &request, bool values) {
    expect_count(request, 4);
    const std::size_t width = values ? 4 : 2;
    PageRequest wanted{key_part_or_empty(request, 1),
                       key_part_or_empty(request, 2),
                       key_part_or_empty(request, 3),
                       values,
                       (protocol::kMostParameters - kHeadParameters) / width,
                       protocol::kPageBytes};
    const LayerStore &layer = readable_layer(request);
    if (!request.session.takes_answers())
        return std::nullopt;
    Page page = layer.list(wanted);
    if (page.result != 0)
        throw refusal_of(page.result, page.failed != nullptr ? page.failed->name() : "",
                         layer.name() + ":" + wanted.group);
    Message answer = ok_answer(request.code());
    answer.add(layer.name()).add(std::uint32_t{page.more});
    for (Row &row : page.rows) {
        answer.add(row.group).add(row.name);
        if (values)
            answer.add(row.value != nullptr ? std::move(row.value) : make_string("")).add(row.backend->name());
    }
    return answer;
}

Reply Engine::list(const Request &request) {
    return page_of(request, true);
}

Reply Engine::list_keys(const Request &request) {
    return page_of(request, false);
}

Reply Engine::status(const Request &request) {
    return request.message.size() == 0 ? status_of_store(request) : status_of_key(request);
}

Reply Engine::status_of_store(const Request &request) {
    if (!pending_.empty())
        throw Defer(); // asking a backend how it is brings its changes to the storage
    Message answer = ok_answer(request.code());
    answer.add(history_.revision()).add(store_.layers().front()->name());
    for (const auto &layer : store_.layers()) {
        for (std::size_t i = 0; i < layer->backends().size(); ++i) {
            const BackendAccess &backend = layer->backends()[i];
            const std::string failure = failure_of(backend);
            std::uint32_t flags = flags_of(*layer, i, !failure.empty());
            flags |= layer == store_.layers().front() ? protocol::kBackendDefaultLayer : 0;
            answer.add(layer->name()).add(backend.name()).add(backend.library()).add(make_int32(backend.priority()));
            answer.add(flags).add(static_cast<std::uint32_t>(layer->durability())).add(failure);
        }
    }
    return answer;
}

Reply Engine::status_of_key(const Request &request) {
    expect_count(request, 3);
    const GroupAndName key{key_part(request, 1), key_part(request, 2)};
    const LayerStore &asked = any_layer(request);
    if (!pending_.empty())
        throw Defer();
    const auto holder = locks_.holder({asked.name(), key.group, key.name});
    Message answer = ok_answer(request.code());
    answer.add(asked.name()).add(holder ? describe(*holder) : std::string());
    add_key_rows(answer, asked, key);
    for (const auto &layer : store_.layers()) {
        if (layer.get() != &asked)
            add_key_rows(answer, *layer, key);
    }
    return answer;
}

Reply Engine::other(const Request &request) {
    expect_count(request, 1);
    const std::string_view subject = request.message.text(0);
    Message answer = ok_answer(request.code());
    if (subject == "version") {
        answer.add(VARNEL_VERSION).add(protocol::kVersion);
    } else if (subject == "statistics") {
        for (const StatisticsRow &row : kStatistics)
            answer.add(row.name).add(statistics_.*row.counter);
    } else if (subject == "limits") {
        for (std::size_t i = 0; i < std::size(protocol::kLimits); ++i)
            answer.add(protocol::kLimits[i].name).add(std::uint64_t{limits_[static_cast<Limit>(i)]});
    } else {
        throw Refused(Status::unsupported, R"(other knows of "version", "statistics" and "limits")");
    }
    return answer;
}

} // namespace varnel::daemon
