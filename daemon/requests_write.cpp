// SPDX-License-Identifier: MIT
// create_group, remove_group, set, unset, sync.
#include "daemon/engine.h"

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <optional>
#include <set>
#include <utility>

namespace varnel::daemon {

using protocol::Status;

namespace {

constexpr std::size_t kFirstRow = 3; // behind layer, durability and flags

std::string words_of(const LayerStore &layer, const std::string &group, const std::string &name) {
    return layer.name() + (group.empty() ? "" : ":" + group) + (name.empty() ? "" : ":" + name);
}

WriteRow row_at(const Request &request, std::size_t index, bool with_value, std::uint32_t value_bytes) {
    WriteRow row{key_part(request, index), key_part(request, index + 1), nullptr};
    if (!with_value)
        return row;
    const xdata &value = request.message.at(index + 2);
    if (value.type == XDATA_STRING && value.value.s.len > value_bytes)
        throw Refused(Status::too_large, "a value of " + std::to_string(value.value.s.len) + " bytes");
    if (value.type == XDATA_BOOLEAN && value.value.b > 1)
        throw Refused(Status::invalid, "a boolean of " + std::to_string(value.value.b) + ", which is neither 0 nor 1");
    row.value = copy_of(value);
    return row;
}

std::vector<WriteRow> rows_of(const Request &request, bool with_values, std::uint32_t value_bytes) {
    const std::size_t width = with_values ? 3 : 2;
    const std::size_t parameters = request.message.size();
    if (parameters < kFirstRow || (parameters - kFirstRow) % width != 0)
        throw Refused(Status::invalid, std::string(control_string(request.code())) + ": " + std::to_string(parameters) +
                                           " parameters are no whole rows");
    std::vector<WriteRow> rows;
    for (std::size_t i = kFirstRow; i < parameters; i += width)
        rows.push_back(row_at(request, i, with_values, value_bytes));
    return rows;
}

std::size_t bytes_of(const std::vector<WriteRow> &rows) {
    return std::accumulate(rows.begin(), rows.end(), std::size_t{0}, [](std::size_t bytes, const WriteRow &row) {
        return bytes + protocol::kStagedRowBytes + row.group.size() + row.name.size() +
               (row.value != nullptr ? protocol::encoded_size(*row.value) : 0);
    });
}

std::uint32_t flags_of(const Request &request, bool with_values) {
    const std::uint32_t flags = request.message.uint32(2);
    const std::uint32_t known = with_values ? protocol::kWriteFlags : protocol::kWriteFlags & ~protocol::kWriteReplace;
    if ((flags & ~known) != 0)
        throw Refused(Status::invalid, "flags that this request does not have");
    return flags;
}

// Of rows with one key the last one counts: nobody sees what stood there between them.
void keep_last_of_each_key(std::vector<WriteRow> &rows) {
    if (rows.size() < 2)
        return;
    std::set<std::pair<std::string_view, std::string_view>> later;
    std::for_each(rows.rbegin(), rows.rend(), [&later](WriteRow &row) {
        if (!later.emplace(row.group, row.name).second)
            row.group.clear(); // which no row is without
    });
    std::erase_if(rows, [](const WriteRow &row) { return row.group.empty(); });
}

// Adds what the backend holds beside the rows to others: values in their groups, and other groups, whose names are
// empty.
int find_others(const BackendAccess &writer, const std::vector<WriteRow> &rows, std::vector<WriteRow> &others) {
    std::set<std::pair<std::string_view, std::string_view>> kept;
    std::set<std::string_view> kept_groups;
    for (const WriteRow &row : rows) {
        kept.emplace(row.group, row.name);
        kept_groups.insert(row.group);
    }
    return writer.list(nullptr, [&](std::string_view group, std::string_view name, const xdata *) {
        const bool group_stays = kept_groups.contains(group);
        if (name.empty() ? !group_stays : group_stays && !kept.contains({group, name}))
            others.push_back({std::string(group), std::string(name), nullptr});
        return true;
    });
}

} // namespace

// A change that has failed is refused, and everything that the request has done so far is taken back.
void Engine::expect_done(ChangeSet &changes, int result, const std::string &group, const std::string &name) {
    if (result == 0)
        return;
    const BackendAccess &failed = changes.failed() != nullptr ? *changes.failed() : changes.writer();
    take_back(changes); // the backend outlives the changes
    throw refusal_of(result, failed.name(), words_of(changes.layer(), group, name));
}

void Engine::remove_all(ChangeSet &changes, const std::vector<WriteRow> &rows) {
    for (const WriteRow &row : rows) {
        const int result = row.name.empty() ? changes.remove_group(row.group) : changes.unset(row.group, row.name);
        expect_done(changes, result, row.group, row.name);
    }
}

Reply Engine::create_group(const Request &request) {
    expect_count(request, 3);
    const std::string group = key_part(request, 1);
    const std::uint32_t durability = durability_at(request, 2);
    const LayerStore &layer = writable_layer(request);
    ChangeSet changes(layer);
    expect_done(changes, changes.create_group(group), group, "");
    return do_write(request, std::move(changes), durability);
}

Reply Engine::remove_group(const Request &request) {
    expect_count(request, 3);
    const std::string group = key_part(request, 1);
    const std::uint32_t durability = durability_at(request, 2);
    const LayerStore &layer = writable_layer(request);
    ChangeSet changes(layer);
    expect_done(changes, changes.remove_group(group), group, "");
    return do_write(request, std::move(changes), durability);
}

Reply Engine::set(const Request &request) {
    return write_rows(request, true);
}

Reply Engine::unset(const Request &request) {
    return write_rows(request, false);
}

// Adds the rows to what the connection has sent before, and keeps all of them when more are to come. True then.
bool Engine::stage(const Request &request, const LayerStore &layer, std::vector<WriteRow> &rows, bool more) const {
    Session &session = request.session;
    const std::optional<StagedWrite> &staged = session.staged();
    if (!more && !staged)
        return false;
    if (staged && (staged->code != request.code() || staged->layer != layer.name())) {
        session.drop_staged();
        throw Refused(Status::invalid, "another write is waiting for the rest of its rows; it has been dropped");
    }
    const std::size_t bytes = bytes_of(rows);
    if ((staged ? staged->bytes : 0) + bytes > limits_[Limit::staged_bytes]) {
        session.drop_staged();
        throw Refused(Status::too_large, "a write of too many bytes; it has been dropped");
    }
    session.stage(request.code(), layer.name(), std::move(rows), bytes);
    if (!more)
        rows = session.take_staged();
    return more;
}

void Engine::respect_locks(const Request &request, const LayerStore &layer, const std::vector<WriteRow> &rows) const {
    for (const WriteRow &row : rows) {
        const auto holder = locks_.holder({layer.name(), row.group, row.name}, request.session.number());
        if (holder)
            throw Refused(Status::busy, words_of(layer, row.group, row.name) + " is locked by " + describe(*holder));
    }
}

Reply Engine::write_rows(const Request &request, bool with_values) {
    std::vector<WriteRow> rows = rows_of(request, with_values, limits_[Limit::value_bytes]);
    const std::uint32_t durability = durability_at(request, 1);
    const std::uint32_t flags = flags_of(request, with_values);
    const LayerStore &layer = writable_layer(request);
    ChangeSet changes(layer);
    if (stage(request, layer, rows, (flags & protocol::kWriteMore) != 0))
        return write_answer(request.code(), changes, DURABILITY_MEMORY, history_.revision(), 0);
    if (rows.empty() && (flags & protocol::kWriteReplace) == 0)
        throw Refused(Status::invalid, std::string(control_string(request.code())) + " without a row");
    keep_last_of_each_key(rows);
    std::vector<WriteRow> others;
    if ((flags & protocol::kWriteReplace) != 0)
        expect_done(changes, find_others(changes.writer(), rows, others), "", "");
    if ((flags & protocol::kWriteRespectLocks) != 0) {
        respect_locks(request, layer, rows);
        respect_locks(request, layer, others);
    }
    remove_all(changes, others);
    for (const WriteRow &row : rows) {
        const int result =
            with_values ? changes.set(row.group, row.name, row.value) : changes.unset(row.group, row.name);
        expect_done(changes, result, row.group, row.name);
    }
    return do_write(request, std::move(changes), durability);
}

Reply Engine::sync(const Request &request) {
    if (request.message.size() > 1)
        expect_count(request, 1);
    const LayerStore *const only = request.message.size() == 1 ? &any_layer(request) : nullptr;
    if (!pending_.empty())
        throw Defer();
    int least = DURABILITY_FOLDER;
    std::optional<Refused> first_failure; // which must not keep the other layers from the storage
    for (const auto &layer : store_.layers()) {
        if ((only != nullptr && only != layer.get()) || !layer->writer())
            continue;
        const BackendAccess &writer = layer->backends()[*layer->writer()];
        ++statistics_.syncs;
        const int reached = writer.sync(DURABILITY_FOLDER);
        note_synced(*layer, reached, "cannot store changes, which stay in memory");
        if (reached >= 0)
            std::erase(unsynced_, layer.get());
        else if (!first_failure)
            first_failure = refusal_of(reached, writer.name(), "layer " + layer->name());
        least = std::min(least, reached);
    }
    if (first_failure)
        throw Refused(*first_failure);
    protocol::Message answer = ok_answer(request.code());
    answer.add(static_cast<std::uint32_t>(least));
    return answer;
}

} // namespace varnel::daemon
