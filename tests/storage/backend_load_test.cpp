// SPDX-License-Identifier: MIT
// backends_load: from configuration groups to backend records.
#include "storage_fixture.h"
#include "support/counting_allocator.h"
#include "support/death.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>
#include <string>

namespace {

// The keys of a map in order, each followed by a space.
std::string keys_of(hashmap *map) {
    std::string keys;
    uintptr_t token = HASHMAP_ITERATE_START;
    void *key = nullptr;
    while (hashmap_iterate(map, &token, &key) != nullptr)
        keys += std::string(static_cast<const char *>(key)) + " ";
    return keys;
}

TEST(BackendsLoad, WithoutConfigurationReturnsTheMap) {
    EXPECT_EQ(backends_load(nullptr, nullptr), nullptr);
    const Backends map = load_backends("a = {\n}");
    EXPECT_EQ(backends_load(map.get(), nullptr), map.get());
    EXPECT_EQ(keys_of(map.get()), "a ");
}

TEST(BackendsLoad, EmptyConfigurationGivesAnEmptyMap) {
    const Backends map = load_backends("");
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(hashmap_size(map.get()), 0U);
    EXPECT_EQ(map->hash_fn, &string_hash_func);
    EXPECT_EQ(map->compare_fn, &string_compare_func);
}

TEST(BackendsLoad, MakesABackendOfEveryGroupInSlotOrder) {
    const LogCapture capture;
    const Backends map = load_backends("zeta = {\n}\nplain = text\nalpha = {\nx = 1\n}\nbeta =\n{\n}");
    EXPECT_EQ(keys_of(map.get()), "zeta alpha beta ");
    for (const char *const name : {"zeta", "alpha", "beta"}) {
        const backend *const b = backend_of(map.get(), name);
        EXPECT_STREQ(b->name, name);
        EXPECT_EQ(b->handle, nullptr);
        EXPECT_EQ(functions_of(b), kDefaultFunctions);
    }
    EXPECT_EQ(backend_of(map.get(), "zeta")->config, nullptr);
    EXPECT_EQ(tree_text(backend_of(map.get(), "alpha")->config), "x=1;");
    EXPECT_TRUE(capture.lines().empty());
}

TEST(BackendsLoad, KeyIsACopyOfTheName) {
    const Backends map = load_backends("a = {\n}");
    const auto *const key = static_cast<const char *>(hashmap_first_key(map.get()));
    EXPECT_STREQ(key, "a");
    EXPECT_NE(key, backend_of(map.get(), "a")->name);
}

TEST(BackendsLoad, GroupIsOfTypeOne) {
    const Tree config(xdictionary_new(0));
    xdictionary_set(config.get(), "other", xdictionary_new(0), 2);
    set_string(config.get(), "text", "{");
    set_string(config.get(), "null", nullptr);
    const Backends map(backends_load(nullptr, config.get()));
    EXPECT_EQ(hashmap_size(map.get()), 0U);
}

TEST(BackendsLoad, SkipsHoles) {
    const Tree config = tree_of("a = {\n}\nb = {\nx = 1\ny = 2\n}");
    xdictionary_unset(config.get(), "a");
    xdictionary_unset(group_at(config.get(), "b"), "x");
    const Backends map(backends_load(nullptr, config.get()));
    EXPECT_EQ(keys_of(map.get()), "b ");
    EXPECT_EQ(tree_text(backend_of(map.get(), "b")->config), "y=2;");
}

TEST(BackendsLoad, AddsToAMap) {
    Backends map = load_backends("a = {\n}");
    hashmap *const before = map.get();
    EXPECT_EQ(backends_load(before, tree_of("b = {\n}").get()), before);
    EXPECT_EQ(keys_of(before), "a b ");
}

TEST(BackendsLoad, NameThatIsThereKeepsItsBackend) {
    CountingAllocator allocator;
    {
        const Backends map = load_backends("a = {\nx = 1\n}");
        const backend *const first = backend_of(map.get(), "a");
        const size_t blocks = allocator.live_blocks();
        backends_load(map.get(), tree_of("a = {\nx = 2\nfunction = {\nget = my_get\n}\n}").get());
        EXPECT_EQ(backend_of(map.get(), "a"), first);
        EXPECT_EQ(tree_text(first->config), "x=1;");
        EXPECT_EQ(functions_of(first), kDefaultFunctions);
        EXPECT_EQ(allocator.live_blocks(), blocks);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(BackendsLoadSettings, AreCopiedInOrderWithoutFunction) {
    const Backends map =
        load_backends("a = {\nlibrary = store\nreadonly = yes\nfunction = {\n}\npriority = 3\nown = x\n}");
    EXPECT_EQ(tree_text(backend_of(map.get(), "a")->config), "library=store;readonly=yes;priority=3;own=x;");
}

TEST(BackendsLoadSettings, FunctionAloneMakesNoSettings) {
    const Backends map = load_backends("a = {\nfunction = {\nget = my_get\n}\n}");
    EXPECT_EQ(backend_of(map.get(), "a")->config, nullptr);
}

TEST(BackendsLoadSettings, NestedGroupsAreShared) {
    const Tree config = tree_of("a = {\nnet = {\nhost = here\n}\n}");
    xdictionary *const net = group_at(group_at(config.get(), "a"), "net");
    const Backends map(backends_load(nullptr, config.get()));
    EXPECT_EQ(group_at(backend_of(map.get(), "a")->config, "net"), net);
    EXPECT_EQ(net->ref_count, 0U);
    disown(group_at(config.get(), "a"), "net");
}

TEST(BackendsLoadSettings, KeepTheirTypes) {
    const Tree config(xdictionary_new(0));
    xdictionary *const group = add_group(config.get(), "a");
    xdictionary *const nested = xdictionary_new(0);
    xdictionary_set(group, "seven", nested, 7);
    set_string(group, "null", nullptr);
    const Backends map(backends_load(nullptr, config.get()));
    const xdictionary *const settings = backend_of(map.get(), "a")->config;
    EXPECT_EQ(settings->types[0], 7U);
    EXPECT_EQ(settings->values[0], static_cast<void *>(nested));
    EXPECT_EQ(tree_text(settings), "seven!{}null=NULL;");
    disown(group, "seven");
}

TEST(BackendsLoadFunction, RenamesAndAdds) {
    const Backends map =
        load_backends("a = {\nfunction = {\nget = my_get\ndump = my_dump\nsync = my_sync\n}\n}\nb = {\n}");
    EXPECT_EQ(functions_of(backend_of(map.get(), "a")),
              "init=module_init;destroy=module_destroy;set=module_set_value;unset=module_unset_value;get=my_get;"
              "list=module_list_all;sync=my_sync;dump=my_dump;");
    EXPECT_EQ(functions_of(backend_of(map.get(), "b")), kDefaultFunctions);
    EXPECT_EQ(backend_get_function(backend_of(map.get(), "a"), "dump")->address, nullptr);
}

TEST(BackendsLoadFunction, ReleasesTheReplacedSymbol) {
    const Tree config = tree_of("a = {\nfunction = {\nget = my_get\ndump = my_dump\n}\n}");
    CountingAllocator allocator;
    backends_free(backends_load(nullptr, config.get()));
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(BackendsLoadFunction, NameIsComparedExactly) {
    const Tree config(xdictionary_new(0));
    xdictionary *const group = add_group(config.get(), "a");
    set_string(group, "Function", "x");
    set_string(group, "functions", "y");
    const Backends map(backends_load(nullptr, config.get()));
    EXPECT_EQ(tree_text(backend_of(map.get(), "a")->config), "Function=x;functions=y;");
}

TEST(BackendsLoadFunction, WhatIsNotAGroupOfStringsIsIgnored) {
    const Backends map =
        load_backends("a = {\nfunction = my_get\n}\nb = {\nfunction = {\nget = {\nx = 1\n}\nset = my_set\n}\n}");
    EXPECT_EQ(functions_of(backend_of(map.get(), "a")), kDefaultFunctions);
    EXPECT_EQ(backend_of(map.get(), "a")->config, nullptr);
    EXPECT_EQ(functions_of(backend_of(map.get(), "b")),
              "init=module_init;destroy=module_destroy;set=my_set;unset=module_unset_value;get=module_get_value;"
              "list=module_list_all;sync=module_sync;");
}

TEST(BackendsLoadDeathTest, SettingsDictionaryMessage) {
    const Tree config = tree_of("a = {\nx = 1\n}");
    const size_t without_settings = count_allocations([] { backends_free(load_backends("a = {\n}").release()); }) -
                                    count_allocations([] { tree_of("a = {\n}"); });
    // The record of the dictionary is indispensable as such; without its slots the settings would be lost.
    for (size_t array = 2; array <= 5; ++array)
        EXPECT_ABORT(
            {
                CountingAllocator allocator;
                allocator.fail_at(without_settings + array);
                backends_load(nullptr, config.get());
            },
            "_varnel: Can't new xdictionary\\.\n");
}

TEST(BackendsLoadDeathTest, MapIsIndispensable) {
    const Tree config = tree_of("");
    expect_abort_at_every_allocation([&config] { backends_free(backends_load(nullptr, config.get())); });
}

} // namespace
