// SPDX-License-Identifier: MIT
// A store over the scripted module, and values in words.
#pragma once

#include "config/settings_file.h"
#include "modules/scripted.h"

#include "daemon/store.h"

#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Parts of a configuration are shared by what is built from it: trees are kept until the process ends.
inline xdictionary *tree_of(std::string_view content) {
    static auto &kept = *new std::vector<xdictionary *>;
    const SettingsFile file(content);
    kept.push_back(configurator_load(file.path()));
    return kept.back();
}

// A layer "user" in three backends, of which the middle one takes changes; more layers of other kinds.
constexpr const char *kThreeBackends = R"(
backends = {
    top = {
        library = scripted
        priority = 20
        readonly = yes
    }
    main = {
        library = scripted
        priority = 10
    }
    base = {
        library = scripted
        readonly = yes
    }
}
layers = {
    default = user
    user = {
        durability = file
        top = {
        }
        main = {
        }
        base = {
        }
    }
    volatile = {
        durability = memory
        main = {
        }
    }
    fixed = {
        readonly = yes
        main = {
        }
    }
    factory = {
        base = {
        }
    }
}
)";

inline std::string words_of(const xdata *value) {
    if (value == nullptr)
        return "-";
    const varnel::Block<char> text(xdata_value_as_char(value));
    return *text.get() != '\0' ? text.get() : "''";
}

// What a backend copy holds and does; nullptr when there is none. The module must have been opened.
inline ScriptedBackend *find_copy(const char *layer_name, const char *backend_name) {
    void *const handle = dlopen(MODULE_DIR "/scripted.so", RTLD_LAZY | RTLD_NOLOAD);
    void *const address = dlsym(handle, "scripted_find");
    scripted_find_t find = nullptr;
    memcpy(&find, &address, sizeof find);
    dlclose(handle);
    return find(layer_name, backend_name);
}

class StoreTest : public testing::Test {
public:
    void build(const char *configuration = kThreeBackends) {
        store_.reset();
        store_ = std::make_unique<varnel::daemon::Store>(tree_of(configuration), MODULE_DIR);
        for (const auto &layer_store : store_->layers())
            forget_calls(*layer_store);
    }
    varnel::daemon::Store &store() {
        if (store_ == nullptr)
            build();
        return *store_;
    }
    const varnel::daemon::LayerStore &layer(const char *name) {
        const varnel::daemon::LayerStore *const found = store().find(name);
        EXPECT_NE(found, nullptr) << name;
        return *found;
    }

    ScriptedBackend &backend(const char *layer_name, const char *name) {
        store();
        ScriptedBackend *const found = find_copy(layer_name, name);
        EXPECT_NE(found, nullptr) << layer_name << " " << name;
        return *found;
    }
    void put(const char *layer_name, const char *backend_name, const char *group, const char *name, const char *text) {
        backend(layer_name, backend_name).groups[group][name] = varnel::make_string(text);
    }

    // "group name=value" of everything in a backend copy, a group as "[group]".
    std::string content(const char *layer_name, const char *backend_name) {
        std::string text;
        for (const auto &[group, values] : backend(layer_name, backend_name).groups) {
            text += "[" + group + "] ";
            for (const auto &[name, value] : values)
                text += name + "=" + words_of(value.get()) + " ";
        }
        return text;
    }

private:
    // Being built, a layer asks its storage whether it lasts.
    static void forget_calls(const varnel::daemon::LayerStore &layer_store) {
        for (const varnel::daemon::BackendAccess &access : layer_store.backends()) {
            if (ScriptedBackend *const copy = find_copy(layer_store.name().c_str(), access.name().c_str()))
                copy->calls.clear();
        }
    }

    std::unique_ptr<varnel::daemon::Store> store_;
};
