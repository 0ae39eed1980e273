// SPDX-License-Identifier: MIT
#include "common/defaults_files.h"

#include "common/config_rules.h"
#include "common/config_store.h"

#include <algorithm>

namespace varnel {

namespace {

const ConfigGroup *find_group(const ConfigTree &tree, const ConfigGroup &group, std::string_view name) {
    const ConfigEntry *const entry = group.find(name);
    return entry != nullptr && entry->is_group() ? &tree.group_of(*entry) : nullptr;
}

// A layer's settings are laid over those of the backend.
std::string text_of_setting(const ConfigGroup &reference, const ConfigGroup &backend, std::string_view name) {
    for (const ConfigGroup *const group : {&reference, &backend})
        if (const ConfigEntry *const entry = group->find(name); entry != nullptr && !entry->is_group())
            return entry->value;
    return "";
}

void add(std::vector<DefaultsFile> &files, const DefaultsFile &file) {
    const auto found = std::find_if(files.begin(), files.end(), [&](const auto &f) { return f.path == file.path; });
    if (found == files.end())
        files.push_back(file);
    else
        found->required = found->required || file.required;
}

} // namespace

std::vector<DefaultsFile> defaults_files(const ConfigTree &tree) {
    std::vector<DefaultsFile> files;
    const ConfigGroup *const backends = find_group(tree, tree.root(), "backends");
    const ConfigGroup *const layers = find_group(tree, tree.root(), "layers");
    if (backends == nullptr || layers == nullptr)
        return files;
    for (const ConfigEntry &layer : layers->entries()) {
        if (!layer.is_group())
            continue;
        for (const ConfigEntry &reference : tree.group_of(layer).entries()) {
            const ConfigEntry *const backend = reference.is_group() ? backends->find(reference.key) : nullptr;
            if (backend == nullptr || !backend->is_group() ||
                module_of(*backend, tree.group_of(*backend)) != "defaults")
                continue;
            const auto text = [&](std::string_view name) {
                return text_of_setting(tree.group_of(reference), tree.group_of(*backend), name);
            };
            const std::string required = text("required");
            if (const std::string path = text("file"); !path.empty())
                add(files, {path, !is_boolean(required) || is_true(required)});
        }
    }
    return files;
}

} // namespace varnel
