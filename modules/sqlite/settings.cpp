// SPDX-License-Identifier: MIT
#include "modules/sqlite/settings.h"

#include "common/setting_words.h"
#include "common/text.h"
#include "modules/common/max_bytes.h"

#include <cerrno>

namespace varnel::modules {

namespace {

std::string word(const StoreSettings &settings, const WordSetting &setting) {
    std::string text = settings.text(setting.name, setting.fallback);
    if (!is_word_of(setting, text))
        throw StoreError(-EINVAL, in_quotes(setting.name) + " is " + in_quotes(text) + ", not " + setting.expected);
    return text;
}

} // namespace

SqliteSettings read_settings(const StoreSettings &settings) {
    SqliteSettings read{settings.text("folder"), word(settings, kSqliteJournal), word(settings, kSqliteSync),
                        read_max_bytes(settings)};
    if (read.folder.empty())
        throw StoreError(-EINVAL, "the setting \"folder\" is missing: the folder of the store's files");
    return read;
}

} // namespace varnel::modules
