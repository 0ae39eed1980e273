// SPDX-License-Identifier: MIT
// Text forms of keys, also of keys whose lengths lie.
#include "data/xkey_fixture.h"
#include "support/counting_allocator.h"
#include "support/death.h"
#include "support/log_capture.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

using namespace xkey_test;

namespace {

struct KeyText {
    const char *layer;
    const char *group;
    const char *name;
    const char *text;
    const char *line;
};

constexpr KeyText kKeyTexts[] = {
    {nullptr, nullptr, nullptr, "default", "default:default:NULL"},
    {nullptr, nullptr, "ip", "default:default:ip", "default:default:ip"},
    {"default", "net", "ip", "default:net:ip", "default:net:ip"},
    {"user", "net", nullptr, "user:net", "user:net:NULL"},
    {"user", nullptr, nullptr, "user", "user:default:NULL"},
    {"", "", "", "::", "::"},
    {"100%s", "%n", "%d", "100%s:%n:%d", "100%s:%n:%d"},
};

TEST(XkeyToString, JoinsWhatThereIsInABlockOfJustThatSize) {
    const CountingAllocator allocator;
    for (const KeyText &row : kKeyTexts) {
        SCOPED_TRACE(row.text);
        const Key key(xkey_new(row.layer, row.group, row.name));
        char *const text = xkey_to_string(key.get());
        EXPECT_STREQ(text, row.text);
        EXPECT_EQ(allocator.size_of(text), strlen(row.text) + 1);
        _xfree(text);
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XkeyToString, ANameWithoutGroupIsLeftOut) {
    const CountingAllocator allocator;
    char text[] = "user";
    const xkey key = {{text, 5}, {nullptr, 1}, {text, 5}};
    char *const joined = xkey_to_string(&key);
    EXPECT_STREQ(joined, "user");
    EXPECT_EQ(allocator.size_of(joined), 5U);
    _xfree(joined);
}

TEST(XkeyToString, NullForNullKeysAndAbsentLayers) {
    char text[] = "net";
    const xkey no_layer = {{nullptr, 8}, {text, 4}, {text, 4}};
    EXPECT_EQ(xkey_to_string(nullptr), nullptr);
    EXPECT_EQ(xkey_to_string(&no_layer), nullptr);
}

struct HostileCase {
    uint32_t layer_len;
    uint32_t group_len;
    uint32_t name_len;
    size_t size;
    const char *text;
};

// Of the fields "default", "net" and "ip", whose lengths would be 8, 4 and 3.
TEST(XkeyToString, CutsWhatFalseLengthsLeaveNoRoomFor) {
    constexpr HostileCase kHostile[] = {
        {8, 4, 3, 15, "default:net:ip"}, {3, 4, 0, 7, "de:net"},
        {8, 4, 1, 13, "default:net:"},   {8, 4, 0, 12, "default:net"},
        {8, 2, 3, 13, "default:n:ip"},   {20, 4, 3, 27, "default"},
        {8, 10, 3, 21, "default:net"},   {1, 1, 1, 3, "::"},
        {8, 0, 0, 8, "default"},
    };
    const CountingAllocator allocator;
    for (const HostileCase &row : kHostile) {
        SCOPED_TRACE(testing::Message() << row.layer_len << ' ' << row.group_len << ' ' << row.name_len);
        char fields[][8] = {"default", "net", "ip"};
        const xkey key = {{fields[0], row.layer_len}, {fields[1], row.group_len}, {fields[2], row.name_len}};
        char *const text = xkey_to_string(&key);
        EXPECT_EQ(allocator.size_of(text), row.size);
        EXPECT_STREQ(text, row.text);
        _xfree(text);
    }
}

TEST(XkeyToString, NoLengthAtAllStillGivesABlock) {
    CountingAllocator allocator;
    allocator.null_for_empty(true);
    char text[] = "user";
    const xkey key = {{text, 0}, {nullptr, 0}, {nullptr, 0}};
    char *const joined = xkey_to_string(&key);
    ASSERT_NE(joined, nullptr);
    _xfree(joined);
}

// Guard bytes around every block: what the text forms write stays inside the n bytes that the lengths ask for.
constexpr size_t kGuard = 64;
size_t guarded_size;
unsigned char *guarded_block;

void *guarded_allocate(size_t size) {
    guarded_size = size;
    guarded_block = static_cast<unsigned char *>(malloc(size + 2 * kGuard));
    memset(guarded_block, 0xA5, size + 2 * kGuard);
    return guarded_block + kGuard;
}

void guarded_release(void *block) {
    free(static_cast<unsigned char *>(block) - kGuard);
}

bool guards_hold() {
    for (size_t i = 0; i < kGuard; ++i)
        if (guarded_block[i] != 0xA5 || guarded_block[kGuard + guarded_size + i] != 0xA5)
            return false;
    return true;
}

TEST(XkeyToString, NeverWritesOutsideItsBytesWhateverTheLengthsSay) {
    std::mt19937 random(7);
    std::uniform_int_distribution<uint32_t> length(0, 24);
    char fields[][16] = {"default", "network", "address-of-it"};
    ASSERT_EQ(x_replace_allocator(guarded_allocate, realloc, calloc, guarded_release), 0);
    for (int round = 0; round < 20000; ++round) {
        xkey key = {{fields[0], length(random)}, {fields[1], length(random)}, {fields[2], length(random)}};
        if (round % 3 == 0)
            key.name.str = nullptr;
        if (round % 5 == 0)
            key.group.str = nullptr;
        uint32_t size = key.layer.len;
        if (key.group.str != nullptr)
            size += key.group.len + (key.name.str != nullptr ? key.name.len : 0);
        char *const text = xkey_to_string(&key);
        EXPECT_EQ(guarded_size, size != 0 ? size : 1);
        EXPECT_TRUE(guards_hold()) << key.layer.len << ' ' << key.group.len << ' ' << key.name.len;
        EXPECT_LT(strnlen(text, guarded_size), guarded_size) << "terminated";
        _xfree(text);
    }
    ASSERT_EQ(x_replace_allocator(malloc, realloc, calloc, free), 0);
}

TEST(XkeyTextDeathTest, LengthsWhoseSumWrapsAreExhaustedMemory) {
    char text[] = "net";
    const xkey two = {{text, UINT32_MAX}, {text, 1}, {nullptr, 1}};
    const xkey three = {{text, UINT32_MAX - 4}, {text, 4}, {text, 1}};
    const std::string message = std::string("^_varnel: xkey_to_string xmalloc0 error: ") + strerror(ENOMEM) + "\n$";
    EXPECT_ABORT(xkey_to_string(&two), message);
    EXPECT_ABORT(xkey_to_string(&three), message);
}

std::vector<std::string> logged_key(const xkey *key) {
    const LogCapture log;
    xkey_out(key);
    EXPECT_EQ(log.lines().size(), 1U);
    return log.texts(LogLine::debug);
}

TEST(XkeyOut, InventsDefaultsAndNamesTheAbsentName) {
    for (const KeyText &row : kKeyTexts) {
        const Key key(xkey_new(row.layer, row.group, row.name));
        EXPECT_EQ(logged_key(key.get()), std::vector<std::string>{std::string("xkey: ") + row.line + "\n"});
    }
    const xkey absent = {};
    EXPECT_EQ(logged_key(&absent), std::vector<std::string>{"xkey: default:default:NULL\n"});
}

TEST(XkeyOut, NullHasItsOwnLine) {
    EXPECT_EQ(logged_key(nullptr), std::vector<std::string>{"xkey is null.\n"});
}

TEST(XkeyOut, PassesItsFormatAndPrefix) {
    const LogCapture log;
    const Key key(xkey_new("user", "net", "ip"));
    xkey_out(key.get());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].format, "xkey: %s\n");
    EXPECT_EQ(log.lines()[0].prefix, "_varnel: ");
}

TEST(XkeyOut, IsCutTo1023CharactersAndHeedsNoLengths) {
    std::string layer(600, 'l');
    std::string group(600, 'g');
    const xkey key = {{layer.data(), 0}, {group.data(), UINT32_MAX}, {group.data(), 1}};
    const std::string line = layer + ":" + group + ":" + group;
    EXPECT_EQ(logged_key(&key), std::vector<std::string>{"xkey: " + line.substr(0, 1023) + "\n"});
}

} // namespace
