// SPDX-License-Identifier: MIT
#include "daemon/store.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace varnel::daemon {

namespace {

constexpr const char *kDefault = "default";

void release(hashmap *layers, hashmap *backends) {
    layer *const default_layer = get_layer(layers, kDefault);
    const bool listed_once = default_layer != nullptr && default_layer->is_default != 0;
    if (layers != nullptr)
        layers_free(layers); // leaves the default layer, which it holds under two names
    if (listed_once)
        layer_free(default_layer);
    if (backends != nullptr)
        backends_free(backends);
}

} // namespace

Store::Store(const xdictionary *config, const std::string &directory) {
    const xdictionary *const backends = confparser_getdic(config, "backends");
    const xdictionary *const layer_groups = confparser_getdic(config, "layers");
    if (backends == nullptr || layer_groups == nullptr)
        throw std::runtime_error(R"(the configuration has no group "backends" or no group "layers")");
    backend_map_ = backends_init(backends, directory.c_str());
    layer_map_ = layers_init(backend_map_, layer_groups);
    try {
        add_layers();
    } catch (...) {
        release(layer_map_, backend_map_);
        throw;
    }
}

void Store::add_layers() {
    if (layer_map_ == nullptr || hashmap_isempty(layer_map_) != 0)
        throw std::runtime_error("the configuration has no layers");
    uintptr_t token = HASHMAP_ITERATE_START;
    void *key = nullptr;
    while (auto *const record = static_cast<layer *>(hashmap_iterate(layer_map_, &token, &key))) {
        const bool second_name = record->is_default != 0 && std::string_view(static_cast<char *>(key)) == kDefault;
        if (!second_name)
            layers_.push_back(std::make_unique<LayerStore>(record));
    }
    const LayerStore *const first = find(kDefault);
    std::stable_partition(layers_.begin(), layers_.end(), [first](const auto &l) { return l.get() == first; });
}

Store::~Store() {
    release(layer_map_, backend_map_);
}

LayerStore *Store::find(std::string_view name) const {
    const auto named = [&](const auto &l) { return l->name() == name; };
    if (const auto found = std::find_if(layers_.begin(), layers_.end(), named); found != layers_.end())
        return found->get();
    if (!name.empty() && name != kDefault)
        return nullptr;
    const auto marked = [](const auto &l) { return l->is_default() || l->name() == kDefault; };
    const auto found = std::find_if(layers_.begin(), layers_.end(), marked);
    return found != layers_.end() ? found->get() : nullptr;
}

} // namespace varnel::daemon
