// SPDX-License-Identifier: MIT
// Changes over a store in memory, and a plain model of the file that they are written to.
#include "modules/sqlite/changes.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <utility>

namespace varnel::modules {

namespace {

// Groups of names and numbers.
using Numbers = std::map<std::string, std::map<std::string, std::int32_t>>;

class ChangesTest : public testing::Test {
protected:
    int set(const std::string &group, const std::string &name, std::int32_t number = 1) {
        return memory_.set(group, name, make_int32(number), &changes_);
    }
    int unset(const std::string &group, const std::string &name) { return memory_.remove(group, name, &changes_); }
    int create_group(const std::string &group) { return memory_.create_group(group, &changes_); }
    int remove_group(const std::string &group) { return memory_.remove_group(group, &changes_); }

    [[nodiscard]] Numbers content() const {
        Numbers found;
        const auto collect = [](void *context, const xkey *key, const xdata *value) {
            auto &group = (*static_cast<Numbers *>(context))[std::string(text_of(key->group))];
            if (value != nullptr)
                group[std::string(text_of(key->name))] = value->value.i32;
            return 0;
        };
        EXPECT_EQ(0, memory_.list("", collect, &found));
        return found;
    }

    // Groups and values that changes are kept of.
    [[nodiscard]] std::size_t size() const {
        std::size_t entries = changes_.groups().size();
        for (const auto &[name, group] : changes_.groups())
            entries += group.values.size();
        return entries;
    }

    // ---- writes, between whose two steps there may be further changes

    [[nodiscard]] Changes take() { return std::exchange(changes_, Changes()); }

    // The writer's statements. A value without its group would make the file a damaged one.
    void store(const Changes &changes) {
        for (const auto &[name, group] : changes.groups()) {
            if (group.dropped)
                file_.erase(name);
            if (group.made)
                file_.try_emplace(name);
            for (const auto &[value_name, value] : group.values)
                store(name, value_name, value.now.get());
        }
    }
    void store(const std::string &group, const std::string &name, const xdata *value) {
        if (value != nullptr) {
            ASSERT_EQ(1U, file_.count(group)) << group << ":" << name;
            file_[group][name] = value->value.i32;
        } else if (file_.count(group) != 0) {
            file_[group].erase(name);
        }
    }
    void fail(Changes taken) { changes_.add_earlier(std::move(taken)); }
    void fail_in_doubt(Changes taken) {
        taken.doubt();
        changes_.add_earlier(std::move(taken));
    }
    void write() { store(take()); }

    ValueStore memory_{"user"};
    Changes changes_;
    Numbers file_;
};

} // namespace

TEST_F(ChangesTest, WhatTheFileHasNeverHadLeavesNothingWhenItIsRemoved) {
    for (int i = 0; i < 1000; ++i) {
        const std::string group = "g" + std::to_string(i);
        ASSERT_EQ(0, set(group, "n"));
        ASSERT_EQ(0, unset(group, "n"));
        ASSERT_EQ(0, remove_group(group));
        ASSERT_EQ(0, create_group(group));
        ASSERT_EQ(0, set(group, "n"));
        ASSERT_EQ(0, remove_group(group));
        ASSERT_TRUE(changes_.empty()) << i;
    }
}

TEST_F(ChangesTest, AValueThatComesAndGoesInAGroupOfTheFileLeavesNothing) {
    ASSERT_EQ(0, set("g", "stays"));
    write();
    ASSERT_EQ(0, set("g", "n"));
    ASSERT_EQ(0, set("g", "n", 2));
    EXPECT_EQ(2U, size());
    ASSERT_EQ(0, unset("g", "n"));
    EXPECT_TRUE(changes_.empty());
}

TEST_F(ChangesTest, AGroupThatIsMadeByAValueThatGoesIsWritten) {
    ASSERT_EQ(0, set("g", "n"));
    ASSERT_EQ(0, unset("g", "n"));
    EXPECT_EQ(1U, size());
    write();
    EXPECT_EQ((Numbers{{"g", {}}}), file_);
}

TEST_F(ChangesTest, RemovalsOfWhatTheFileHasAreKept) {
    ASSERT_EQ(0, set("g", "n"));
    ASSERT_EQ(0, set("g", "m"));
    ASSERT_EQ(0, set("h", "n"));
    write();
    ASSERT_EQ(0, unset("g", "n"));
    ASSERT_EQ(0, set("g", "n", 2));
    ASSERT_EQ(0, unset("g", "n"));
    ASSERT_EQ(0, remove_group("h"));
    EXPECT_EQ(3U, size());
    write();
    EXPECT_EQ((Numbers{{"g", {{"m", 1}}}}), file_);
}

TEST_F(ChangesTest, WhatComesIntoADroppedGroupAndGoesLeavesTheDropAlone) {
    ASSERT_EQ(0, set("g", "n"));
    write();
    ASSERT_EQ(0, remove_group("g"));
    ASSERT_EQ(0, set("g", "n", 2));
    ASSERT_EQ(0, set("g", "m", 2));
    ASSERT_EQ(0, unset("g", "n"));
    EXPECT_EQ(2U, size()); // the group, and m: with the group, n goes
    ASSERT_EQ(0, unset("g", "m"));
    EXPECT_EQ(1U, size());
    write();
    EXPECT_EQ((Numbers{{"g", {}}}), file_);
    ASSERT_EQ(0, remove_group("g"));
    ASSERT_EQ(0, create_group("g"));
    ASSERT_EQ(0, remove_group("g"));
    write();
    EXPECT_EQ(Numbers(), file_);
}

TEST_F(ChangesTest, WhatIsTakenBackAfterAWriteThatHasFailedLeavesNothing) {
    ASSERT_EQ(0, set("g", "stays"));
    write();
    for (int i = 0; i < 1000; ++i) {
        const std::string name = std::to_string(i);
        ASSERT_EQ(0, set("g", name));
        ASSERT_EQ(0, set("h" + name, "n"));
        fail(take());
        ASSERT_EQ(0, unset("g", name));
        ASSERT_EQ(0, unset("h" + name, "n"));
        ASSERT_EQ(0, remove_group("h" + name));
        ASSERT_TRUE(changes_.empty()) << i;
    }
}

TEST_F(ChangesTest, WhatIsTakenBackWhileAWriteFailsLeavesNothing) {
    ASSERT_EQ(0, set("g", "stays"));
    write();
    ASSERT_EQ(0, set("g", "n"));
    ASSERT_EQ(0, set("h", "n"));
    Changes taken = take();
    ASSERT_EQ(0, unset("g", "n"));
    ASSERT_EQ(0, remove_group("h"));
    EXPECT_EQ(3U, size());
    fail(std::move(taken));
    EXPECT_TRUE(changes_.empty());
}

TEST_F(ChangesTest, WhatIsTakenBackWhileAWriteSucceedsIsRemovedByTheNext) {
    ASSERT_EQ(0, set("g", "n"));
    ASSERT_EQ(0, set("h", "n"));
    const Changes taken = take();
    ASSERT_EQ(0, unset("g", "n"));
    ASSERT_EQ(0, remove_group("h"));
    store(taken);
    write();
    EXPECT_EQ((Numbers{{"g", {}}}), file_);
}

TEST_F(ChangesTest, WhatTheFileMayHaveIsRemoved) {
    ASSERT_EQ(0, set("g", "stays"));
    write();
    ASSERT_EQ(0, set("g", "n"));
    ASSERT_EQ(0, set("h", "n"));
    ASSERT_EQ(0, create_group("i"));
    Changes taken = take();
    store(taken);
    fail_in_doubt(std::move(taken));
    ASSERT_EQ(0, unset("g", "n"));
    ASSERT_EQ(0, remove_group("h"));
    ASSERT_EQ(0, remove_group("i"));
    write();
    EXPECT_EQ((Numbers{{"g", {{"stays", 1}}}}), file_);
}

TEST_F(ChangesTest, AGroupThatTheFileMayNotHaveIsMadeAgain) {
    ASSERT_EQ(0, create_group("g"));
    fail_in_doubt(take());
    ASSERT_EQ(0, set("g", "n"));
    write();
    EXPECT_EQ(content(), file_);
}

namespace {

class RandomChanges : public ChangesTest, public testing::WithParamInterface<bool> {
protected:
    void change() {
        const std::string group(1, static_cast<char>('a' + random_() % 3));
        const std::string name(1, static_cast<char>('a' + random_() % 3));
        const auto dice = random_() % 10;
        const int result = dice < 4   ? set(group, name, static_cast<std::int32_t>(random_() % 3))
                           : dice < 7 ? unset(group, name)
                           : dice < 8 ? remove_group(group)
                                      : create_group(group);
        ASSERT_TRUE(result == 0 || result == -ENOENT || result == -EEXIST) << result;
    }
    void change_some() {
        for (auto times = random_() % 6; times > 0; --times)
            change();
    }

    // Whether it has succeeded.
    bool write_or_fail() {
        Changes taken = take();
        change_some();
        const auto dice = random_() % 4;
        if (dice >= 2) {
            store(taken);
            return true;
        }
        if (!GetParam()) {
            fail(std::move(taken));
            return false;
        }
        if (dice == 1)
            store(taken);
        fail_in_doubt(std::move(taken));
        return false;
    }

    // Nothing is to be removed but what the file has.
    void expect_no_needless_removals() const {
        for (const auto &[name, group] : changes_.groups()) {
            const auto stored = file_.find(name);
            ASSERT_EQ(stored != file_.end(), group.stored) << name;
            ASSERT_TRUE(group.stored || !group.dropped) << name;
            ASSERT_TRUE(group.dropped || group.made || !group.values.empty()) << name;
            for (const auto &[value_name, value] : group.values) {
                const bool has = !group.dropped && stored != file_.end() && stored->second.count(value_name) != 0;
                ASSERT_EQ(has, value.stored) << name << ":" << value_name;
                ASSERT_TRUE(value.now != nullptr || has) << name << ":" << value_name;
            }
        }
    }

    std::mt19937 random_{20250107};
};

} // namespace

TEST_P(RandomChanges, MakeTheFileLikeTheMemoryWithEveryWriteThatSucceeds) {
    int writes = 0;
    int failures = 0;
    for (int round = 0; round < 20'000 && !HasFailure(); ++round) {
        change_some();
        if (!GetParam())
            expect_no_needless_removals();
        ++(write_or_fail() ? writes : failures);
        if (random_() % 4 == 0) {
            write();
            ASSERT_EQ(content(), file_) << round;
        }
    }
    EXPECT_LT(5000, writes);
    EXPECT_LT(5000, failures);
    write();
    EXPECT_TRUE(changes_.empty());
    EXPECT_EQ(content(), file_);
}

INSTANTIATE_TEST_SUITE_P(Failures, RandomChanges, testing::Bool(),
                         [](const auto &in_doubt) { return in_doubt.param ? "InDoubt" : "Certain"; });

} // namespace varnel::modules
