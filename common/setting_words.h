// SPDX-License-Identifier: MIT
// Settings that are one word of a few: for those who read them and for those who check them.
#pragma once

#include <algorithm>
#include <span>
#include <string_view>

namespace varnel {

struct WordSetting {
    const char *name;
    std::span<const char *const> words;
    const char *fallback; // where nothing is set
    const char *expected; // the words, for messages
};

inline bool is_word_of(const WordSetting &setting, std::string_view text) {
    return std::find(setting.words.begin(), setting.words.end(), text) != setting.words.end();
}

// How safe a layer's changes are when they are answered, in the order of the numbers in modules/module.h.
inline constexpr const char *kDurabilityWords[] = {"memory", "file", "folder"};
inline constexpr WordSetting kDurability = {"durability", kDurabilityWords, "file", "memory, file or folder"};

// Of the module sqlite, as its PRAGMA journal_mode and PRAGMA synchronous have them.
inline constexpr const char *kSqliteJournals[] = {"wal", "delete", "truncate", "persist"};
inline constexpr WordSetting kSqliteJournal = {"journal", kSqliteJournals, "wal", "wal, delete, truncate or persist"};
inline constexpr const char *kSqliteSyncs[] = {"full", "extra", "normal", "off"};
inline constexpr WordSetting kSqliteSync = {"sync", kSqliteSyncs, "full", "full, extra, normal or off"};

} // namespace varnel
