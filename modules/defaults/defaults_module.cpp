// SPDX-License-Identifier: MIT
// defaults.so: a storage module that takes factory defaults out of a text file, and takes no changes.
//
// Settings: "file", its path, required; "required = no" makes a missing file an empty store. docs/storage.md has the
// form of the file.
#include "common/defaults_check.h"
#include "common/defaults_entry.h"
#include "modules/common/log.h"
#include "modules/common/settings.h"
#include "modules/common/store.h"

#include <cerrno>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace varnel::modules {

namespace {

class DefaultsStore final : public Store {
public:
    using Store::Store;

    void fill(const xdictionary *groups);

    int create_group(std::string_view) override { return -EROFS; }
    int set(std::string_view, std::string_view, SharedValue) override { return -EROFS; }
    int remove_group(std::string_view) override { return -EROFS; }
    int remove(std::string_view, std::string_view) override { return -EROFS; }
    // Nothing here can be lost.
    int sync(int) override { return DURABILITY_FOLDER; }
};

// The file has been checked. One that somebody changed since then is refused all the same.
void DefaultsStore::fill(const xdictionary *groups) {
    for_each_entry(groups, XDICTIONARY_GROUP, [this](const char *group, const void *settings) {
        values().create_group(group);
        for_each_entry(static_cast<const xdictionary *>(settings), XDICTIONARY_STRING,
                       [this, group](const char *key, const void *text) {
                           DefaultsEntry entry = read_defaults_entry(key, static_cast<const char *>(text));
                           if (entry.value == nullptr)
                               throw StoreError(-EBADMSG, entry.message + ": the file has changed while it was read");
                           values().set(group, entry.name, std::move(entry.value));
                       });
    });
}

// Whether there is a file. The loader would take a folder for an empty file, and wait for what comes out of a pipe.
bool is_there(const std::string &path, bool required) {
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode))
            throw StoreError(-EBADMSG, path + ": not a regular file");
        return true;
    }
    const int error = errno;
    if (error == ENOENT && !required)
        return false;
    throw StoreError(-error, path + ": " + std::error_code(error, std::generic_category()).message() +
                                 (error == ENOENT ? " (with required = no, the store would be empty)" : ""));
}

void check(const std::string &path) {
    const std::vector<ConfigFinding> findings = check_defaults(path);
    for (const ConfigFinding &finding : findings)
        (finding.error ? log_error : log_info)(print_finding(path, finding));
    if (has_errors(findings))
        throw StoreError(-EBADMSG, path + ": has errors, and none of its values is used");
}

struct TreeDeleter {
    void operator()(xdictionary *tree) const { xdictionary_del(tree); }
};

} // namespace

std::unique_ptr<Store> open_store(const StoreSettings &settings) {
    const std::string path = settings.text("file");
    if (path.empty())
        throw StoreError(-EINVAL, "the setting \"file\" is missing: the file of the defaults");
    auto store = std::make_unique<DefaultsStore>(settings.layer);
    if (!is_there(path, confparser_getboolean(settings.config, "required", 1) != 0))
        return store;
    check(path);
    const std::unique_ptr<xdictionary, TreeDeleter> tree(configurator_load(path.c_str()));
    if (tree == nullptr)
        throw StoreError(-EBADMSG, path + ": cannot be loaded");
    store->fill(tree.get());
    return store;
}

} // namespace varnel::modules
