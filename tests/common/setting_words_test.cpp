// SPDX-License-Identifier: MIT
#include "common/setting_words.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using varnel::is_word_of;
using varnel::WordSetting;

constexpr const WordSetting *kAll[] = {&varnel::kDurability, &varnel::kSqliteJournal, &varnel::kSqliteSync};

TEST(SettingWords, OnlyWholeWordsAreSome) {
    for (const char *const word : {"wal", "delete", "truncate", "persist"})
        EXPECT_TRUE(is_word_of(varnel::kSqliteJournal, word)) << word;
    for (const char *const word : {"", "w", "wal ", "walt", "WAL", "memory", "off"})
        EXPECT_FALSE(is_word_of(varnel::kSqliteJournal, word)) << word;
}

TEST(SettingWords, WhatIsExpectedAreTheWords) {
    for (const WordSetting *const setting : kAll) {
        std::string list;
        for (std::size_t i = 0; i < setting->words.size(); ++i)
            list.append(i == 0 ? "" : i + 1 < setting->words.size() ? ", " : " or ").append(setting->words[i]);
        EXPECT_EQ(setting->expected, list);
        EXPECT_TRUE(is_word_of(*setting, setting->fallback)) << setting->name;
    }
}

} // namespace
