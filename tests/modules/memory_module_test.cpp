// SPDX-License-Identifier: MIT
// memory.so against the contract of module.h. The module is opened by the library, so that what is tested is what a
// daemon gets; two layers over the same backend show that copies are stores of their own.
#include "module.h"

#include <varnel/memory.h>
#include <varnel/storage.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

struct XkeyDeleter {
    void operator()(xkey *key) const { xkey_free(key); }
};
using Key = std::unique_ptr<xkey, XkeyDeleter>;

struct XdataDeleter {
    void operator()(xdata *value) const { xdata_free(value); }
};
using Value = std::unique_ptr<xdata, XdataDeleter>;

Key key_of(const char *group, const char *name = nullptr) {
    return Key(xkey_new("any", group, name));
}
Value text(const char *characters) {
    return Value(xdata_char(characters));
}
Value number(int32_t n) {
    return Value(xdata_new(XDATA_INT32, &n));
}

std::string words(const xdata *value) {
    if (value == nullptr)
        return "group";
    const std::unique_ptr<char, void (*)(void *)> characters(xdata_value_as_char(value), _xfree);
    return std::string(xdata_type_as_char(value->type)).append(" ").append(characters.get());
}

// The entry points of one backend copy.
class Store {
public:
    Store() = default;
    explicit Store(backend *b) : b_(b) {}

    backend *copy() const { return b_; }
    int set(const xkey *key, const xdata *value) const { return point<module_set_value_t>("set")(b_, key, value); }
    int unset(const xkey *key) const { return point<module_unset_value_t>("unset")(b_, key); }
    int get(const xkey *key, xdata **value) const { return point<module_get_value_t>("get")(b_, key, value); }
    int list(const xkey *key, module_visit_t visit, void *context) const {
        return point<module_list_all_t>("list")(b_, key, visit, context);
    }
    int sync() const { return point<module_sync_t>("sync")(b_); }

    int set(const char *group, const char *name, const Value &value) const {
        return set(key_of(group, name).get(), value.get());
    }

    // The value in words, or the result.
    std::string read(const char *group, const char *name = nullptr) const {
        xdata *found = nullptr;
        const int result = get(key_of(group, name).get(), &found);
        const Value owner(found);
        return result == 0 ? words(found) : std::to_string(result);
    }

private:
    template <class Function> Function point(const char *action) const {
        return reinterpret_cast<Function>(backend_get_function(b_, action)->address);
    }

    backend *b_ = nullptr;
};

// Lines "layer:group:name value" in the order of the visits.
int collect(void *context, const xkey *key, const xdata *value) {
    const std::unique_ptr<char, void (*)(void *)> name(xkey_to_string(key), _xfree);
    static_cast<std::vector<std::string> *>(context)->push_back(
        std::string(name.get()).append(" ").append(words(value)));
    return 0;
}

std::vector<std::string> listing(const Store &store, const xkey *key) {
    std::vector<std::string> lines;
    EXPECT_EQ(0, store.list(key, collect, &lines));
    return lines;
}

// A configuration tree; groups are its own.
xdictionary *group_in(xdictionary *parent, const char *name) {
    xdictionary *const group = xdictionary_new(0);
    EXPECT_EQ(0, xdictionary_set(parent, name, group, XDICTIONARY_GROUP));
    return group;
}

std::string result_words(int result) {
    return std::to_string(result);
}

class MemoryModule : public testing::Test {
protected:
    void SetUp() override {
        // The settings lie in the layer's group only, so that nothing else shares them.
        xdictionary *const backend_config = xdictionary_new(0);
        group_in(backend_config, "memory");
        backends_ = backends_init(backend_config, MODULE_DIR);
        xdictionary_del(backend_config);
        xdictionary *const layer_config = xdictionary_new(0);
        for (const char *const name : {"user", "system"})
            group_in(group_in(layer_config, name), "memory");
        layers_ = layers_init(backends_, layer_config);
        xdictionary_del(layer_config);
        user_ = Store(get_layer(layers_, "user")->backends[0]);
        system_ = Store(get_layer(layers_, "system")->backends[0]);
    }

    void TearDown() override {
        layer *const default_layer = get_layer(layers_, "default");
        layers_free(layers_);
        layer_free(default_layer);
        backends_free(backends_);
    }

    hashmap *backends_ = nullptr;
    hashmap *layers_ = nullptr;
    Store user_;
    Store system_;
};

} // namespace

TEST_F(MemoryModule, ValuesOfAllTypesComeBackAsTheyWereSet) {
    const uint64_t bits = 0x7ff4123456789abc; // a signalling NaN, for the double; other types take their first bytes
    for (xdata_type type = XDATA_INT32; type <= XDATA_BOOLEAN; ++type) {
        const Value value(xdata_new(type, &bits));
        const Key key = key_of("g", "n");
        ASSERT_EQ(0, user_.set(key.get(), value.get()));
        xdata *found = nullptr;
        ASSERT_EQ(0, user_.get(key.get(), &found));
        const Value owner(found);
        EXPECT_EQ(type, found->type);
        EXPECT_EQ(0, std::memcmp(&value->value, &found->value, sizeof bits)) << type;
        EXPECT_NE(value.get(), found);
    }
    ASSERT_EQ(0, user_.set("g", "n", text("x")));
    EXPECT_EQ("string x", user_.read("g", "n"));
}

TEST_F(MemoryModule, WhatIsReturnedIsACopy) {
    ASSERT_EQ(0, user_.set("g", "n", text("first")));
    xdata *found = nullptr;
    ASSERT_EQ(0, user_.get(key_of("g", "n").get(), &found));
    const Value owner(found);
    found->value.s.str[0] = 'X';
    EXPECT_EQ("string first", user_.read("g", "n"));
}

TEST_F(MemoryModule, LayersAreStoresOfTheirOwn) {
    ASSERT_EQ(0, user_.set("g", "n", number(1)));
    ASSERT_EQ(0, system_.set("g", "n", number(2)));
    EXPECT_EQ("int32_t 1", user_.read("g", "n"));
    EXPECT_EQ("int32_t 2", system_.read("g", "n"));
    ASSERT_EQ(0, user_.unset(key_of("g").get()));
    EXPECT_EQ(result_words(-ENOENT), user_.read("g"));
    EXPECT_EQ("int32_t 2", system_.read("g", "n"));
}

TEST_F(MemoryModule, GroupsAreMadeOnceAndComeWithTheirFirstValue) {
    EXPECT_EQ(result_words(-ENOENT), user_.read("g"));
    EXPECT_EQ(0, user_.set("g", nullptr, nullptr));
    EXPECT_EQ("group", user_.read("g"));
    EXPECT_EQ(-EEXIST, user_.set("g", nullptr, nullptr));
    EXPECT_EQ(0, user_.set("h", "n", number(1)));
    EXPECT_EQ("group", user_.read("h"));
}

TEST_F(MemoryModule, RemovingTakesAValueOrAWholeGroup) {
    EXPECT_EQ(-ENOENT, user_.unset(key_of("g").get()));
    EXPECT_EQ(-ENOENT, user_.unset(key_of("g", "n").get()));
    ASSERT_EQ(0, user_.set("g", "n", number(1)));
    EXPECT_EQ(-ENOENT, user_.unset(key_of("g", "m").get()));
    EXPECT_EQ(0, user_.unset(key_of("g", "n").get()));
    EXPECT_EQ(result_words(-ENOENT), user_.read("g", "n"));
    EXPECT_EQ("group", user_.read("g"));
    ASSERT_EQ(0, user_.set("g", "n", number(1)));
    EXPECT_EQ(0, user_.unset(key_of("g").get()));
    EXPECT_EQ(result_words(-ENOENT), user_.read("g"));
    EXPECT_EQ(result_words(-ENOENT), user_.read("g", "n"));
}

TEST_F(MemoryModule, FailureLeavesTheOutputAlone) {
    xdata untouched = {};
    xdata *value = &untouched;
    EXPECT_EQ(-ENOENT, user_.get(key_of("g", "n").get(), &value));
    EXPECT_EQ(-ENOENT, user_.get(key_of("g").get(), &value));
    EXPECT_EQ(&untouched, value);
}

TEST_F(MemoryModule, ListingAscendsByGroupAndName) {
    ASSERT_EQ(0, user_.set("zoo", "b", number(2)));
    ASSERT_EQ(0, user_.set("zoo", "a", text("x")));
    ASSERT_EQ(0, user_.set("Bar", "n", number(3)));
    ASSERT_EQ(0, user_.set("empty", nullptr, nullptr));
    const std::vector<std::string> everything{"user:Bar group", "user:Bar:n int32_t 3", "user:empty group",
                                              "user:zoo group", "user:zoo:a string x",  "user:zoo:b int32_t 2"};
    EXPECT_EQ(everything, listing(user_, nullptr));
    EXPECT_EQ(everything, listing(user_, key_of(nullptr).get()));
    EXPECT_EQ((std::vector<std::string>{"user:Bar group", "user:Bar:n int32_t 3"}),
              listing(user_, key_of("Bar", "not looked at").get()));
    EXPECT_EQ(std::vector<std::string>{"user:empty group"}, listing(user_, key_of("empty").get()));
    EXPECT_EQ(std::vector<std::string>{}, listing(system_, nullptr));
    EXPECT_EQ(-ENOENT, user_.list(key_of("bar").get(), collect, nullptr));
}

TEST_F(MemoryModule, AVisitEndsTheListing) {
    ASSERT_EQ(0, user_.set("a", "x", number(1)));
    ASSERT_EQ(0, user_.set("a", "y", number(2)));
    ASSERT_EQ(0, user_.set("b", "z", number(3)));
    for (int last = 1; last <= 5; ++last) {
        int left = last;
        const auto stop = [](void *context, const xkey *, const xdata *) {
            return --*static_cast<int *>(context) == 0 ? 77 : 0;
        };
        EXPECT_EQ(77, user_.list(nullptr, stop, &left)) << last;
        EXPECT_EQ(0, left);
    }
}

TEST_F(MemoryModule, KeysAndValuesThatMakeNoSenseAreRefused) {
    const xdata none = {};
    xdata *value = nullptr;
    const Value one = number(1);
    EXPECT_EQ(-EINVAL, user_.set(static_cast<const xkey *>(nullptr), one.get()));
    EXPECT_EQ(-EINVAL, user_.set(key_of(nullptr).get(), one.get()));
    EXPECT_EQ(-EINVAL, user_.set(key_of("", "n").get(), one.get()));
    EXPECT_EQ(-EINVAL, user_.set(key_of("g").get(), one.get())); // a group has no value
    EXPECT_EQ(-EINVAL, user_.set(key_of("g", "n").get(), nullptr));
    EXPECT_EQ(-EINVAL, user_.set(key_of("g", "n").get(), &none));
    EXPECT_EQ(-EINVAL, user_.unset(nullptr));
    EXPECT_EQ(-EINVAL, user_.get(nullptr, &value));
    EXPECT_EQ(-EINVAL, user_.get(key_of("g", "n").get(), nullptr));
    EXPECT_EQ(-EINVAL, user_.list(nullptr, nullptr, nullptr));
    EXPECT_EQ(std::vector<std::string>{}, listing(user_, nullptr));
}

TEST_F(MemoryModule, ACopyThatWasNotOpenedAnswersSo) {
    const std::unique_ptr<backend, void (*)(backend *)> closed(backend_dup(backends_, "memory"), backend_free);
    const Store store(closed.get());
    const Key key = key_of("g", "n");
    xdata *value = nullptr;
    EXPECT_EQ(-ENODEV, store.set(key.get(), number(1).get()));
    EXPECT_EQ(-ENODEV, store.unset(key.get()));
    EXPECT_EQ(-ENODEV, store.get(key.get(), &value));
    EXPECT_EQ(-ENODEV, store.list(nullptr, collect, nullptr));
    EXPECT_EQ(-ENODEV, store.sync());
    const auto destroy = reinterpret_cast<module_destroy_t>(backend_get_function(closed.get(), "destroy")->address);
    EXPECT_EQ(0, destroy(closed.get(), nullptr));
    EXPECT_EQ(-EINVAL, destroy(nullptr, nullptr));
    const auto init = reinterpret_cast<module_init_t>(backend_get_function(closed.get(), "init")->address);
    EXPECT_EQ(-EINVAL, init(closed.get(), nullptr));
    EXPECT_EQ(-EINVAL, init(nullptr, get_layer(layers_, "user")));
    EXPECT_EQ(-EINVAL, init(user_.copy(), get_layer(layers_, "user"))); // open already
}

TEST_F(MemoryModule, SyncHasNothingToWrite) {
    EXPECT_EQ(0, user_.sync());
}

TEST(MemoryModuleSettings, ValuesFillTheStore) {
    xdictionary *const backend_config = xdictionary_new(0);
    xdictionary *const settings = group_in(backend_config, "defaults");
    xdictionary_set(settings, "library", "memory.so", XDICTIONARY_STRING);
    xdictionary *const values = group_in(settings, "values");
    ++values->ref_count; // the backend shares it
    xdictionary_set(values, "stray", "outside of a group", XDICTIONARY_STRING);
    xdictionary *const network = group_in(values, "network");
    xdictionary_set(network, "hostname", "device", XDICTIONARY_STRING);
    group_in(network, "deeper");
    hashmap *const backends = backends_init(backend_config, MODULE_DIR);
    xdictionary *const layer_config = xdictionary_new(0);
    group_in(group_in(layer_config, "user"), "defaults");
    hashmap *const layers = layers_init(backends, layer_config);
    layer *const user = get_layer(layers, "user");

    const Store store(user->backends[0]);
    EXPECT_EQ((std::vector<std::string>{"user:network group", "user:network:hostname string device"}),
              listing(store, nullptr));

    layers_free(layers);
    layer_free(user);
    backends_free(backends);
    xdictionary_del(backend_config);
    xdictionary_del(layer_config);
}

using MemoryModuleThreads = MemoryModule;

TEST_F(MemoryModuleThreads, ShareOneStore) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t] {
            const std::string mine(1, static_cast<char>('a' + t));
            for (int i = 0; i < kRounds; ++i) {
                ASSERT_EQ(0, user_.set("g", mine.c_str(), number(i)));
                ASSERT_EQ(words(number(i).get()), user_.read("g", mine.c_str()));
                ASSERT_LE(2U, listing(user_, nullptr).size());
                if (i % 2 == 1) {
                    ASSERT_EQ(0, user_.unset(key_of("g", mine.c_str()).get()));
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<std::string>{"user:g group"}, listing(user_, nullptr));
}
