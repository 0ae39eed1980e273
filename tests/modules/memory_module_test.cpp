// SPDX-License-Identifier: MIT
// What memory.so has of its own.
#include "support/storage.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>

using namespace varnel;
using namespace varnel::test;

namespace {

// A layer "user" over a backend "defaults" of this module, with values beside its other settings.
class FilledModule {
public:
    FilledModule(const std::map<std::string, std::string> &network, const std::string &max_bytes) {
        xdictionary *const settings = group_in(backend_config_, "defaults");
        xdictionary_set(settings, "library", "memory.so", XDICTIONARY_STRING);
        if (!max_bytes.empty())
            xdictionary_set(settings, "max_bytes", max_bytes.c_str(), XDICTIONARY_STRING);
        xdictionary *const values = group_in(settings, "values");
        ++values->ref_count; // the backend shares it
        xdictionary_set(values, "stray", "outside of a group", XDICTIONARY_STRING);
        xdictionary *const group = group_in(values, "network");
        for (const auto &[name, text] : network)
            xdictionary_set(group, name.c_str(), text.c_str(), XDICTIONARY_STRING);
        group_in(group, "deeper");
        group_in(group_in(layer_config_, "user"), "defaults");
        backends_ = backends_init(backend_config_, MODULE_DIR);
        layers_ = layers_init(backends_, layer_config_);
        user_ = get_layer(layers_, "user");
    }
    FilledModule(const FilledModule &) = delete;
    FilledModule &operator=(const FilledModule &) = delete;
    ~FilledModule() {
        layers_free(layers_);
        layer_free(user_);
        backends_free(backends_);
        xdictionary_del(backend_config_);
        xdictionary_del(layer_config_);
    }

    [[nodiscard]] Store store() const { return Store(user_->backends[0]); }

private:
    static xdictionary *group_in(xdictionary *parent, const char *name) {
        xdictionary *const group = xdictionary_new(0);
        xdictionary_set(parent, name, group, XDICTIONARY_GROUP);
        return group;
    }

    xdictionary *backend_config_ = xdictionary_new(0);
    xdictionary *layer_config_ = xdictionary_new(0);
    hashmap *backends_ = nullptr;
    hashmap *layers_ = nullptr;
    layer *user_ = nullptr;
};

} // namespace

TEST(MemoryModuleSettings, ValuesFillTheStore) {
    const FilledModule module({{"hostname", "device"}}, "");
    EXPECT_EQ((std::vector<std::string>{"user:network group", "user:network:hostname string device"}),
              module.store().listing());
}

TEST(MemoryModuleSettings, ValuesBeyondTheBoundStayAndAreTheBound) {
    testing::internal::CaptureStderr();
    const FilledModule module({{"a", std::string(3000, 'v')}, {"b", std::string(3000, 'v')}}, "4096");
    const std::string log = testing::internal::GetCapturedStderr();
    const std::string line = "_varnel: layer user, backend defaults: holds 6395 bytes, more than the 4096 of "
                             "\"max_bytes\": all of it stays, but nothing is taken that makes it more\n";
    EXPECT_NE(std::string::npos, log.find(line)) << log;
    const Store store = module.store();
    EXPECT_EQ(3U, store.listing().size());
    EXPECT_EQ(-EDQUOT, store.set("network", "a", make_string(std::string(3001, 'v'))));
    EXPECT_EQ(0, store.unset("network", "a"));
    EXPECT_EQ(0, store.set("network", "a", make_string(std::string(3000, 'v'))));
    EXPECT_EQ(-EDQUOT, store.create_group("g"));
}
