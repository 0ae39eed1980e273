// SPDX-License-Identifier: MIT
// Making, comparing, reading and releasing keys. Copies and text forms have files of their own.
#include "data/xkey_fixture.h"
#include "support/counting_allocator.h"
#include "support/death.h"

using namespace xkey_test;

namespace {

struct NewCase {
    const char *given[3];
    const char *stored[3];
};

TEST(XkeyNew, FillsDefaultsIn) {
    constexpr NewCase kCases[] = {
        {{"user", "net", "ip"}, {"user", "net", "ip"}},
        {{nullptr, "net", "ip"}, {"default", "net", "ip"}},
        {{nullptr, nullptr, "ip"}, {"default", "default", "ip"}},
        {{"user", nullptr, "ip"}, {"user", "default", "ip"}},
        {{"user", "net", nullptr}, {"user", "net", nullptr}},
        {{"user", nullptr, nullptr}, {"user", nullptr, nullptr}},
        {{nullptr, "net", nullptr}, {"default", "net", nullptr}},
        {{nullptr, nullptr, nullptr}, {"default", nullptr, nullptr}},
        {{"", "", ""}, {"", "", ""}},
    };
    const CountingAllocator allocator;
    for (const NewCase &row : kCases) {
        const Key key(xkey_new(row.given[0], row.given[1], row.given[2]));
        const xstring *const fields[] = {&key->layer, &key->group, &key->name};
        for (size_t i = 0; i < 3; ++i) {
            EXPECT_STREQ(fields[i]->str, row.stored[i]);
            EXPECT_EQ(fields[i]->len, xstrlen(row.stored[i]) + 1);
            EXPECT_EQ(allocator.is_live(fields[i]->str), row.stored[i] != nullptr);
        }
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XkeyNew, CopiesTheTexts) {
    char layer[] = "user";
    char group[] = "net";
    char name[] = "ip";
    const Key key(xkey_new(layer, group, name));
    layer[0] = group[0] = name[0] = 'X';
    EXPECT_EQ(text_of(key.get()), "user:net:ip");
}

TEST(XkeyFree, TakesNullAndAbsentFields) {
    const CountingAllocator allocator;
    xkey_free(nullptr);
    EXPECT_EQ(allocator.release_calls(), 0U);
    xkey_free(static_cast<xkey *>(xmalloc0(sizeof(xkey))));
    EXPECT_EQ(allocator.release_calls(), 1U);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XkeyGet, CopiesTheFields) {
    const CountingAllocator allocator;
    {
        const Key key(xkey_new("user", "net", "ip"));
        const std::pair<char *, const char *> fields[] = {{xkey_get_layer(key.get()), key->layer.str},
                                                          {xkey_get_group(key.get()), key->group.str},
                                                          {xkey_get_name(key.get()), key->name.str}};
        for (const auto &[copy, field] : fields) {
            EXPECT_STREQ(copy, field);
            EXPECT_NE(copy, field);
            _xfree(copy);
        }
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(XkeyGet, NullKeysAndAbsentFieldsGiveNull) {
    const xkey absent = {};
    for (char *(*const get)(const xkey *) : {xkey_get_layer, xkey_get_group, xkey_get_name}) {
        EXPECT_EQ(get(nullptr), nullptr);
        EXPECT_EQ(get(&absent), nullptr);
    }
    const Key key(xkey_new("user", nullptr, nullptr));
    EXPECT_EQ(xkey_get_group(key.get()), nullptr);
    EXPECT_EQ(xkey_get_name(key.get()), nullptr);
}

int compare(const Key &a, const Key &b) {
    return xkey_cmp(a.get(), b.get());
}

Key key_of(const char *layer, const char *group, const char *name) {
    return Key(xkey_new(layer, group, name));
}

TEST(XkeyCmp, ANullKeyEqualsEverything) {
    const Key key = key_of("user", "net", "ip");
    EXPECT_EQ(xkey_cmp(nullptr, key.get()), 0);
    EXPECT_EQ(xkey_cmp(key.get(), nullptr), 0);
    EXPECT_EQ(xkey_cmp(nullptr, nullptr), 0);
}

TEST(XkeyCmp, GivesTheFirstDifferenceOfLayerGroupAndName) {
    EXPECT_EQ(compare(key_of("user", "net", "ip"), key_of("user", "net", "ip")), 0);
    EXPECT_EQ(compare(key_of("user", "a", "b"), key_of("default", "abcd", "bcde")), -3) << "the layers' lengths";
    EXPECT_EQ(compare(key_of("user", "net", "b"), key_of("user", "n", "bcde")), 2) << "the groups' lengths";
    EXPECT_EQ(compare(key_of("user", "net", "ip"), key_of("user", "net", "port")), -2);
    EXPECT_LT(compare(key_of("user", "net", "ip"), key_of("user", "net", "iq")), 0);
    EXPECT_GT(compare(key_of("user", "nex", "ip"), key_of("user", "net", "iq")), 0);
}

TEST(XkeyCmp, HeedsCase) {
    EXPECT_NE(compare(key_of("User", "net", "ip"), key_of("user", "net", "ip")), 0);
    EXPECT_NE(compare(key_of("user", "Net", "ip"), key_of("user", "net", "ip")), 0);
    EXPECT_NE(compare(key_of("user", "net", "Ip"), key_of("user", "net", "ip")), 0);
}

TEST(XkeyCmp, AbsentFieldsSortFirstAndEqualEachOther) {
    EXPECT_EQ(compare(key_of("user", nullptr, nullptr), key_of("user", nullptr, nullptr)), 0);
    EXPECT_EQ(compare(key_of("user", nullptr, nullptr), key_of("user", "net", nullptr)), -1);
    EXPECT_EQ(compare(key_of("user", "net", "ip"), key_of("user", "net", nullptr)), 1);
    xkey copied = {};
    const Key key = key_of("user", nullptr, nullptr);
    ASSERT_EQ(xkey_copy(&copied, key.get()), &copied);
    EXPECT_EQ(xkey_cmp(&copied, key.get()), 0) << "though the absent fields have other lengths";
    _xfree(copied.layer.str);
}

TEST(XkeyDeathTest, MakingAndReadingAbortWithoutMemory) {
    expect_abort_at_every_allocation([] { xkey_free(xkey_new("user", "net", "ip")); });
    char layer[] = "user";
    static xkey key = {{layer, 5}, {layer, 5}, {layer, 5}};
    expect_abort_at_every_allocation([] { _xfree(xkey_get_layer(&key)); });
    expect_abort_at_every_allocation([] { _xfree(xkey_get_group(&key)); });
    expect_abort_at_every_allocation([] { _xfree(xkey_get_name(&key)); });
    expect_abort_at_every_allocation([] { _xfree(xkey_to_string(&key)); });
}

TEST(XkeyNew, AllocatesTheRecordAndOneBlockAField) {
    EXPECT_EQ(count_allocations([] { xkey_free(xkey_new("user", "net", "ip")); }), 4U);
    EXPECT_EQ(count_allocations([] { xkey_free(xkey_new(nullptr, nullptr, nullptr)); }), 2U);
}

} // namespace
