// SPDX-License-Identifier: MIT
#include "modules/sqlite/settings.h"

#include "common/text.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>

namespace varnel::modules {

namespace {

// The first word is the default.
std::string word(const StoreSettings &settings, const char *name, std::initializer_list<const char *> words) {
    std::string text = settings.text(name, *words.begin());
    if (std::find(words.begin(), words.end(), text) != words.end())
        return text;
    std::string known;
    for (const char *const each : words)
        known.append(known.empty() ? "" : ", ").append(each);
    throw StoreError(-EINVAL,
                     std::string("\"").append(name) + "\" is " + in_quotes(text) + ", which is none of " + known);
}

} // namespace

SqliteSettings read_settings(const StoreSettings &settings) {
    SqliteSettings read{settings.text("folder"), word(settings, "journal", {"wal", "delete", "truncate", "persist"}),
                        word(settings, "sync", {"full", "extra", "normal", "off"})};
    if (read.folder.empty())
        throw StoreError(-EINVAL, "the setting \"folder\" is missing: the folder of the store's files");
    return read;
}

} // namespace varnel::modules
