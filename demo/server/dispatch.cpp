// SPDX-License-Identifier: MIT
// The operations of a layer, as calls of its modules.
#include "server/store.h"

#include "common/failure.h"

#include <varnel/memory.h>

#include <algorithm>
#include <cerrno>

namespace demo {

namespace {

// The entry point of an action, as the type that module.h gives it.
template <class Function> Function entry_point(const backend &b, const char *action) {
    const backend_function *const found = backend_get_function(&b, action);
    if (found == nullptr)
        throw Failure(std::string("backend ") + b.name + " has no function " + action);
    return reinterpret_cast<Function>(found->address);
}

void append_name(std::string &names, const backend &b) {
    names += names.empty() ? "" : "+";
    names += b.name;
}

std::string text_of(const xkey &key) {
    const std::unique_ptr<char, void (*)(void *)> text(xkey_to_string(&key), _xfree);
    return text.get();
}

struct Listing {
    const backend *from;
    Entries *entries;
    std::uint32_t values;
};

// A module_visit_t.
int collect(void *context, const xkey *key, const xdata *value) {
    auto &listing = *static_cast<Listing *>(context);
    if (value != nullptr)
        ++listing.values;
    if (listing.entries != nullptr)
        listing.entries->try_emplace(text_of(*key), Entry{Value(xdata_dup(value)), listing.from->name});
    return 0;
}

// The file that the backend's module was loaded from; the setting may leave its ending out.
std::string module_of(const backend &b) {
    const std::string_view ending = ".so";
    std::string file = confparser_getstring(b.config, "library", b.name);
    const bool complete = file.size() >= ending.size() && file.substr(file.size() - ending.size()) == ending;
    return complete ? file : file.append(ending);
}

int list_backend(backend *b, const xkey *key, Listing &listing) {
    return entry_point<module_list_all_t>(*b, "list")(b, key, collect, &listing);
}

} // namespace

bool writable(const layer &where, const backend &b) {
    return layer_check_readonly(&where) == 0 && confparser_getboolean(b.config, "readonly", 0) == 0;
}

Outcome set_value(const layer &where, const xkey &key, const xdata *value) {
    for (int i = 0; i < where.backend_count; ++i) {
        backend *const b = where.backends[i];
        if (writable(where, *b))
            return {entry_point<module_set_value_t>(*b, "set")(b, &key, value), b->name};
    }
    return {-EROFS, ""};
}

Outcome unset_value(const layer &where, const xkey &key) {
    Outcome outcome{-ENOENT, ""};
    for (int i = 0; i < where.backend_count; ++i) {
        backend *const b = where.backends[i];
        xdata *value = nullptr;
        const bool may_write = writable(where, *b);
        const int result = may_write ? entry_point<module_unset_value_t>(*b, "unset")(b, &key)
                                     : entry_point<module_get_value_t>(*b, "get")(b, &key, &value);
        xdata_free(value);
        if (result == -ENOENT || (!may_write && outcome.result == 0))
            continue;
        outcome.result = result == 0 && !may_write ? -EROFS : result;
        append_name(outcome.backends, *b);
    }
    return outcome;
}

Outcome get_value(const layer &where, const xkey &key, Value &value) {
    for (int i = 0; i < where.backend_count; ++i) {
        backend *const b = where.backends[i];
        xdata *found = nullptr;
        const int result = entry_point<module_get_value_t>(*b, "get")(b, &key, &found);
        value.reset(found);
        if (result != -ENOENT)
            return {result, b->name};
    }
    return {-ENOENT, ""};
}

Outcome list_all(const layer &where, const std::string &group, Entries &entries) {
    const Key key = make_key(where, group, "");
    Outcome outcome{group.empty() ? 0 : -ENOENT, ""};
    for (int i = 0; i < where.backend_count; ++i) {
        Listing listing{where.backends[i], &entries, 0};
        const int result = list_backend(where.backends[i], key.get(), listing);
        if (result == -ENOENT)
            continue;
        outcome.result = result;
        append_name(outcome.backends, *where.backends[i]);
        if (result != 0)
            break;
    }
    return outcome;
}

Outcome sync_all(const layer &where) {
    Outcome outcome{0, ""};
    for (int i = 0; i < where.backend_count && outcome.result == 0; ++i) {
        backend *const b = where.backends[i];
        outcome.result = std::min(0, entry_point<module_sync_t>(*b, "sync")(b, DURABILITY_FOLDER));
        append_name(outcome.backends, *b);
    }
    return outcome;
}

void visit_backends(const layer &where,
                    const std::function<void(const backend &, const std::string &, std::uint32_t)> &visit) {
    for (int i = 0; i < where.backend_count; ++i) {
        backend *const b = where.backends[i];
        Listing listing{b, nullptr, 0};
        list_backend(b, nullptr, listing);
        visit(*b, module_of(*b), listing.values);
    }
}

} // namespace demo
