// SPDX-License-Identifier: MIT
#include "daemon/layer_store.h"

#include "common/setting_words.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>
#include <stdexcept>
#include <utility>

namespace varnel::daemon {

namespace {

using RowKey = std::pair<std::string, std::string>;

using Entry = std::pair<Value, const BackendAccess *>;
using Entries = std::map<RowKey, Entry>;

// Bytes of a row in an answer, at most: four parameters with their headers and zero bytes.
std::size_t size_of_row(std::string_view group, std::string_view name, const xdata *value,
                        const BackendAccess &source) {
    constexpr std::size_t kRowOverhead = 32;
    const std::size_t bytes = kRowOverhead + group.size() + name.size() + source.name().size();
    return value != nullptr && value->type == XDATA_STRING ? bytes + value->value.s.len : bytes;
}

// Collects what one backend has behind the start of the page, until the page is more than full. What it leaves out lies
// behind the last entry that it took: *end is then the last one that counts.
class Collector {
public:
    Collector(const PageRequest &request, const BackendAccess &source, Entries &entries)
        : request_(request), source_(source), entries_(entries), start_(request.after_group, request.after_name) {}

    bool take(std::string_view group, std::string_view name, const xdata *value) {
        RowKey key(group, name);
        if (key <= start_)
            return true;
        if (full_) {
            end_ = last_;
            return false;
        }
        const bool copy = request_.values && value != nullptr;
        bytes_ += size_of_row(group, name, copy ? value : nullptr, source_);
        ++rows_;
        full_ = rows_ >= request_.most_rows || bytes_ > request_.most_bytes;
        last_ = key;
        entries_.try_emplace(std::move(key), Entry{copy ? copy_of(*value) : nullptr, &source_});
        return true;
    }

    [[nodiscard]] const std::optional<RowKey> &end() const { return end_; }

private:
    const PageRequest &request_;
    const BackendAccess &source_;
    Entries &entries_;
    const RowKey start_;
    std::size_t rows_ = 0;
    std::size_t bytes_ = 0;
    bool full_ = false;
    RowKey last_;
    std::optional<RowKey> end_;
};

// Moves the entries up to end into the page, as long as they fit.
void fill(Page &page, Entries &entries, const std::optional<RowKey> &end, const PageRequest &request) {
    std::size_t bytes = 0;
    for (auto &[key, entry] : entries) {
        bytes += size_of_row(key.first, key.second, entry.first.get(), *entry.second);
        const bool fits = page.rows.empty() || (page.rows.size() < request.most_rows && bytes <= request.most_bytes);
        if (!fits || (end && key > *end)) {
            page.more = true;
            return;
        }
        page.rows.push_back({key.first, key.second, std::move(entry.first), entry.second});
    }
    page.more = end.has_value();
}

int durability_of(const layer &record) {
    const std::string text = confparser_getstring(record.config, kDurability.name, kDurability.fallback);
    const auto *const found = std::find(std::begin(kDurabilityWords), std::end(kDurabilityWords), text);
    if (found == std::end(kDurabilityWords))
        throw std::runtime_error(std::string("layer ") + record.name + ": durability \"" + text + "\" is not " +
                                 kDurability.expected);
    return static_cast<int>(std::distance(std::begin(kDurabilityWords), found));
}

} // namespace

LayerStore::LayerStore(layer *record)
    : name_(record->name), read_only_(layer_check_readonly(record) != 0), is_default_(record->is_default != 0),
      durability_(durability_of(*record)) {
    for (int i = 0; i < record->backend_count; ++i)
        backends_.emplace_back(record->backends[i]);
    const auto found = std::find_if(backends_.begin(), backends_.end(),
                                    [](const BackendAccess &backend) { return !backend.read_only(); });
    if (found != backends_.end() && !read_only_)
        writer_ = static_cast<std::size_t>(std::distance(backends_.begin(), found));
    // A storage in memory answers so whatever is wanted.
    keeps_changes_ = !writer_ || backends_[*writer_].sync(DURABILITY_FOLDER) != DURABILITY_MEMORY;
}

Found LayerStore::find(const std::string &group, const std::string &name, std::size_t first, std::size_t last) const {
    const KeyRef key(name_, group, name);
    for (std::size_t i = first; i < last; ++i) {
        Value value;
        const int result = backends_[i].get(key, value);
        if (result != -ENOENT)
            return {result, std::move(value), &backends_[i]};
    }
    return {-ENOENT, nullptr, nullptr};
}

int LayerStore::find_group(const std::string &group) const {
    const KeyRef key(name_, group, std::string());
    for (const BackendAccess &backend : backends_) {
        const int result = backend.has_group(key);
        if (result != -ENOENT)
            return result;
    }
    return -ENOENT;
}

Page LayerStore::list(const PageRequest &request) const {
    Page page;
    page.result = request.group.empty() ? 0 : -ENOENT;
    const KeyRef group_key(name_, request.group, std::string());
    Entries entries; // of the highest backend that has a key: it is collected first
    std::optional<RowKey> end;
    for (const BackendAccess &backend : backends_) {
        Collector collector(request, backend, entries);
        const int result =
            backend.list(request.group.empty() ? nullptr : &group_key,
                         [&](auto group, auto name, auto *value) { return collector.take(group, name, value); });
        if (result == -ENOENT)
            continue;
        page.result = result;
        if (result != 0) {
            page.failed = &backend;
            return page;
        }
        if (collector.end() && (!end || *collector.end() < *end))
            end = collector.end();
    }
    fill(page, entries, end, request);
    return page;
}

} // namespace varnel::daemon
