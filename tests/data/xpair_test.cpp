// SPDX-License-Identifier: MIT
#include "data/xkey_fixture.h"
#include "support/counting_allocator.h"
#include "support/death.h"
#include "support/log_capture.h"

#include <vector>

namespace {

std::vector<void *> released;
void note_released(void *user_data) {
    released.push_back(user_data);
}

TEST(XpairNew, StoresThePointersAsTheyAre) {
    const CountingAllocator allocator;
    int user_data = 0;
    xkey *const key = xkey_new("user", "net", "ip");
    xdata *const value = xdata_char("10.0.0.1");
    const size_t before = allocator.allocations();
    xpair *const pair = xpair_new(key, value, &user_data);
    EXPECT_EQ(allocator.allocations(), before + 1);
    EXPECT_EQ(allocator.size_of(pair), sizeof(xpair));
    EXPECT_EQ(pair->key, key);
    EXPECT_EQ(pair->value, value);
    EXPECT_EQ(pair->user_data, &user_data);
    xpair_free(pair, nullptr);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XpairNew, AllowsNulls) {
    const CountingAllocator allocator;
    xpair *const pair = xpair_new(nullptr, nullptr, nullptr);
    EXPECT_EQ(pair->key, nullptr);
    EXPECT_EQ(pair->value, nullptr);
    EXPECT_EQ(pair->user_data, nullptr);
    released.clear();
    xpair_free(pair, note_released);
    EXPECT_TRUE(released.empty()) << "never for a NULL user_data";
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XpairFree, ReleasesTheUserDataOnce) {
    const CountingAllocator allocator;
    int user_data = 0;
    released.clear();
    xpair_free(xpair_new(xkey_new("a", "b", "c"), xdata_char("v"), &user_data), note_released);
    EXPECT_EQ(released, std::vector<void *>{&user_data});
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

const CountingAllocator *watched;
size_t live_at_release;
void count_live(void *) {
    live_at_release = watched->live_blocks();
}

TEST(XpairFree, KeyAndValueGoBeforeTheUserDataTheRecordAfter) {
    const CountingAllocator allocator;
    watched = &allocator;
    int user_data = 0;
    xpair_free(xpair_new(xkey_new("a", "b", "c"), xdata_char("v"), &user_data), count_live);
    EXPECT_EQ(live_at_release, 1U);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XpairFree, WithoutFunctionLeavesTheUserData) {
    const CountingAllocator allocator;
    void *const user_data = xmalloc(1);
    xpair_free(xpair_new(nullptr, xdata_char("v"), user_data), nullptr);
    EXPECT_EQ(allocator.live_blocks(), 1U);
    xpair_basefree(xpair_new(xkey_new("a", "b", "c"), nullptr, user_data));
    EXPECT_EQ(allocator.live_blocks(), 1U);
    EXPECT_TRUE(allocator.is_live(user_data));
    _xfree(user_data);
}

TEST(XpairFree, TakesNull) {
    released.clear();
    xpair_free(nullptr, note_released);
    xpair_free(nullptr, nullptr);
    xpair_basefree(nullptr);
    EXPECT_TRUE(released.empty());
}

std::vector<std::string> logged_pair(const xpair *pair) {
    const LogCapture log;
    xpair_out(pair);
    EXPECT_EQ(log.lines().size(), log.texts(LogLine::debug).size()) << "debug lines only";
    return log.texts(LogLine::debug);
}

TEST(XpairOut, LogsKeyAndValueBetweenRules) {
    const int32_t five = 5;
    xpair *const pair = xpair_new(xkey_new("user", "net", nullptr), xdata_new(XDATA_INT32, &five), nullptr);
    EXPECT_EQ(logged_pair(pair), (std::vector<std::string>{"xpair ------\n", "xkey: user:net:NULL\n",
                                                           "xdata: int32_t = 5\n", "------------\n"}));
    xpair_basefree(pair);
}

TEST(XpairOut, NullParts) {
    const xpair pair = {};
    EXPECT_EQ(logged_pair(&pair),
              (std::vector<std::string>{"xpair ------\n", "xkey is null.\n", "xdata is null.\n", "------------\n"}));
    EXPECT_EQ(logged_pair(nullptr), std::vector<std::string>{"xpair is null.\n"});
}

TEST(XpairDeathTest, NewAbortsWithoutMemory) {
    expect_abort_at_every_allocation([] { xpair_basefree(xpair_new(nullptr, nullptr, nullptr)); });
}

} // namespace
