// SPDX-License-Identifier: MIT
// The default layer, and the errors of layers_init.
#include "storage_fixture.h"
#include "support/death.h"

#include <gtest/gtest.h>
#include <string>

namespace {

constexpr char kTwoLayers[] = "user = {\na = {\n}\n}\nsys = {\nb = {\n}\n}\n";

class LayerDefault : public testing::Test {
protected:
    static constexpr char kBackends[] = "a = {\n}\nb = {\n}";

    void init(const std::string &content) {
        layers_.reset(layers_init(backends_.get(), tree_of(content).get()));
        ASSERT_NE(layers_, nullptr);
    }
    layer *get(const char *name) { return get_layer(layers_.get(), name); }

    Backends backends_{backends_load(nullptr, tree_of(kBackends).get())};
    Layers layers_;
};

using LayerDefaultDeathTest = LayerDefault;

TEST_F(LayerDefault, IsTheFirstLayer) {
    init(kTwoLayers);
    EXPECT_EQ(get("default"), get("user"));
    EXPECT_EQ(get("user")->is_default, 1U);
    EXPECT_EQ(get("sys")->is_default, 0U);
    EXPECT_STREQ(get("default")->name, "user");
    EXPECT_EQ(hashmap_size(layers_.get()), 3U);
    EXPECT_EQ(hashmap_last(layers_.get()), get("user"));
}

TEST_F(LayerDefault, IsTheFirstGroupNotTheFirstEntry) {
    init(std::string("text = x\n") + kTwoLayers);
    EXPECT_EQ(get("default"), get("user"));
}

TEST_F(LayerDefault, IsTheOneThatIsNamed) {
    for (const char *const place : {"before", "after"}) {
        init(std::string(place) == "before" ? std::string("default = Sys\n") + kTwoLayers
                                            : std::string(kTwoLayers) + "default = sys\n");
        EXPECT_EQ(get("default"), get("sys")) << place;
        EXPECT_EQ(get("sys")->is_default, 1U);
        EXPECT_EQ(get("user")->is_default, 0U);
    }
}

TEST_F(LayerDefault, LayerOfThatNameIsItWithoutAMark) {
    init(std::string(kTwoLayers) + "default = {\na = {\n}\n}\n");
    EXPECT_STREQ(get("default")->name, "default");
    for (const char *const name : {"default", "user", "sys"})
        EXPECT_EQ(get(name)->is_default, 0U) << name;
    EXPECT_EQ(hashmap_size(layers_.get()), 3U) << "it stands there once";
}

TEST_F(LayerDefault, NullEntryIsNone) {
    const Tree config = tree_of(kTwoLayers);
    set_string(config.get(), "default", nullptr);
    layers_.reset(layers_init(backends_.get(), config.get()));
    EXPECT_EQ(get("default"), get("user"));
}

TEST_F(LayerDefaultDeathTest, NameOfNoLayer) {
    for (const char *const name : {"none", "default", "a"}) {
        const Tree config = tree_of(std::string(kTwoLayers) + "default = " + name + "\n");
        EXPECT_ABORT(layers_init(backends_.get(), config.get()),
                     "init layer\\(user\\) end\\.\n_varnel: init layer\\(sys\\) end\\.\n"
                     "_varnel: Layer : set default layer error : " +
                         std::string(name) + "\n");
    }
    const Tree empty = tree_of(std::string(kTwoLayers) + "default = \" \"\n");
    EXPECT_ABORT(layers_init(backends_.get(), empty.get()), "_varnel: Layer : set default layer error : \n");
}

TEST_F(LayerDefaultDeathTest, NoLayerAtAll) {
    const Tree named = tree_of("default = x\n");
    EXPECT_ABORT(layers_init(backends_.get(), named.get()), "_varnel: Layer : set default layer error : x\n");
    const Tree text = tree_of("a = b\n");
    EXPECT_ABORT(layers_init(backends_.get(), text.get()), "_varnel: Layer : set default layer error : ");
}

TEST_F(LayerDefaultDeathTest, EntryThatIsNoString) {
    const Tree config = tree_of(kTwoLayers);
    xdictionary_set(config.get(), "default", xdictionary_new(0), 2);
    EXPECT_ABORT(layers_init(backends_.get(), config.get()), "_varnel: Layer : set default layers error\\.\n");
}

TEST_F(LayerDefaultDeathTest, LayerWithoutEntries) {
    const Tree config = tree_of("sys = {\na = {\n}\n}\nuser = {\n}\n");
    EXPECT_ABORT(layers_init(backends_.get(), config.get()),
                 "init layer\\(sys\\) end\\.\n_varnel: layer user backends is empty\\.\n");
    const Tree emptied = tree_of("user = {\na = {\n}\n}\n");
    xdictionary_unset(group_at(emptied.get(), "user"), "a");
    EXPECT_ABORT(layers_init(backends_.get(), emptied.get()), "_varnel: layer user backends is empty\\.\n");
}

TEST_F(LayerDefaultDeathTest, BackendThatIsMissing) {
    const char *const contents[] = {
        "user = {\nmissing = {\n}\n}",
        "user = {\nx = 1\nmissing = {\n}\na = {\n}\n}",
        "user = {\na = {\n}\nmissing = {\n}\n}",
        "user = {\na = {\n}\nb = {\n}\nmissing = {\nx = 1\n}\n}",
    };
    for (const char *const content : contents) {
        const Tree config = tree_of(content);
        EXPECT_ABORT(layers_init(backends_.get(), config.get()), "_varnel: Layer user can't find backend missing\n")
            << content;
    }
}

TEST_F(LayerDefaultDeathTest, EveryAllocationIsIndispensable) {
    const Tree config = tree_of("user = {\nx = 1\na = {\ny = 2\n}\nb = {\n}\n}\nsys = {\nz = 3\n}\n");
    expect_abort_at_every_allocation([&] { const Layers layers(layers_init(backends_.get(), config.get())); });
}

} // namespace
