// SPDX-License-Identifier: MIT
// layer_free, layers_free and the order of a whole shutdown.
#include "storage_fixture.h"
#include "support/counting_allocator.h"

#include <gtest/gtest.h>
#include <string>

namespace {

class LayerFree : public testing::Test {
protected:
    static constexpr char kBackends[] =
        "a = {\nlibrary = store\npriority = 1\n}\nb = {\nlibrary = store\npriority = 5\n}\n"
        "c = {\nlibrary = store\n}";

    hashmap *init(std::string_view content) {
        hashmap *const layers = layers_init(backends_.get(), tree_of(content).get());
        ModuleObserver::events().clear();
        return layers;
    }

    CountingAllocator allocator_; // outlives all that follows
    ModuleObserver observer_{"store"};
    Backends backends_{backends_init(tree_of(kBackends).get(), TEST_MODULE_DIR)};
    const size_t blocks_ = allocator_.live_blocks();
};

TEST_F(LayerFree, IgnoresNull) {
    layer_free(nullptr);
    layers_free(nullptr);
}

TEST_F(LayerFree, CallsDestroyInTheSortedOrder) {
    hashmap *const layers = init("user = {\nown = 1\na = {\n}\nb = {\nmode = x\n}\nc = {\n}\n}");
    layer *const user = get_layer(layers, "user");
    const std::vector<backend *> backends(user->backends, user->backends + user->backend_count);
    layers_free(layers);
    EXPECT_EQ(ModuleObserver::calls(), "") << "the default layer is the caller's";
    layer_free(user);
    EXPECT_EQ(ModuleObserver::calls(), "module_destroy(b, user) module_destroy(a, user) module_destroy(c, user) ");
    const auto &events = ModuleObserver::events();
    ASSERT_EQ(events.size(), 3U);
    for (size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events[i].b, backends[i]);
        EXPECT_EQ(events[i].l, user);
        EXPECT_EQ(events[i].layer_config, "own=1;") << "still there";
    }
    EXPECT_EQ(events[0].backend_config, "library=store;priority=5;mode=x;") << "still there";
    EXPECT_EQ(allocator_.live_blocks(), blocks_);
}

TEST_F(LayerFree, LayersGoInTheOrderTheyCameIn) {
    hashmap *const layers = init("zeta = {\na = {\n}\n}\nuser = {\na = {\n}\n}\nalpha = {\nb = {\n}\nc = {\n}\n}\n"
                                 "default = user");
    layer *const standard = get_layer(layers, "default");
    layers_free(layers);
    EXPECT_EQ(ModuleObserver::calls(), "module_destroy(a, zeta) module_destroy(b, alpha) module_destroy(c, alpha) ");
    EXPECT_STREQ(standard->name, "user") << "the default layer stays whole";
    EXPECT_EQ(order_of(standard), "a ");
    EXPECT_EQ(tree_text(standard->backends[0]->config), "library=store;priority=1;");
    EXPECT_EQ(call_entry(standard->backends[0], "get"), STORE_GET);
    layer_free(standard);
    EXPECT_EQ(allocator_.live_blocks(), blocks_) << "the names in the map went with it";
}

TEST_F(LayerFree, LayerNamedDefaultIsReleased) {
    hashmap *const layers = init("default = {\na = {\n}\n}\nuser = {\nb = {\n}\n}");
    layers_free(layers);
    EXPECT_EQ(ModuleObserver::calls(), "module_destroy(a, default) module_destroy(b, user) ");
    EXPECT_EQ(allocator_.live_blocks(), blocks_);
}

TEST_F(LayerFree, BackendsOutliveTheLayers) {
    hashmap *const layers = init("default = {\na = {\n}\nb = {\n}\n}");
    layers_free(layers);
    EXPECT_EQ(call_entry(backend_of(backends_.get(), "a"), "get"), STORE_GET);
    EXPECT_EQ(tree_text(backend_of(backends_.get(), "a")->config), "library=store;priority=1;");
    ModuleObserver::events().clear();
    backends_.reset();
    EXPECT_EQ(ModuleObserver::calls(), "") << "destroy is for the copies in layers";
    EXPECT_EQ(allocator_.live_blocks(), 0U);
}

TEST_F(LayerFree, CopiesOutliveTheBackends) {
    hashmap *const layers = init("default = {\na = {\n}\n}");
    backends_.reset();
    EXPECT_EQ(call_entry(get_layer(layers, "default")->backends[0], "get"), STORE_GET);
    layers_free(layers);
    EXPECT_EQ(ModuleObserver::calls(), "module_destroy(a, default) ");
    EXPECT_EQ(allocator_.live_blocks(), 0U);
}

TEST_F(LayerFree, LayerWithoutBackends) {
    hashmap *const layers = init("default = {\nx = 1\n}");
    layers_free(layers);
    EXPECT_EQ(ModuleObserver::calls(), "");
    EXPECT_EQ(allocator_.live_blocks(), blocks_);
}

} // namespace
