// SPDX-License-Identifier: MIT
#include "powercut/disk.h"

#include <algorithm>

namespace varnel::test {

namespace {

template <class... Cases> struct Overloaded : Cases... { using Cases::operator()...; };
template <class... Cases> Overloaded(Cases...) -> Overloaded<Cases...>;

} // namespace

void Disk::happen(const Event &event) {
    std::visit(Overloaded{
                   [this](const Written &written) { contents_[written.file].unsynced.emplace_back(written); },
                   [this](const Truncated &truncated) { contents_[truncated.file].unsynced.emplace_back(truncated); },
                   [this](const FileSynced &synced) {
                       Content &content = contents_[synced.file];
                       for (const ContentChange &each : content.unsynced)
                           change(content.synced, each);
                       content.unsynced.clear();
                   },
                   [this](const FolderSynced &) {
                       for (const NameChange &each : name_changes_)
                           change(names_, each);
                       name_changes_.clear();
                   },
                   [this](const auto &name_change) { name_changes_.emplace_back(name_change); },
               },
               event);
}

void Disk::change(Names &names, const NameChange &change) {
    std::visit(Overloaded{
                   [&](const Created &created) { names[created.path] = created.file; },
                   [&](const Renamed &renamed) {
                       if (auto name = names.extract(renamed.from)) {
                           names.erase(renamed.to);
                           name.key() = renamed.to;
                           names.insert(std::move(name));
                       }
                   },
                   [&](const Removed &removed) { names.erase(removed.path); },
               },
               change);
}

void Disk::change(std::string &content, const ContentChange &change) {
    std::visit(Overloaded{
                   [&](const Written &written) {
                       content.resize(std::max(content.size(), written.offset + written.bytes.size()));
                       content.replace(written.offset, written.bytes.size(), written.bytes);
                   },
                   [&](const Truncated &truncated) { content.resize(truncated.size); },
               },
               change);
}

std::string Disk::after_cut(const Content &content, Unsynced unsynced, std::mt19937 &random) {
    std::string left = content.synced;
    for (ContentChange each : content.unsynced) {
        if (unsynced == Unsynced::lost || (unsynced == Unsynced::some && random() % 3 == 0))
            continue;
        auto *const written = std::get_if<Written>(&each);
        if (unsynced == Unsynced::some && written != nullptr && random() % 3 == 0)
            written->bytes.resize(random() % (written->bytes.size() + 1)); // torn
        change(left, each);
    }
    return left;
}

Files Disk::after_cut(Unsynced unsynced, std::mt19937 &random) const {
    Names names = names_;
    std::size_t changes = unsynced == Unsynced::lost ? 0 : name_changes_.size();
    if (unsynced == Unsynced::some)
        changes = random() % (changes + 1);
    for (std::size_t i = 0; i < changes; ++i)
        change(names, name_changes_[i]);
    Files files;
    for (const auto &[path, file] : names) {
        const auto content = contents_.find(file);
        files[path] = content != contents_.end() ? after_cut(content->second, unsynced, random) : std::string();
    }
    return files;
}

} // namespace varnel::test
