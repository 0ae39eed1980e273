// SPDX-License-Identifier: MIT
#include "common/config_store.h"

#include "common/config_daemon.h"
#include "common/config_report.h"
#include "common/config_rules.h"
#include "common/key_text.h"
#include "common/nearest_name.h"
#include "common/text.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace varnel {

namespace {

constexpr const char *kDefault = "default";
constexpr const char *kFunction = "function";

class StoreChecker {
public:
    explicit StoreChecker(ConfigReport &report) : report_(report) {}

    void check();

private:
    const ConfigGroup *find_group(const char *name);
    const ConfigGroup *find_filled_group(const char *name);
    void check_names();
    void check_backend(const ConfigEntry &entry);
    void check_backend_settings(const ConfigGroup &group, std::string_view module);
    void check_functions(const ConfigEntry &entry);
    void check_default(const ConfigGroup &layers);
    void check_layer(const ConfigEntry &entry);
    void check_layer_name(const ConfigEntry &entry);
    void check_reference(const ConfigEntry &layer, const ConfigEntry &entry);
    bool never_writes(const ConfigEntry &reference);
    void check_writable(const ConfigEntry &layer);

    ConfigReport &report_;
    const ConfigGroup *backends_ = nullptr;
};

std::vector<std::string> names_of_groups(const ConfigGroup &group) {
    std::vector<std::string> names;
    for (const ConfigEntry &entry : group.entries())
        if (entry.is_group())
            names.push_back(entry.key);
    return names;
}

// ---- the file

// A group at the top of the file; a setting of its name is an error.
const ConfigGroup *StoreChecker::find_group(const char *name) {
    const ConfigEntry *const entry = report_.tree().root().find(name);
    if (entry == nullptr)
        return nullptr;
    if (entry->is_group())
        return &report_.group_of(*entry);
    report_.error(entry->key_place, in_quotes(name) + " is no group", std::string(name) + " = {");
    return nullptr;
}

const ConfigGroup *StoreChecker::find_filled_group(const char *name) {
    const ConfigEntry *const entry = report_.tree().root().find(name);
    if (entry == nullptr) {
        report_.error({}, "there is no group " + in_quotes(name), std::string(name) + " = {");
        return nullptr;
    }
    const ConfigGroup *const group = find_group(name);
    if (group == nullptr || !group->entries().empty())
        return group;
    report_.error(entry->key_place, "the group " + in_quotes(name) + " is empty", "at least one group in it");
    return nullptr;
}

void StoreChecker::check() {
    check_names();
    if (const ConfigGroup *const daemon = find_group("varneld"))
        check_daemon_settings(report_, *daemon);
    backends_ = find_filled_group("backends");
    if (backends_ != nullptr)
        for (const ConfigEntry &entry : backends_->entries())
            check_backend(entry);
    const ConfigGroup *const layers = find_filled_group("layers");
    if (layers == nullptr)
        return;
    check_default(*layers);
    for (const ConfigEntry &entry : layers->entries())
        check_layer(entry);
}

// Other groups may be there for other programs; those that look like the daemon's are probably meant to be.
void StoreChecker::check_names() {
    const std::vector<std::string> known = {"varneld", "backends", "layers"};
    for (const ConfigEntry &entry : report_.tree().root().entries()) {
        const std::string nearest = nearest_name(entry.key, known);
        if (!nearest.empty() && nearest != entry.key)
            report_.warn(entry.key_place, in_quotes(entry.key) + " is not looked at", nearest);
    }
}

// ---- backends

void StoreChecker::check_backend(const ConfigEntry &entry) {
    if (!entry.is_group()) {
        report_.warn(entry.key_place, in_quotes(entry.key) + " is no backend and not looked at", entry.key + " = {");
        return;
    }
    const ConfigGroup &settings = report_.group_of(entry);
    check_backend_settings(settings, module_of(entry, settings));
    if (const ConfigEntry *const functions = settings.find(kFunction))
        check_functions(*functions);
}

void StoreChecker::check_backend_settings(const ConfigGroup &group, std::string_view module) {
    for (const ConfigEntry &entry : group.entries()) {
        const SettingRule *rule = find_rule(backend_rules(), entry.key);
        if (rule == nullptr)
            rule = find_rule(module_rules(module), entry.key);
        if (rule != nullptr && entry.is_group())
            report_.warn(entry.key_place, in_quotes(entry.key) + " is a group and not looked at", rule->expected);
        else if (rule != nullptr)
            report_.apply(*rule, entry);
    }
}

void StoreChecker::check_functions(const ConfigEntry &entry) {
    if (!entry.is_group()) {
        report_.warn(entry.key_place, in_quotes(entry.key) + " is no group and not looked at",
                     std::string(kFunction) + " = {");
        return;
    }
    for (const ConfigEntry &function : report_.group_of(entry).entries()) {
        if (function.is_group())
            report_.warn(function.key_place, in_quotes(function.key) + " is a group and not looked at",
                         "action = symbol");
        else if (function.value.empty())
            report_.error(function.value_place, in_quotes(function.key) + " has no symbol", "the name of a function");
    }
}

// ---- layers

void StoreChecker::check_default(const ConfigGroup &layers) {
    const std::vector<std::string> names = names_of_groups(layers);
    const ConfigEntry *const entry = layers.find(kDefault);
    if (names.empty())
        report_.error(report_.tree().root().find("layers")->key_place, "there is no layer", "a group for each layer");
    else if (entry != nullptr && entry->is_group())
        report_.warn(entry->key_place, "this is a layer that is named \"default\"",
                     "default = NAME, with the name of a layer");
    else if (entry != nullptr && std::find(names.begin(), names.end(), entry->value) == names.end())
        report_.error(entry->value_place, "there is no layer " + in_quotes(entry->value),
                      expected_names(entry->value, names));
}

// No key could name another one, and modules make names of files of it.
void StoreChecker::check_layer_name(const ConfigEntry &entry) {
    if (!valid_key_part(entry.key) || entry.key.find('/') != std::string::npos)
        report_.error(entry.key_place, in_quotes(entry.key) + " cannot be the name of a layer",
                      "1 to " + std::to_string(kLongestKeyPart) +
                          " bytes of UTF-8 without ':', '/' and control characters");
}

void StoreChecker::check_layer(const ConfigEntry &entry) {
    if (!entry.is_group()) {
        if (entry.key != kDefault)
            report_.warn(entry.key_place, in_quotes(entry.key) + " is no layer and not looked at", entry.key + " = {");
        return;
    }
    check_layer_name(entry);
    const ConfigGroup &layer = report_.group_of(entry);
    if (layer.entries().empty()) {
        report_.error(entry.key_place, "the layer " + in_quotes(entry.key) + " has no backends",
                      "a group for each backend");
        return;
    }
    if (names_of_groups(layer).empty())
        report_.warn(entry.key_place, "the layer " + in_quotes(entry.key) + " has no backends",
                     "a group for each backend");
    for (const ConfigEntry &setting : layer.entries())
        check_reference(entry, setting);
    check_writable(entry);
}

// An entry of a layer: a reference to a backend, or a setting of the layer.
void StoreChecker::check_reference(const ConfigEntry &layer, const ConfigEntry &entry) {
    const SettingRule *const rule = find_rule(layer_rules(), entry.key);
    if (!entry.is_group()) {
        if (rule != nullptr)
            report_.apply(*rule, entry);
        else
            report_.warn(entry.key_place, "layers have no setting " + in_quotes(entry.key),
                         expected_names(entry.key, names_of(layer_rules())));
        return;
    }
    if (backends_ == nullptr)
        return;
    const ConfigEntry *const backend = backends_->find(entry.key);
    if (backend == nullptr || !backend->is_group())
        report_.error(entry.key_place,
                      "the layer " + in_quotes(layer.key) +
                          " names a backend that is not there: " + in_quotes(entry.key),
                      expected_names(entry.key, names_of_groups(*backends_)));
    else
        check_backend_settings(report_.group_of(entry), module_of(*backend, report_.group_of(*backend)));
}

// Whether a backend, with the layer's settings laid over its own, takes no changes; one that is not there might.
bool StoreChecker::never_writes(const ConfigEntry &reference) {
    const ConfigEntry *const backend = backends_ != nullptr ? backends_->find(reference.key) : nullptr;
    if (backend == nullptr || !backend->is_group())
        return false;
    const ConfigGroup &settings = report_.group_of(*backend);
    const ConfigEntry *read_only = report_.group_of(reference).find("readonly");
    if (read_only == nullptr)
        read_only = settings.find("readonly");
    const bool configured = read_only != nullptr && !read_only->is_group() && is_true(read_only->value);
    return configured || module_of(*backend, settings) == "defaults";
}

void StoreChecker::check_writable(const ConfigEntry &layer) {
    const ConfigGroup &settings = report_.group_of(layer);
    const ConfigEntry *const read_only = settings.find("readonly");
    if (read_only != nullptr && !read_only->is_group() && is_true(read_only->value))
        return;
    std::size_t backends = 0;
    for (const ConfigEntry &entry : settings.entries()) {
        if (entry.is_group() && !never_writes(entry))
            return;
        backends += entry.is_group() ? 1 : 0;
    }
    if (backends != 0)
        report_.warn(layer.key_place, "all backends of the layer " + in_quotes(layer.key) + " are read-only",
                     "readonly = yes in the layer, if this is meant");
}

} // namespace

std::string module_of(const ConfigEntry &backend, const ConfigGroup &settings) {
    const ConfigEntry *const library = settings.find("library");
    std::string name = library != nullptr && !library->is_group() ? library->value : backend.key;
    constexpr std::string_view kEnding = ".so";
    if (name.ends_with(kEnding))
        name.resize(name.size() - kEnding.size());
    return name;
}

void check_store(const ConfigTree &tree, std::vector<ConfigFinding> &findings) {
    ConfigReport report(tree, findings);
    StoreChecker(report).check();
}

} // namespace varnel
