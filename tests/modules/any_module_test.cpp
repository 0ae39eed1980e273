// SPDX-License-Identifier: MIT
// Every module against what module.h says of reading: with the sample in its store.
#include "support/storage_cases.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <thread>

using namespace varnel;
using namespace varnel::test;

namespace {

using Lines = std::vector<std::string>;

class AnyModule : public testing::TestWithParam<ModuleCase> {
protected:
    void SetUp() override {
        storage_.emplace(GetParam().module, GetParam().settings(folder_));
        store_ = storage_->store();
        if (GetParam().writable)
            fill_with_sample(store_);
    }

    TemporaryFolder folder_;
    std::optional<Storage> storage_;
    Store store_;
};

using AnyModuleThreads = AnyModule;

int ignore(void *, const xkey *, const xdata *) {
    return 0;
}

// Counts down, and ends the listing at zero.
int stop(void *left, const xkey *, const xdata *) {
    return --*static_cast<int *>(left) == 0 ? 77 : 0;
}

} // namespace

TEST_P(AnyModule, ReadsValuesAndGroups) {
    EXPECT_EQ("string device", store_.read("network", "host"));
    EXPECT_EQ("int32_t 8080", store_.read("network", "port"));
    EXPECT_EQ("uint64_t 3", store_.read("clock", "offset"));
    EXPECT_EQ("group", store_.read("network"));
    EXPECT_EQ("group", store_.read("empty"));
    EXPECT_EQ(std::to_string(-ENOENT), store_.read("network", "n"));
    EXPECT_EQ(std::to_string(-ENOENT), store_.read("empty", "n"));
    EXPECT_EQ(std::to_string(-ENOENT), store_.read("networ"));
    EXPECT_EQ(std::to_string(-ENOENT), store_.read("network:host"));
}

TEST_P(AnyModule, ReturnsCopies) {
    const Value found = store_.get("network", "host");
    ASSERT_NE(nullptr, found);
    found->value.s.str[0] = 'X';
    EXPECT_EQ("string device", store_.read("network", "host"));
}

TEST_P(AnyModule, FailureLeavesTheOutputAlone) {
    xdata untouched = {};
    xdata *value = &untouched;
    EXPECT_EQ(-ENOENT, store_.get(key_of("network", "none").get(), &value));
    EXPECT_EQ(-ENOENT, store_.get(key_of("none", "a").get(), &value));
    EXPECT_EQ(-ENOENT, store_.get(key_of("none").get(), &value));
    EXPECT_EQ(&untouched, value);
}

TEST_P(AnyModule, ListsEverythingInAscendingOrder) {
    EXPECT_EQ(sample_listing(), store_.listing());
    EXPECT_EQ(sample_listing(), store_.listing(key_of(nullptr).get()));
    EXPECT_EQ(sample_listing(), store_.listing(key_of("").get()));
}

TEST_P(AnyModule, ListsOneGroup) {
    EXPECT_EQ((Lines{"user:network group", "user:network:host string device", "user:network:port int32_t 8080"}),
              store_.listing(key_of("network", "not looked at").get()));
    EXPECT_EQ(Lines{"user:empty group"}, store_.listing(key_of("empty").get()));
    EXPECT_EQ(Lines{std::to_string(-ENOENT)}, store_.listing(key_of("networ").get()));
}

TEST_P(AnyModule, AVisitEndsTheListing) {
    for (int last = 1; last <= static_cast<int>(sample_listing().size()); ++last) {
        int left = last;
        EXPECT_EQ(77, store_.list(nullptr, stop, &left)) << last;
        EXPECT_EQ(0, left);
    }
}

TEST_P(AnyModule, ALayersNameIsInTheListingWhateverTheKeySays) {
    const Key other(xkey_new("other", "empty", nullptr));
    EXPECT_EQ(Lines{"user:empty group"}, store_.listing(other.get()));
}

TEST_P(AnyModule, RefusesArgumentsThatMakeNoSense) {
    const Value one = make_int32(1);
    xdata *value = nullptr;
    EXPECT_EQ(-EINVAL, store_.set(static_cast<const xkey *>(nullptr), one.get()));
    EXPECT_EQ(-EINVAL, store_.set(key_of(nullptr).get(), one.get()));
    EXPECT_EQ(-EINVAL, store_.set(key_of("", "n").get(), one.get()));
    EXPECT_EQ(-EINVAL, store_.unset(static_cast<const xkey *>(nullptr)));
    EXPECT_EQ(-EINVAL, store_.unset(key_of(nullptr).get()));
    EXPECT_EQ(-EINVAL, store_.get(nullptr, &value));
    EXPECT_EQ(-EINVAL, store_.get(key_of(nullptr).get(), &value));
    EXPECT_EQ(-EINVAL, store_.get(key_of("network", "host").get(), nullptr));
    EXPECT_EQ(-EINVAL, store_.list(nullptr, nullptr, nullptr));
    EXPECT_EQ(sample_listing(), store_.listing());
}

TEST_P(AnyModule, ACopyThatWasNotOpenedAnswersSo) {
    const std::unique_ptr<backend, void (*)(backend *)> closed(backend_dup(storage_->backends(), GetParam().module),
                                                               backend_free);
    const Store store(closed.get());
    const Key key = key_of("g", "n");
    xdata *value = nullptr;
    EXPECT_EQ(-ENODEV, store.set(key.get(), make_int32(1).get()));
    EXPECT_EQ(-ENODEV, store.unset(key.get()));
    EXPECT_EQ(-ENODEV, store.get(key.get(), &value));
    EXPECT_EQ(-ENODEV, store.list(nullptr, ignore, nullptr));
    EXPECT_EQ(-ENODEV, store.sync());
    EXPECT_EQ(0, store.point<module_destroy_t>("destroy")(closed.get(), nullptr));
}

TEST_P(AnyModule, OpensACopyOnceAndClosesItOnce) {
    const auto init = store_.point<module_init_t>("init");
    const auto destroy = store_.point<module_destroy_t>("destroy");
    layer *const user = storage_->find_layer("user");
    EXPECT_EQ(-EINVAL, init(nullptr, user));
    EXPECT_EQ(-EINVAL, init(store_.copy(), nullptr));
    EXPECT_EQ(-EINVAL, init(store_.copy(), user)); // open already
    EXPECT_EQ(-EINVAL, destroy(nullptr, user));
    EXPECT_EQ(sample_listing(), store_.listing());
    EXPECT_EQ(0, destroy(store_.copy(), user));
    EXPECT_EQ(nullptr, store_.copy()->user_data[0]);
    EXPECT_EQ(-ENODEV, store_.sync());
    EXPECT_EQ(0, init(store_.copy(), user));
    EXPECT_EQ(GetParam().durability, store_.sync());
}

TEST_P(AnyModule, SyncReachesItsClassAndNoMoreThanIsWanted) {
    EXPECT_EQ(GetParam().durability, store_.sync(DURABILITY_FOLDER));
    const int with_file = store_.sync(DURABILITY_FILE);
    EXPECT_EQ(GetParam().durability >= DURABILITY_FILE, with_file >= DURABILITY_FILE);
    EXPECT_LE(DURABILITY_MEMORY, store_.sync(DURABILITY_MEMORY));
    EXPECT_EQ(sample_listing(), store_.listing());
}

TEST_P(AnyModuleThreads, ReadOneStore) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this] {
            for (int round = 0; round < 100; ++round) {
                ASSERT_EQ(sample_listing(), store_.listing());
                ASSERT_EQ("string device", store_.read("network", "host"));
                ASSERT_EQ(GetParam().durability, store_.sync());
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

INSTANTIATE_TEST_SUITE_P(Modules, AnyModule, testing::ValuesIn(all_modules()), name_of);
INSTANTIATE_TEST_SUITE_P(Modules, AnyModuleThreads, testing::ValuesIn(all_modules()), name_of);
