// SPDX-License-Identifier: MIT
// The seven entry points, for a module whose store is a varnel::modules::Store.
#include "modules/common/log.h"
#include "modules/common/store.h"

#include <cerrno>
#include <exception>
#include <new>
#include <utility>

using namespace varnel;
using namespace varnel::modules;

namespace {

// What lies behind a copy: a store, or the answer in its place.
struct Opened {
    std::unique_ptr<Store> store;
    int failure = -ENODEV;
};

Opened *opened_of(const backend *b) {
    return static_cast<Opened *>(b->user_data[0]);
}

// Keeps exceptions inside: the callers are C.
template <class Body> int guarded(Body body) noexcept {
    try {
        return body();
    } catch (const StoreError &error) {
        return error.result();
    } catch (const std::bad_alloc &) {
        return -ENOMEM;
    } catch (const std::exception &) {
        return -EIO;
    }
}

template <class Body> int with_store(const backend *b, Body body) {
    if (b == nullptr)
        return -EINVAL;
    const Opened *const opened = opened_of(b);
    if (opened == nullptr)
        return -ENODEV;
    if (opened->store == nullptr)
        return opened->failure;
    return guarded([&] { return body(*opened->store); });
}

// Calls body with the store and the texts of a key that names a group.
template <class Body> int with_key(const backend *b, const xkey *key, Body body) {
    return with_store(b, [&](Store &store) {
        if (key == nullptr || text_of(key->group).empty())
            return -EINVAL;
        return body(store, text_of(key->group), text_of(key->name));
    });
}

bool is_value(const xdata *value) {
    return value != nullptr &&
           (value->type != XDATA_STRING || value->value.s.len == 0 || value->value.s.str != nullptr);
}

// A client must not take a missing folder for a missing value.
int answer_of(const StoreError &error) {
    return error.result() == -ENOENT ? -ENODEV : error.result();
}

void open(Opened &opened, const StoreSettings &settings) {
    const auto fail = [&](int result, const char *reason) {
        opened.failure = result;
        log_error("layer " + settings.layer + ", backend " + settings.backend + ": " + reason);
    };
    try {
        opened.store = open_store(settings);
    } catch (const StoreError &error) {
        fail(answer_of(error), error.what());
    } catch (const std::bad_alloc &error) {
        fail(-ENOMEM, error.what());
    } catch (const std::exception &error) {
        fail(-EIO, error.what());
    }
}

const char *text_or_empty(const char *text) {
    return text != nullptr ? text : "";
}

} // namespace

int module_init(backend *b, layer *l) {
    if (b == nullptr || l == nullptr || b->user_data[0] != nullptr)
        return -EINVAL;
    return guarded([&] {
        auto opened = std::make_unique<Opened>();
        open(*opened, {b->config, text_or_empty(l->name), text_or_empty(b->name)});
        const int result = opened->store != nullptr ? 0 : opened->failure;
        b->user_data[0] = opened.release();
        return result;
    });
}

int module_destroy(backend *b, layer *) {
    if (b == nullptr)
        return -EINVAL;
    delete opened_of(b);
    b->user_data[0] = nullptr;
    return 0;
}

int module_set_value(backend *b, const xkey *key, const xdata *value) {
    return with_key(b, key, [value](Store &store, std::string_view group, std::string_view name) {
        if (name.empty())
            return value == nullptr ? store.create_group(group) : -EINVAL;
        Value copy = is_value(value) ? copy_of(*value) : nullptr;
        return copy != nullptr ? store.set(group, name, std::move(copy)) : -EINVAL;
    });
}

int module_unset_value(backend *b, const xkey *key) {
    return with_key(b, key, [](Store &store, std::string_view group, std::string_view name) {
        return name.empty() ? store.remove_group(group) : store.remove(group, name);
    });
}

int module_get_value(backend *b, const xkey *key, xdata **value) {
    return with_key(b, key, [value](const Store &store, std::string_view group, std::string_view name) {
        if (value == nullptr)
            return -EINVAL;
        if (!name.empty())
            return store.values().get(group, name, value);
        const int result = store.values().find_group(group);
        if (result == 0)
            *value = nullptr;
        return result;
    });
}

int module_list_all(backend *b, const xkey *key, module_visit_t visit, void *context) {
    return with_store(b, [=](const Store &store) {
        if (visit == nullptr)
            return -EINVAL;
        return store.values().list(key != nullptr ? text_of(key->group) : std::string_view(), visit, context);
    });
}

int module_sync(backend *b, int wanted) {
    return with_store(b, [wanted](Store &store) { return store.sync(wanted); });
}
