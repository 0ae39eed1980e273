// SPDX-License-Identifier: MIT
#include "modules/scripted.h"

#include <cerrno>
#include <memory>
#include <optional>

using namespace varnel;

namespace {

using Copies = std::map<std::pair<std::string, std::string>, std::unique_ptr<ScriptedBackend>>;

Copies &copies() {
    static Copies all;
    return all;
}

ScriptedBackend &of(backend *b) {
    return *static_cast<ScriptedBackend *>(b->user_data[0]);
}

std::string call_text(const char *function, const xkey *key) {
    std::string text = function;
    if (key != nullptr && key->group.str != nullptr)
        text.append(" ").append(text_of(key->group));
    if (key != nullptr && key->name.str != nullptr)
        text.append(" ").append(text_of(key->name));
    return text;
}

std::optional<int> scripted(const ScriptedBackend &store, const std::string &call) {
    auto found = store.results.find(call);
    if (found == store.results.end())
        found = store.results.find(call.substr(0, call.find(' ')));
    return found != store.results.end() ? std::optional(found->second) : std::nullopt;
}

std::string group_of(const xkey *key) {
    return std::string(text_of(key->group));
}
std::string name_of(const xkey *key) {
    return std::string(text_of(key->name));
}

int visit_group(const std::string &name, const std::map<std::string, Value> &values, module_visit_t visit,
                void *context) {
    const Key group_key(xkey_new("any", name.c_str(), nullptr));
    int result = visit(context, group_key.get(), nullptr);
    for (auto entry = values.begin(); entry != values.end() && result == 0; ++entry) {
        const Key key(xkey_new("any", name.c_str(), entry->first.c_str()));
        result = visit(context, key.get(), entry->second.get());
    }
    return result;
}

} // namespace

#pragma GCC visibility push(default)
extern "C" ScriptedBackend *scripted_find(const char *layer_name, const char *backend_name);

ScriptedBackend *scripted_find(const char *layer_name, const char *backend_name) {
    const auto found = copies().find({layer_name, backend_name});
    return found != copies().end() ? found->second.get() : nullptr;
}
#pragma GCC visibility pop

int module_init(backend *b, layer *l) {
    auto &copy = copies()[{l->name, b->name}];
    copy = std::make_unique<ScriptedBackend>();
    copy->reached = confparser_getint(b->config, "reached", DURABILITY_FOLDER);
    b->user_data[0] = copy.get();
    return 0;
}

int module_destroy(backend *b, layer *l) {
    copies().erase({l->name, b->name});
    b->user_data[0] = nullptr;
    return 0;
}

int module_set_value(backend *b, const xkey *key, const xdata *value) {
    ScriptedBackend &store = of(b);
    const std::string call = call_text("set", key);
    store.calls.push_back(call);
    if (const auto result = scripted(store, call))
        return *result;
    if (value != nullptr) {
        store.groups[group_of(key)][name_of(key)] = copy_of(*value);
        return 0;
    }
    return store.groups.try_emplace(group_of(key)).second ? 0 : -EEXIST;
}

int module_unset_value(backend *b, const xkey *key) {
    ScriptedBackend &store = of(b);
    const std::string call = call_text("unset", key);
    store.calls.push_back(call);
    if (const auto result = scripted(store, call))
        return *result;
    const auto group = store.groups.find(group_of(key));
    if (group == store.groups.end())
        return -ENOENT;
    if (!name_of(key).empty())
        return group->second.erase(name_of(key)) != 0 ? 0 : -ENOENT;
    store.groups.erase(group);
    return 0;
}

int module_get_value(backend *b, const xkey *key, xdata **value) {
    const ScriptedBackend &store = of(b);
    if (const auto result = scripted(store, call_text("get", key)))
        return *result;
    if (store.get)
        return store.get(value);
    const auto group = store.groups.find(group_of(key));
    if (group == store.groups.end())
        return -ENOENT;
    const auto found = group->second.find(name_of(key));
    if (name_of(key).empty()) {
        *value = nullptr;
        return 0;
    }
    if (found == group->second.end())
        return -ENOENT;
    *value = copy_of(*found->second).release();
    return 0;
}

int module_list_all(backend *b, const xkey *key, module_visit_t visit, void *context) {
    const ScriptedBackend &store = of(b);
    if (const auto result = scripted(store, call_text("list", key)))
        return *result;
    if (store.list)
        return store.list(visit, context);
    const std::string only = key != nullptr ? group_of(key) : std::string();
    if (!only.empty()) {
        const auto group = store.groups.find(only);
        return group != store.groups.end() ? visit_group(only, group->second, visit, context) : -ENOENT;
    }
    int result = 0;
    for (auto group = store.groups.begin(); group != store.groups.end() && result == 0; ++group)
        result = visit_group(group->first, group->second, visit, context);
    return result;
}

int module_sync(backend *b, int wanted) {
    ScriptedBackend &store = of(b);
    const std::string call = "sync " + std::to_string(wanted);
    store.calls.push_back(call);
    return scripted(store, call).value_or(store.reached);
}
