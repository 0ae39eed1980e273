// SPDX-License-Identifier: MIT
// The order of a layer's backends.
#include "config/random_source.h"
#include "storage_fixture.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr size_t kMostBackends = 8;
constexpr int kRandomOrders = 400;

class LayerOrder : public testing::Test {
protected:
    // The order of a layer that names b0, b1, ... with these priorities; an empty text stands for none.
    std::string order(const std::vector<std::string> &priorities) {
        std::string content = "user = {\n";
        for (size_t i = 0; i < priorities.size(); ++i) {
            content += "b" + std::to_string(i) + " = {\n";
            content += priorities[i].empty() ? "" : "priority = " + priorities[i] + "\n";
            content += "}\n";
        }
        const Layers layers(layers_init(backends_.get(), tree_of(content + "}\n").get()));
        return order_of(get_layer(layers.get(), "user"));
    }

    Backends backends_{backends_load(nullptr, tree_of(all_backends()).get())};

private:
    static std::string all_backends() {
        std::string content;
        for (size_t i = 0; i < kMostBackends; ++i)
            content += "b" + std::to_string(i) + " = {\n}\n";
        return content;
    }
};

TEST_F(LayerOrder, HighestPriorityComesFirst) {
    EXPECT_EQ(order({"1", "5"}), "b1 b0 ");
    EXPECT_EQ(order({"5", "1"}), "b0 b1 ");
    EXPECT_EQ(order({"1", "2", "3", "4"}), "b3 b2 b1 b0 ");
    EXPECT_EQ(order({"-1", "-2", "7"}), "b2 b0 b1 ");
    EXPECT_EQ(order({"-2147483648", "2147483647"}), "b1 b0 ");
    EXPECT_EQ(order({"9"}), "b0 ");
}

TEST_F(LayerOrder, MissingOrUnreadablePriorityIsZero) {
    EXPECT_EQ(order({"", "1"}), "b1 b0 ");
    EXPECT_EQ(order({"-1", ""}), "b1 b0 ");
    EXPECT_EQ(order({"high", "1"}), "b1 b0 ");
    EXPECT_EQ(order({"0x10", "15", "010"}), "b0 b1 b2 ");
}

TEST_F(LayerOrder, EqualPrioritiesAreNotExchangedWithEachOther) {
    EXPECT_EQ(order({"1", "1", "1"}), "b0 b1 b2 ");
    EXPECT_EQ(order({"", "", "0"}), "b0 b1 b2 ");
    EXPECT_EQ(order({"2", "1", "1"}), "b0 b1 b2 ");
}

TEST_F(LayerOrder, ExchangesMayReverseEqualPriorities) {
    EXPECT_EQ(order({"1", "1", "2"}), "b2 b1 b0 ");
    EXPECT_EQ(order({"1", "1", "2", "2"}), "b2 b3 b0 b1 ");
    EXPECT_EQ(order({"1", "2", "1", "3"}), "b3 b1 b2 b0 ");
}

TEST_F(LayerOrder, LayerOverridesTheBackendsPriority) {
    const Backends backends(backends_load(nullptr, tree_of("a = {\npriority = 1\n}\nb = {\npriority = 5\n}").get()));
    const Layers layers(
        layers_init(backends.get(),
                    tree_of("user = {\na = {\n}\nb = {\n}\n}\nsys = {\na = {\npriority = 9\n}\nb = {\n}\n}").get()));
    EXPECT_EQ(order_of(get_layer(layers.get(), "user")), "b a ");
    EXPECT_EQ(order_of(get_layer(layers.get(), "sys")), "a b ");
}

// The exchanges, literally.
std::string exchanged(const std::vector<int> &priorities) {
    std::vector<std::pair<int, std::string>> slots;
    for (size_t i = 0; i < priorities.size(); ++i)
        slots.emplace_back(priorities[i], "b" + std::to_string(i));
    for (size_t i = 0; i < slots.size(); ++i) {
        int p = slots[i].first;
        for (size_t j = i + 1; j < slots.size(); ++j) {
            const int q = slots[j].first;
            if (p < q) {
                std::swap(slots[i], slots[j]);
                p = q;
            }
        }
    }
    std::string names;
    for (const auto &slot : slots)
        names += slot.second + " ";
    return names;
}

TEST_F(LayerOrder, FollowsTheExchangesForAnyPriorities) {
    RandomSource random;
    SCOPED_TRACE(random.seed());
    for (int i = 0; i < kRandomOrders; ++i) {
        std::vector<int> priorities(1 + random.below(kMostBackends));
        std::vector<std::string> texts;
        for (int &priority : priorities) {
            priority = static_cast<int>(random.below(5)) - 2;
            texts.push_back(std::to_string(priority));
        }
        ASSERT_EQ(order(texts), exchanged(priorities)) << testing::PrintToString(priorities);
    }
}

} // namespace
