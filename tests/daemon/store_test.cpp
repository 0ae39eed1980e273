// SPDX-License-Identifier: MIT
#include "store_fixture.h"

#include <algorithm>
#include <stdexcept>

using namespace varnel::daemon;

namespace {

class StoreOfLayers : public StoreTest {};

std::string message_of(const char *configuration) {
    try {
        const Store store(tree_of(configuration), MODULE_DIR);
    } catch (const std::runtime_error &error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST_F(StoreOfLayers, FindsLayersByName) {
    EXPECT_EQ(layer("user").name(), "user");
    EXPECT_EQ(layer("volatile").name(), "volatile");
    EXPECT_EQ(store().find("none"), nullptr);
    EXPECT_EQ(store().find("User"), nullptr);
    EXPECT_EQ(store().find("users"), nullptr);
}

TEST_F(StoreOfLayers, TheDefaultLayerHasTwoMoreNames) {
    EXPECT_EQ(store().find(""), &layer("user"));
    EXPECT_EQ(store().find("default"), &layer("user"));
}

TEST_F(StoreOfLayers, ListsEveryLayerOnceTheDefaultLayerFirst) {
    std::vector<std::string> names;
    for (const auto &l : store().layers())
        names.push_back(l->name());
    EXPECT_EQ(names.size(), 4U);
    EXPECT_EQ(names.front(), "user");
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"factory", "fixed", "user", "volatile"}));
}

TEST_F(StoreOfLayers, ALayerMayItselfBeNamedDefault) {
    build("backends = {\n main = {\n library = scripted\n }\n}\n"
          "layers = {\n other = {\n main = {\n }\n }\n default = {\n main = {\n }\n }\n}\n");
    EXPECT_EQ(layer("").name(), "default");
    EXPECT_EQ(layer("default").name(), "default");
    EXPECT_EQ(store().layers().size(), 2U);
    EXPECT_EQ(store().layers().front()->name(), "default");
}

TEST_F(StoreOfLayers, WithoutADefaultSettingALayerIsChosen) {
    build("backends = {\n main = {\n library = scripted\n }\n}\nlayers = {\n only = {\n main = {\n }\n }\n}\n");
    EXPECT_EQ(layer("").name(), "only");
    EXPECT_TRUE(layer("").is_default());
}

TEST_F(StoreOfLayers, DestroysEveryCopyAtItsEnd) {
    build();
    {
        const Store another(
            tree_of("backends = {\n b = {\n library = scripted\n }\n}\n"
                    "layers = {\n default = one\n one = {\n b = {\n }\n }\n two = {\n b = {\n }\n }\n}\n"),
            MODULE_DIR);
        EXPECT_NE(find_copy("one", "b"), nullptr);
        EXPECT_NE(find_copy("two", "b"), nullptr);
    }
    EXPECT_EQ(find_copy("one", "b"), nullptr);
    EXPECT_EQ(find_copy("two", "b"), nullptr);
    EXPECT_NE(find_copy("user", "main"), nullptr);
}

TEST_F(StoreOfLayers, RefusesConfigurationsWithoutItsGroups) {
    const std::string expected = "the configuration has no group \"backends\" or no group \"layers\"";
    EXPECT_EQ(message_of("a = 1\n"), expected);
    EXPECT_EQ(message_of("backends = {\n}\n"), expected);
    EXPECT_EQ(message_of("layers = {\n}\n"), expected);
    EXPECT_EQ(message_of("backends = {\n}\nlayers = {\n}\n"), "the configuration has no layers");
}

TEST_F(StoreOfLayers, RefusesADurabilityThatIsNone) {
    EXPECT_EQ(message_of("backends = {\n main = {\n library = scripted\n }\n}\n"
                         "layers = {\n user = {\n durability = safe\n main = {\n }\n }\n}\n"),
              "layer user: durability \"safe\" is not memory, file or folder");
}
