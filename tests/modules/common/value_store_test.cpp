// SPDX-License-Identifier: MIT
// The bound of a store in memory: what counts, what is refused, and that the sum stays right whatever fails.
#include "modules/common/value_store.h"

#include "common/failing_new.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <new>
#include <stdexcept>
#include <vector>

using namespace varnel;
using namespace varnel::modules;
using varnel::test::FailingNew;

namespace {

constexpr std::uint64_t kGroupOf1 = 1 + kRecordBytes;
constexpr std::uint64_t kNumberOf1 = 1 + kRecordBytes;

SharedValue number(std::int32_t value = 1) {
    return make_int32(value);
}

// A string of so many bytes, its zero byte counted.
SharedValue text(std::size_t bytes) {
    return make_string(std::string(bytes - 1, 't'));
}

class BoundedStore : public testing::Test {
protected:
    // Everything, in order, as "group", or "group:name" with the value's type and size.
    [[nodiscard]] std::vector<std::string> content() const {
        std::vector<std::string> lines;
        const auto collect = [](void *context, const xkey *key, const xdata *value) {
            std::string line(text_of(key->group));
            if (value != nullptr)
                line.append(":").append(text_of(key->name)).append(" ").append(std::to_string(value->type));
            if (value != nullptr && value->type == XDATA_STRING)
                line.append(" ").append(std::to_string(value->value.s.len));
            static_cast<std::vector<std::string> *>(context)->push_back(line);
            return 0;
        };
        EXPECT_EQ(0, store_.list("", collect, &lines));
        return lines;
    }

    // Whether a change leaves everything as it is.
    [[nodiscard]] bool leaves_all(const std::function<void()> &change) const {
        const std::vector<std::string> before = content();
        const std::uint64_t bytes = store_.bytes();
        change();
        return before == content() && bytes == store_.bytes();
    }
    [[nodiscard]] bool refused(const std::function<int()> &change) const {
        int result = 0;
        return leaves_all([&] { result = change(); }) && result == -EDQUOT;
    }

    ValueStore store_{"user"};
};

class Noted : public ChangeNotes {
public:
    void create_group(std::string_view group) override { note("create " + std::string(group)); }
    void set(std::string_view group, std::string_view name, const SharedValue &value, Presence before) override {
        note("set " + std::string(group) + ":" + std::string(name) + " " + std::to_string(value->value.i32) +
             (before.group ? " group" : "") + (before.value ? " value" : ""));
    }
    void remove_group(std::string_view group) override { note("remove " + std::string(group)); }
    void remove(std::string_view group, std::string_view name) override {
        note("remove " + std::string(group) + ":" + std::string(name));
    }

    std::vector<std::string> lines;
    bool fails = false;

private:
    void note(const std::string &line) {
        if (fails)
            throw std::runtime_error(line);
        lines.push_back(line);
    }
};

} // namespace

TEST_F(BoundedStore, CountsNamesAndTextsAndSomethingForEveryRecord) {
    EXPECT_EQ(0U, store_.bytes());
    ASSERT_EQ(0, store_.create_group("group"));
    EXPECT_EQ(5 + kRecordBytes, store_.bytes());
    ASSERT_EQ(0, store_.set("group", "name", number()));
    EXPECT_EQ(9 + 2 * kRecordBytes, store_.bytes());
    ASSERT_EQ(0, store_.set("group", "name", text(100)));
    EXPECT_EQ(109 + 2 * kRecordBytes, store_.bytes());
    ASSERT_EQ(0, store_.set("g", "n", text(1)));
    EXPECT_EQ(112 + 4 * kRecordBytes, store_.bytes());
    ASSERT_EQ(0, store_.set("g", "m", make_uint64(1)));
    EXPECT_EQ(113 + 5 * kRecordBytes, store_.bytes());
}

TEST_F(BoundedStore, CountsNoMoreWhatIsReplacedOrRemoved) {
    ASSERT_EQ(0, store_.set("g", "n", text(100)));
    ASSERT_EQ(0, store_.set("g", "m", text(50)));
    ASSERT_EQ(0, store_.set("g", "n", text(10)));
    EXPECT_EQ(3 + 60 + 3 * kRecordBytes, store_.bytes());
    ASSERT_EQ(0, store_.remove("g", "m"));
    EXPECT_EQ(2 + 10 + 2 * kRecordBytes, store_.bytes());
    ASSERT_EQ(0, store_.set("h", "m", text(50)));
    ASSERT_EQ(0, store_.remove_group("g"));
    EXPECT_EQ(2 + 50 + 2 * kRecordBytes, store_.bytes());
    ASSERT_EQ(0, store_.remove_group("h"));
    EXPECT_EQ(0U, store_.bytes());
}

TEST_F(BoundedStore, TakesAGroupThatReachesTheBoundAndNoneThatIsOverIt) {
    EXPECT_EQ(0U, store_.set_bound(2 * kGroupOf1));
    EXPECT_TRUE(refused([this] { return store_.create_group(std::string(1 + 2 * kGroupOf1 - kRecordBytes, 'g')); }));
    EXPECT_EQ(0, store_.create_group("a"));
    EXPECT_TRUE(refused([this] { return store_.create_group("bb"); }));
    EXPECT_EQ(0, store_.create_group("b"));
    EXPECT_TRUE(refused([this] { return store_.create_group("c"); }));
    EXPECT_EQ(-EEXIST, store_.create_group("a"));
    EXPECT_EQ(2 * kGroupOf1, store_.bytes());
}

TEST_F(BoundedStore, TakesAValueThatReachesTheBoundAndNoneThatIsOverIt) {
    ASSERT_EQ(0, store_.create_group("g"));
    store_.set_bound(kGroupOf1 + kNumberOf1 + 100);
    EXPECT_TRUE(refused([this] { return store_.set("g", "n", text(101)); }));
    EXPECT_EQ(0, store_.set("g", "n", text(100)));
    EXPECT_TRUE(refused([this] { return store_.set("g", "m", number()); }));
}

TEST_F(BoundedStore, TakesAValueWithItsGroupOrNeither) {
    store_.set_bound(kGroupOf1 + kNumberOf1 + 100);
    EXPECT_TRUE(refused([this] { return store_.set("g", "n", text(101)); }));
    EXPECT_EQ(-ENOENT, store_.find_group("g"));
    EXPECT_EQ(0, store_.set("g", "n", text(100)));
}

TEST_F(BoundedStore, CountsOnlyTheDifferenceOfAReplacement) {
    ASSERT_EQ(0, store_.set("g", "n", text(50)));
    store_.set_bound(kGroupOf1 + kNumberOf1 + 100);
    EXPECT_TRUE(refused([this] { return store_.set("g", "n", text(101)); }));
    EXPECT_EQ(0, store_.set("g", "n", text(100)));
    EXPECT_TRUE(refused([this] { return store_.set("g", "n", text(101)); }));
    EXPECT_EQ(0, store_.set("g", "n", text(100)));
    EXPECT_EQ(0, store_.set("g", "n", number()));
    EXPECT_EQ(0, store_.set("g", "n", text(99)));
}

TEST_F(BoundedStore, WhatItHoldsBeyondTheBoundStaysAndIsTheBound) {
    ASSERT_EQ(0, store_.set("g", "n", text(1000)));
    ASSERT_EQ(0, store_.set("g", "m", text(1000)));
    const std::uint64_t held = store_.bytes();
    EXPECT_EQ(held, store_.set_bound(100));
    EXPECT_EQ(held, store_.bytes());
    EXPECT_TRUE(refused([this] { return store_.set("g", "n", text(1001)); }));
    EXPECT_TRUE(refused([this] { return store_.create_group("h"); }));
    EXPECT_EQ(0, store_.set("g", "n", text(1000)));
    EXPECT_EQ(0, store_.set("g", "n", text(1)));
    EXPECT_EQ(0, store_.remove("g", "m"));
    EXPECT_EQ(0, store_.set("g", "m", text(1000))); // back to what there was
    EXPECT_EQ(0, store_.set("g", "n", text(1000)));
    EXPECT_TRUE(refused([this] { return store_.set("g", "n", text(1001)); }));
}

TEST_F(BoundedStore, HasNoBoundUntilItIsSet) {
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(0, store_.set("g", std::to_string(i), text(20'000)));
    EXPECT_LT(20'000'000U, store_.bytes());
}

TEST_F(BoundedStore, NotesEveryChangeThatIsMadeAndNoOther) {
    Noted notes;
    store_.set_bound(2 * kGroupOf1 + kNumberOf1);
    EXPECT_EQ(0, store_.create_group("a", &notes));
    EXPECT_EQ(-EEXIST, store_.create_group("a", &notes));
    EXPECT_EQ(0, store_.set("b", "n", number(1), &notes));
    EXPECT_EQ(0, store_.set("b", "n", number(2), &notes));
    EXPECT_EQ(-EDQUOT, store_.set("b", "n", text(1), &notes));
    EXPECT_EQ(-EDQUOT, store_.set("b", "m", number(3), &notes));
    EXPECT_EQ(-EDQUOT, store_.set("c", "m", number(3), &notes));
    EXPECT_EQ(-EDQUOT, store_.create_group("c", &notes));
    EXPECT_EQ(0, store_.remove("b", "n", &notes));
    EXPECT_EQ(-ENOENT, store_.remove("b", "n", &notes));
    EXPECT_EQ(-ENOENT, store_.remove("c", "n", &notes));
    EXPECT_EQ(0, store_.set("b", "m", number(4), &notes));
    EXPECT_EQ(0, store_.remove_group("b", &notes));
    EXPECT_EQ(-ENOENT, store_.remove_group("b", &notes));
    EXPECT_EQ((std::vector<std::string>{"create a", "set b:n 1", "set b:n 2 group value", "remove b:n",
                                        "set b:m 4 group", "remove b"}),
              notes.lines);
}

TEST_F(BoundedStore, StaysAsItIsWhenAChangeCannotBeNoted) {
    ASSERT_EQ(0, store_.set("g", "n", text(10)));
    Noted notes;
    notes.fails = true;
    const std::function<int()> changes[] = {
        [&] { return store_.create_group("h", &notes); },      [&] { return store_.set("h", "n", number(), &notes); },
        [&] { return store_.set("g", "m", text(5), &notes); }, [&] { return store_.set("g", "n", number(), &notes); },
        [&] { return store_.remove("g", "n", &notes); },       [&] { return store_.remove_group("g", &notes); },
    };
    for (const auto &change : changes)
        EXPECT_TRUE(leaves_all([&] { EXPECT_THROW(change(), std::runtime_error); }));
}

// Names that no string has room for in itself.
TEST_F(BoundedStore, StaysAsItIsWhenMemoryIsShort) {
    const std::string group(100, 'g');
    const std::string name(100, 'n');
    const SharedValue value = text(1000);
    const auto sweep = [this](const std::function<int()> &change) {
        for (int allocations = 0;; ++allocations) {
            bool failed = false;
            EXPECT_TRUE(leaves_all([&] {
                            const FailingNew failing(allocations);
                            try {
                                change();
                            } catch (const std::bad_alloc &) {
                                failed = true;
                            }
                        }) ||
                        !failed);
            if (!failed)
                return allocations;
        }
    };
    EXPECT_LT(1, sweep([&] { return store_.create_group(group); }));
    EXPECT_LT(1, sweep([&] { return store_.set(group, name, value); }));
    EXPECT_LT(2, sweep([&] { return store_.set("another " + group, name, value); }));
    EXPECT_EQ(3 * 100 + 8 + 100 + 2 * 1000 + 4 * kRecordBytes, store_.bytes());
}
