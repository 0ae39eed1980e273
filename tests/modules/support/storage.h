// SPDX-License-Identifier: MIT
// Storage modules as the daemon has them: opened by the library, in layers, called through their entry points.
#pragma once

#include "common/records.h"
#include "module.h"

#include <varnel/storage.h>

#include <map>
#include <string>
#include <vector>

namespace varnel::test {

Key key_of(const char *group, const char *name = nullptr);

// "TYPE TEXT"; "group" for no value.
std::string words(const xdata *value);

// The entry points of one backend copy.
class Store {
public:
    Store() = default;
    explicit Store(backend *b) : b_(b) {}

    [[nodiscard]] backend *copy() const { return b_; }
    int set(const xkey *key, const xdata *value) const { return point<module_set_value_t>("set")(b_, key, value); }
    int unset(const xkey *key) const { return point<module_unset_value_t>("unset")(b_, key); }
    int get(const xkey *key, xdata **value) const { return point<module_get_value_t>("get")(b_, key, value); }
    int list(const xkey *key, module_visit_t visit, void *context) const {
        return point<module_list_all_t>("list")(b_, key, visit, context);
    }
    [[nodiscard]] int sync(int wanted = DURABILITY_FOLDER) const { return point<module_sync_t>("sync")(b_, wanted); }

    [[nodiscard]] int set(const std::string &group, const std::string &name, const Value &value) const;
    [[nodiscard]] int create_group(const std::string &group) const;
    [[nodiscard]] int unset(const std::string &group, const std::string &name) const;
    [[nodiscard]] int unset(const std::string &group) const;

    // The value, or nullptr.
    [[nodiscard]] Value get(const std::string &group, const std::string &name) const;

    // The value in words, or the result.
    std::string read(const char *group, const char *name = nullptr) const;

    // Lines "layer:group:name VALUE" in the order of the visits; the result as the only line when it is not 0.
    std::vector<std::string> listing(const xkey *key = nullptr) const;

    template <class Function> Function point(const char *action) const {
        return reinterpret_cast<Function>(backend_get_function(b_, action)->address);
    }

private:
    backend *b_ = nullptr;
};

using Settings = std::map<std::string, std::string>;

// A backend in layers, named like its module unless it has a name.
class Storage {
public:
    explicit Storage(const std::string &module, const Settings &settings = {},
                     const std::vector<std::string> &layers = {"user"}, const std::string &name = "");
    Storage(const Storage &) = delete;
    Storage &operator=(const Storage &) = delete;
    ~Storage();

    [[nodiscard]] Store store(const std::string &layer = "user") const;
    [[nodiscard]] hashmap *backends() const { return backends_; }
    [[nodiscard]] layer *find_layer(const std::string &name) const { return get_layer(layers_, name.c_str()); }

private:
    hashmap *backends_;
    hashmap *layers_;
};

// A folder of its own, removed with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;
    ~TemporaryFolder();

    [[nodiscard]] const std::string &path() const { return path_; }
    [[nodiscard]] std::string path(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &bytes);

} // namespace varnel::test
