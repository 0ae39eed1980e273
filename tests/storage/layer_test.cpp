// SPDX-License-Identifier: MIT
// layers_init: building layers out of backend copies, and looking into them.
#include "storage_fixture.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>

namespace {

class LayerTest : public testing::Test {
protected:
    static constexpr char kBackends[] = "a = {\nlibrary = store\nmode = own\npriority = 1\n}\n"
                                        "b = {\nlibrary = store\npriority = 5\n}\n"
                                        "c = {\nlibrary = store\n}";

    hashmap *init(std::string_view content) {
        layers_.reset(layers_init(backends_.get(), tree_of(content).get()));
        return layers_.get();
    }
    layer *get(const char *name) { return get_layer(layers_.get(), name); }

    ModuleObserver observer_{"store"};
    Backends backends_{backends_init(tree_of(kBackends).get(), TEST_MODULE_DIR)};
    Layers layers_;
};

TEST(LayerRecord, FieldsStandInTheGivenOrder) {
    EXPECT_EQ(offsetof(layer, name), 0U);
    EXPECT_EQ(offsetof(layer, is_default), sizeof(void *));
    EXPECT_EQ(offsetof(layer, backend_count), sizeof(void *) + 4);
    EXPECT_GT(offsetof(layer, backends), offsetof(layer, backend_count));
    EXPECT_EQ(offsetof(layer, config), offsetof(layer, backends) + sizeof(void *));
    EXPECT_EQ(sizeof(layer::is_default), 4U);
}

TEST_F(LayerTest, NeedsBackendsAndEntries) {
    const LogCapture capture;
    const Tree config = tree_of("user = {\na = {\n}\n}");
    const Tree empty = tree_of("");
    EXPECT_EQ(layers_init(nullptr, config.get()), nullptr);
    EXPECT_EQ(layers_init(backends_.get(), nullptr), nullptr);
    EXPECT_EQ(layers_init(backends_.get(), empty.get()), nullptr);
    EXPECT_EQ(layers_init(nullptr, nullptr), nullptr);
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_EQ(ModuleObserver::calls(), "");
}

TEST_F(LayerTest, EveryGroupIsALayer) {
    const LogCapture capture;
    ASSERT_NE(init("zeta = {\na = {\n}\n}\ntext = x\nalpha = {\nb = {\n}\n}"), nullptr);
    EXPECT_EQ(hashmap_size(layers_.get()), 3U) << "and the default one once more";
    EXPECT_STREQ(get("zeta")->name, "zeta");
    EXPECT_STREQ(get("alpha")->name, "alpha");
    EXPECT_EQ(get("text"), nullptr);
    EXPECT_EQ(order_of(get("zeta")), "a ");
    EXPECT_EQ(order_of(get("alpha")), "b ");
    const std::vector<std::string> expected = {"init layer(zeta) end.\n", "init layer(alpha) end.\n"};
    EXPECT_EQ(capture.texts(LogLine::info), expected);
    EXPECT_EQ(capture.lines().size(), 2U);
    EXPECT_EQ(capture.lines()[0].format, "init layer(%s) end.\n");
    EXPECT_EQ(capture.lines()[0].prefix, "_varnel: ");
}

TEST_F(LayerTest, KeyOfTheMapIsACopyOfTheName) {
    init("user = {\na = {\n}\n}");
    const auto *const key = static_cast<const char *>(hashmap_first_key(layers_.get()));
    EXPECT_STREQ(key, "user");
    EXPECT_NE(key, get("user")->name);
    EXPECT_EQ(layers_->hash_fn, &string_hash_func);
    EXPECT_EQ(layers_->compare_fn, &string_compare_func);
}

TEST_F(LayerTest, GroupIsOfTypeOneAndNotNull) {
    const Tree config = tree_of("user = {\na = {\n}\n}");
    xdictionary_set(config.get(), "other", xdictionary_new(0), 2);
    xdictionary_set(config.get(), "nothing", nullptr, XDICTIONARY_GROUP);
    layers_.reset(layers_init(backends_.get(), config.get()));
    EXPECT_EQ(hashmap_size(layers_.get()), 2U);
    EXPECT_EQ(get("other"), nullptr);
    EXPECT_EQ(get("nothing"), nullptr);
}

TEST_F(LayerTest, StringsAreItsSettings) {
    init("user = {\nreadonly = yes\na = {\n}\nown = x\n}\nsys = {\nonly = text\n}");
    EXPECT_EQ(tree_text(get("user")->config), "readonly=yes;own=x;");
    EXPECT_EQ(get("user")->backend_count, 1);
    EXPECT_EQ(tree_text(get("sys")->config), "only=text;");
    EXPECT_EQ(get("sys")->backend_count, 0) << "no backend is fine as long as there is an entry";
}

TEST_F(LayerTest, OtherTypesAreSettingsTooAndShared) {
    const Tree config = tree_of("user = {\na = {\n}\n}");
    xdictionary *const user = group_at(config.get(), "user");
    xdictionary *const shared = xdictionary_new(0);
    xdictionary_set(user, "seven", shared, 7);
    layers_.reset(layers_init(backends_.get(), config.get()));
    EXPECT_EQ(group_at(get("user")->config, "seven"), shared);
    EXPECT_EQ(get("user")->config->types[0], 7U);
    EXPECT_EQ(get("user")->backend_count, 1);
    disown(user, "seven");
}

TEST_F(LayerTest, HasASlotForEveryEntry) {
    const Tree config = tree_of("user = {\nx = 1\na = {\n}\ny = 2\nb = {\n}\nz = 3\n}");
    CountingAllocator allocator;
    Backends own(backends_load(nullptr, tree_of(kBackends).get()));
    hashmap *const layers = layers_init(own.get(), config.get());
    layer *const user = get_layer(layers, "user");
    EXPECT_EQ(allocator.size_of(user->backends), 5 * sizeof(backend *));
    EXPECT_EQ(user->backend_count, 2);
    for (int i = 2; i < 5; ++i)
        EXPECT_EQ(user->backends[i], nullptr);
    layers_free(layers);
    layer_free(user);
    own.reset();
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST_F(LayerTest, HasItsOwnCopiesOfTheBackends) {
    init("user = {\na = {\nmode = users\n}\n}\nsys = {\na = {\n}\n}");
    const backend *const source = backend_of(backends_.get(), "a");
    const backend *const users = get("user")->backends[0];
    const backend *const systems = get("sys")->backends[0];
    EXPECT_NE(users, source);
    EXPECT_NE(systems, source);
    EXPECT_NE(users, systems);
    EXPECT_EQ(users->handle, source->handle);
    EXPECT_EQ(call_entry(users, "get"), STORE_GET);
    EXPECT_EQ(tree_text(users->config), "library=store;mode=users;priority=1;");
    EXPECT_EQ(tree_text(systems->config), "library=store;mode=own;priority=1;");
    EXPECT_EQ(tree_text(source->config), "library=store;mode=own;priority=1;");
}

TEST_F(LayerTest, ReferenceAddsSettings) {
    init("user = {\na = {\nextra = 1\nmode = other\n}\n}");
    EXPECT_EQ(tree_text(get("user")->backends[0]->config), "library=store;mode=other;priority=1;extra=1;");
}

TEST_F(LayerTest, BackendWithoutSettingsGetsThoseOfTheReference) {
    Backends backends(backends_load(nullptr, tree_of("bare = {\n}").get()));
    ASSERT_EQ(backend_of(backends.get(), "bare")->config, nullptr);
    const Layers layers(
        layers_init(backends.get(), tree_of("user = {\nbare = {\nx = 1\n}\n}\nsys = {\nbare = {\n}\n}").get()));
    EXPECT_EQ(tree_text(get_layer(layers.get(), "user")->backends[0]->config), "x=1;");
    EXPECT_NE(get_layer(layers.get(), "sys")->backends[0]->config, nullptr);
    EXPECT_EQ(backend_of(backends.get(), "bare")->config, nullptr);
}

TEST_F(LayerTest, GroupsOfAReferenceAreShared) {
    const Tree config = tree_of("user = {\na = {\nnet = {\nhost = here\n}\n}\n}");
    xdictionary *const reference = group_at(group_at(config.get(), "user"), "a");
    xdictionary *const net = group_at(reference, "net");
    layers_.reset(layers_init(backends_.get(), config.get()));
    EXPECT_EQ(group_at(get("user")->backends[0]->config, "net"), net);
    disown(reference, "net");
}

TEST_F(LayerTest, SkipsHoles) {
    const Tree config = tree_of("gone = {\na = {\n}\n}\nuser = {\na = {\n}\nx = 1\nb = {\n}\n}");
    xdictionary_unset(config.get(), "gone");
    xdictionary_unset(group_at(config.get(), "user"), "a");
    layers_.reset(layers_init(backends_.get(), config.get()));
    EXPECT_EQ(order_of(get("user")), "b ");
    EXPECT_EQ(hashmap_size(layers_.get()), 2U);
}

TEST_F(LayerTest, InitSeesTheLayerAsFarAsItIsBuilt) {
    init("user = {\nearly = 1\na = {\nmode = x\n}\nmiddle = 2\nb = {\n}\nlate = 3\n}\nsys = {\nc = {\n}\n}");
    EXPECT_EQ(ModuleObserver::calls(), "module_init(a, user) module_init(b, user) module_init(c, sys) ");
    const auto &events = ModuleObserver::events();
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0].layer_config, "early=1;");
    EXPECT_EQ(events[0].backend_config, "library=store;mode=x;priority=1;") << "already merged";
    EXPECT_EQ(events[0].order, "");
    EXPECT_TRUE(events[0].next_in_layer);
    EXPECT_EQ(events[0].l, get("user"));
    EXPECT_EQ(events[0].b, get("user")->backends[1]) << "the layer's copy, sorted down later";
    EXPECT_EQ(events[1].layer_config, "early=1;middle=2;");
    EXPECT_EQ(events[1].order, "a ");
    EXPECT_TRUE(events[1].next_in_layer);
    EXPECT_EQ(events[1].b, get("user")->backends[0]);
    EXPECT_EQ(events[2].layer_config, "");
    EXPECT_EQ(events[2].l, get("sys"));
    for (const auto &event : events)
        EXPECT_EQ(event.is_default, 0U);
    EXPECT_EQ(tree_text(get("user")->config), "early=1;middle=2;late=3;");
}

TEST_F(LayerTest, InitMayBeMappedToAnotherFunction) {
    const ModuleObserver observer("extra");
    const Backends backends(
        backends_init(tree_of("extra = {\nfunction = {\ninit = my_init\n}\n}").get(), TEST_MODULE_DIR));
    const Layers layers(layers_init(backends.get(), tree_of("user = {\nextra = {\n}\n}").get()));
    EXPECT_EQ(ModuleObserver::calls(), "my_init(extra, user) ");
}

TEST_F(LayerTest, BackendWithoutInitIsNotCalled) {
    remove_function(backend_of(backends_.get(), "a"), "init");
    remove_function(backend_of(backends_.get(), "a"), "destroy");
    init("user = {\na = {\n}\nb = {\n}\n}");
    EXPECT_EQ(ModuleObserver::calls(), "module_init(b, user) ");
    layers_.reset();
    EXPECT_EQ(ModuleObserver::calls(), "module_init(b, user) module_destroy(b, user) ");
}

TEST_F(LayerTest, BackendThatIsNotLoadedIsNotCalled) {
    const Backends backends(backends_load(nullptr, tree_of(kBackends).get()));
    const Layers layers(layers_init(backends.get(), tree_of("user = {\na = {\n}\n}").get()));
    EXPECT_EQ(order_of(get_layer(layers.get(), "user")), "a ");
    EXPECT_EQ(ModuleObserver::calls(), "");
}

TEST_F(LayerTest, GetLayerFindsByName) {
    init("user = {\na = {\n}\n}");
    EXPECT_NE(get("user"), nullptr);
    EXPECT_EQ(get("unknown"), nullptr);
    EXPECT_EQ(get("User"), nullptr);
    EXPECT_EQ(get(""), nullptr);
    EXPECT_EQ(get_layer(nullptr, "user"), nullptr);
    EXPECT_EQ(get_layer(layers_.get(), nullptr), nullptr);
    EXPECT_EQ(get_layer(nullptr, nullptr), nullptr);
}

TEST_F(LayerTest, ReadonlyIsASettingOfTheLayer) {
    init("on = {\nreadonly = yes\n}\noff = {\nreadonly = no\n}\nnone = {\na = {\nreadonly = yes\n}\n}\nodd = "
         "{\nreadonly = off\n}");
    const LogCapture capture;
    EXPECT_EQ(layer_check_readonly(get("on")), 1);
    EXPECT_EQ(layer_check_readonly(get("off")), 0);
    EXPECT_EQ(layer_check_readonly(get("none")), 0);
    EXPECT_EQ(layer_check_readonly(get("odd")), 0);
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_EQ(backend_check_readonly(get("none")->backends[0]), 1) << "the layer's copy knows";
    EXPECT_EQ(backend_check_readonly(backend_of(backends_.get(), "a")), 0);
}

} // namespace
