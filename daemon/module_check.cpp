// SPDX-License-Identifier: MIT
#include "daemon/module_check.h"

#include <varnel/storage.h>

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <unistd.h>

namespace varnel::daemon {

namespace {

// The library cuts longer paths.
constexpr std::size_t kLongestPath = 255;

struct BackendsDeleter {
    void operator()(hashmap *backends) const { backends_free(backends); }
};

struct TreeDeleter {
    void operator()(xdictionary *tree) const { xdictionary_del(tree); }
};
using Tree = std::unique_ptr<xdictionary, TreeDeleter>;

// What decides about the module of a backend, as a tree of its own: backends share the groups that they are made from.
Tree module_settings(const xdictionary *settings) {
    Tree copy(xdictionary_new(0));
    if (const char *const library = confparser_getstring(settings, "library", nullptr))
        xdictionary_set(copy.get(), "library", library, XDICTIONARY_STRING);
    if (const xdictionary *const functions = confparser_getdic(settings, "function"))
        xdictionary_set(copy.get(), "function", xdictionary_dup(functions), XDICTIONARY_GROUP);
    return copy;
}

Tree module_settings_of_all(const xdictionary *backends) {
    Tree copies(xdictionary_new(0));
    for (std::uint32_t slot = 0; backends != nullptr && slot < backends->size; ++slot) {
        if (backends->keys[slot] != nullptr && backends->types[slot] == XDICTIONARY_GROUP)
            xdictionary_set(copies.get(), backends->keys[slot],
                            module_settings(static_cast<const xdictionary *>(backends->values[slot])).release(),
                            XDICTIONARY_GROUP);
    }
    return copies;
}

struct ModuleDeleter {
    void operator()(void *handle) const { dlclose(handle); }
};

std::string path_of(const backend &b, const std::string &directory) {
    std::string file = confparser_getstring(b.config, "library", b.name);
    if (!file.ends_with(".so"))
        file += ".so";
    return directory + "/" + file;
}

std::string last_error() {
    const char *const error = dlerror();
    return error != nullptr ? error : "unknown error";
}

// What keeps the file from being opened; empty, and the module in *opened, when nothing does.
std::string open_module(const std::string &path, std::unique_ptr<void, ModuleDeleter> *opened) {
    if (path.size() > kLongestPath)
        return "a path of more than " + std::to_string(kLongestPath) + " characters";
    if (access(path.c_str(), R_OK) != 0)
        return std::strerror(errno);
    opened->reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    return *opened != nullptr ? "" : last_error();
}

void check_functions(const backend &b, void *module, const std::string &words, std::vector<std::string> *failures) {
    uintptr_t token = HASHMAP_ITERATE_START;
    void *action = nullptr;
    while (const void *const value = hashmap_iterate(b.functions, &token, &action)) {
        const char *const symbol = static_cast<const backend_function *>(value)->symbol;
        if (dlsym(module, symbol) == nullptr)
            failures->push_back(words + "no function " + symbol + " for \"" + static_cast<const char *>(action) + "\"");
    }
}

void check_module(const backend &b, const std::string &directory, std::vector<std::string> *failures) {
    const std::string path = path_of(b, directory);
    const std::string words = "backend " + std::string(b.name) + ": module " + path + ": ";
    std::unique_ptr<void, ModuleDeleter> opened;
    if (const std::string failure = open_module(path, &opened); !failure.empty())
        failures->push_back(words + failure);
    else
        check_functions(b, opened.get(), words, failures);
}

} // namespace

std::vector<std::string> check_modules(const xdictionary *backends, const std::string &directory) {
    std::vector<std::string> failures;
    const Tree settings = module_settings_of_all(backends);
    const std::unique_ptr<hashmap, BackendsDeleter> loaded(backends_load(nullptr, settings.get()));
    uintptr_t token = HASHMAP_ITERATE_START;
    while (const void *const value = hashmap_iterate(loaded.get(), &token, nullptr))
        check_module(*static_cast<const backend *>(value), directory, &failures);
    return failures;
}

} // namespace varnel::daemon
