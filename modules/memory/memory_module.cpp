// SPDX-License-Identifier: MIT
// memory.so: a storage module that keeps its values in memory; they last until the daemon ends.
//
// Settings: "values", a group of groups of name = text, fills the store with strings when it is opened. With
// "readonly = yes" beside it, the store serves as a set of defaults. "max_bytes" bounds what the store holds.
#include "modules/common/max_bytes.h"
#include "modules/common/settings.h"
#include "modules/common/store.h"

#include <cstdint>
#include <utility>

namespace varnel::modules {

namespace {

class MemoryStore final : public Store {
public:
    using Store::Store;
    using Store::values;

    int create_group(std::string_view group) override { return values().create_group(group); }
    int set(std::string_view group, std::string_view name, SharedValue value) override {
        return values().set(group, name, std::move(value));
    }
    int remove_group(std::string_view group) override { return values().remove_group(group); }
    int remove(std::string_view group, std::string_view name) override { return values().remove(group, name); }
    int sync(int) override { return DURABILITY_MEMORY; }
};

} // namespace

std::unique_ptr<Store> open_store(const StoreSettings &settings) {
    const std::uint32_t max_bytes = read_max_bytes(settings);
    auto store = std::make_unique<MemoryStore>(settings.layer);
    for_each_entry(confparser_getdic(settings.config, "values"), XDICTIONARY_GROUP,
                   [&](const char *group, const void *names) {
                       for_each_entry(static_cast<const xdictionary *>(names), XDICTIONARY_STRING,
                                      [&](const char *name, const void *text) {
                                          store->set(group, name, make_string(static_cast<const char *>(text)));
                                      });
                   });
    bound(store->values(), max_bytes, "layer " + settings.layer + ", backend " + settings.backend);
    return store;
}

} // namespace varnel::modules
