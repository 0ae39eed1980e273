// SPDX-License-Identifier: MIT
// What module.h says of changes: of the modules that take them, and of those that do not.
#include "support/storage_cases.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>

using namespace varnel;
using namespace varnel::test;

namespace {

using Lines = std::vector<std::string>;

class WritableModule : public testing::TestWithParam<ModuleCase> {
protected:
    TemporaryFolder folder_;
    Storage storage_{GetParam().module, GetParam().settings(folder_), {"user", "system"}};
    Store user_ = storage_.store("user");
    Store system_ = storage_.store("system");
};

using WritableModuleThreads = WritableModule;

// With the least bound that can be set.
class BoundedModule : public testing::TestWithParam<ModuleCase> {
protected:
    [[nodiscard]] Settings bounded_by(const std::string &max_bytes) const {
        Settings settings = GetParam().settings(folder_);
        settings["max_bytes"] = max_bytes;
        return settings;
    }

    // Fills a value so that the store holds exactly so many bytes.
    static int fill(const Store &store, std::size_t bytes) {
        constexpr std::size_t kBeside = 1 + 128 + 1 + 128 + 1; // group and name, and the zero byte of the string
        return store.set("g", "n", make_string(std::string(bytes - kBeside, 'v')));
    }

    TemporaryFolder folder_;
};

constexpr std::size_t kLeast = 4096;

class ReadOnlyModule : public testing::TestWithParam<ModuleCase> {
protected:
    TemporaryFolder folder_;
    Storage storage_{GetParam().module, GetParam().settings(folder_)};
    Store store_ = storage_.store();
};

const std::string kNoEntry = std::to_string(-ENOENT);

} // namespace

TEST_P(WritableModule, ValuesOfAllTypesComeBackAsTheyWereSet) {
    const uint64_t bits = 0x7ff4123456789abc; // a signalling NaN, for the double; other types take their first bytes
    for (xdata_type type = XDATA_INT32; type <= XDATA_BOOLEAN; ++type) {
        const Value value(xdata_new(type, &bits));
        ASSERT_EQ(0, user_.set("g", "n", value));
        const Value found = user_.get("g", "n");
        ASSERT_NE(nullptr, found);
        EXPECT_EQ(type, found->type);
        EXPECT_EQ(0, std::memcmp(&value->value, &found->value, sizeof bits)) << type;
        EXPECT_NE(value.get(), found.get());
    }
    ASSERT_EQ(0, user_.set("g", "n", make_string("x")));
    EXPECT_EQ("string x", user_.read("g", "n"));
}

TEST_P(WritableModule, StringsKeepTheirExactLength) {
    char bytes[] = {'a', '\0', 'b', '\0', '\377'};
    for (std::uint32_t length = 0; length <= sizeof bytes; ++length) {
        const xstring string = {bytes, length};
        xdata given = {XDATA_STRING, {.s = string}};
        ASSERT_EQ(0, user_.set(key_of("g", "n").get(), &given));
        const Value found = user_.get("g", "n");
        ASSERT_NE(nullptr, found);
        EXPECT_TRUE(identical(given, *found)) << length;
    }
}

TEST_P(WritableModule, LayersAreStoresOfTheirOwn) {
    ASSERT_EQ(0, user_.set("g", "n", make_int32(1)));
    ASSERT_EQ(0, system_.set("g", "n", make_int32(2)));
    EXPECT_EQ("int32_t 1", user_.read("g", "n"));
    EXPECT_EQ("int32_t 2", system_.read("g", "n"));
    ASSERT_EQ(0, user_.unset("g"));
    EXPECT_EQ(kNoEntry, user_.read("g"));
    EXPECT_EQ("int32_t 2", system_.read("g", "n"));
}

TEST_P(WritableModule, AChangeIsSeenBeforeAndAfterTheSync) {
    ASSERT_EQ(0, user_.set("g", "n", make_int32(1)));
    EXPECT_EQ("int32_t 1", user_.read("g", "n"));
    EXPECT_EQ(GetParam().durability, user_.sync());
    EXPECT_EQ("int32_t 1", user_.read("g", "n"));
    ASSERT_EQ(0, user_.unset("g", "n"));
    EXPECT_EQ(kNoEntry, user_.read("g", "n"));
    EXPECT_EQ(GetParam().durability, user_.sync());
    EXPECT_EQ(kNoEntry, user_.read("g", "n"));
}

TEST_P(WritableModule, GroupsAreMadeOnceAndComeWithTheirFirstValue) {
    EXPECT_EQ(kNoEntry, user_.read("g"));
    EXPECT_EQ(0, user_.create_group("g"));
    EXPECT_EQ("group", user_.read("g"));
    EXPECT_EQ(-EEXIST, user_.create_group("g"));
    EXPECT_EQ(0, user_.set("h", "n", make_int32(1)));
    EXPECT_EQ("group", user_.read("h"));
    EXPECT_EQ(-EEXIST, user_.create_group("h"));
}

TEST_P(WritableModule, RemovingTakesAValueOrAWholeGroup) {
    EXPECT_EQ(-ENOENT, user_.unset("g"));
    EXPECT_EQ(-ENOENT, user_.unset("g", "n"));
    ASSERT_EQ(0, user_.set("g", "n", make_int32(1)));
    EXPECT_EQ(-ENOENT, user_.unset("g", "m"));
    EXPECT_EQ(0, user_.unset("g", "n"));
    EXPECT_EQ(kNoEntry, user_.read("g", "n"));
    EXPECT_EQ("group", user_.read("g"));
    ASSERT_EQ(0, user_.set("g", "n", make_int32(1)));
    EXPECT_EQ(0, user_.unset("g"));
    EXPECT_EQ(kNoEntry, user_.read("g"));
    EXPECT_EQ(kNoEntry, user_.read("g", "n"));
    EXPECT_EQ(0, user_.create_group("g"));
    EXPECT_EQ(Lines{"user:g group"}, user_.listing());
}

TEST_P(WritableModule, OrderIsThatOfTheBytes) {
    for (const char *const name : {"b", "B", "a", "\303\244", "aa", "a b", "~"})
        ASSERT_EQ(0, user_.set("g", name, make_string("x")));
    ASSERT_EQ(0, user_.create_group("G"));
    ASSERT_EQ(0, user_.create_group("ga"));
    EXPECT_EQ((Lines{"user:G group", "user:g group", "user:g:B string x", "user:g:a string x", "user:g:a b string x",
                     "user:g:aa string x", "user:g:b string x", "user:g:~ string x", "user:g:\303\244 string x",
                     "user:ga group"}),
              user_.listing());
}

TEST_P(WritableModule, ChangesThatMakeNoSenseAreRefused) {
    const xdata none = {};
    const Value one = make_int32(1);
    EXPECT_EQ(-EINVAL, user_.set(key_of("g").get(), one.get())); // a group has no value
    EXPECT_EQ(-EINVAL, user_.set(key_of("g", "n").get(), nullptr));
    EXPECT_EQ(-EINVAL, user_.set(key_of("g", "n").get(), &none));
    EXPECT_EQ(Lines{}, user_.listing());
}

TEST_P(WritableModule, ALargeValueAndManyOnes) {
    const std::string large(60'000, 'v');
    ASSERT_EQ(0, user_.set("large", "value", make_string(large)));
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(0, user_.set("many", std::to_string(i), make_int32(i)));
    EXPECT_EQ(GetParam().durability, user_.sync());
    EXPECT_TRUE(identical(*make_string(large), *user_.get("large", "value")));
    EXPECT_EQ(1003U, user_.listing().size());
    EXPECT_EQ("int32_t 999", user_.read("many", "999"));
}

TEST_P(WritableModuleThreads, ShareOneStore) {
    constexpr int kRounds = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this, t] {
            const std::string mine(1, static_cast<char>('a' + t));
            for (int i = 0; i < kRounds; ++i) {
                ASSERT_EQ(0, user_.set("g", mine, make_int32(i)));
                ASSERT_EQ(words(make_int32(i).get()), user_.read("g", mine.c_str()));
                ASSERT_LE(2U, user_.listing().size());
                if (i % 2 == 1) {
                    ASSERT_EQ(0, user_.unset("g", mine));
                }
                if (i % 10 == 0) {
                    ASSERT_EQ(GetParam().durability, user_.sync());
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(Lines{"user:g group"}, user_.listing());
}

TEST_P(BoundedModule, HoldsAsMuchAsItsSettingSays) {
    const Storage storage(GetParam().module, bounded_by("4096"));
    const Store store = storage.store();
    EXPECT_EQ(-EDQUOT, fill(store, kLeast + 1));
    EXPECT_EQ(kNoEntry, store.read("g")); // which would have come with the value
    EXPECT_EQ(0, fill(store, kLeast));
    const Value full = store.get("g", "n");
    EXPECT_EQ(-EDQUOT, fill(store, kLeast + 1));
    EXPECT_EQ(-EDQUOT, store.set("g", "m", make_int32(1)));
    EXPECT_EQ(-EDQUOT, store.create_group("h"));
    EXPECT_TRUE(identical(*full, *store.get("g", "n")));
    EXPECT_EQ(2U, store.listing().size());
    EXPECT_EQ(GetParam().durability, store.sync());
    EXPECT_EQ(0, store.set("g", "n", make_int32(1)));
    EXPECT_EQ(0, store.create_group("h"));
    EXPECT_EQ(0, store.unset("g"));
    EXPECT_EQ(0, fill(store, kLeast - 1 - 128));
}

TEST_P(BoundedModule, ADefaultIsThereWithoutASetting) {
    const Storage storage(GetParam().module, GetParam().settings(folder_));
    EXPECT_EQ(0, fill(storage.store(), 16U << 20));
    EXPECT_EQ(-EDQUOT, fill(storage.store(), (16U << 20) + 1));
}

TEST_P(BoundedModule, ABoundThatIsNoneMakesNoStore) {
    for (const char *const text : {"4095", "4294967296", "0", "-4096", "16m", "0x10000", "much"}) {
        testing::internal::CaptureStderr();
        const Storage storage(GetParam().module, bounded_by(text));
        EXPECT_EQ(-EINVAL, storage.store().set("g", "n", make_int32(1))) << text;
        EXPECT_EQ(std::to_string(-EINVAL), storage.store().read("g")) << text;
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_NE(std::string::npos, log.find(std::string("\"max_bytes\" is \"") + text +
                                              "\", not a number of bytes from 4096 to 4294967295"))
            << log;
    }
    EXPECT_EQ(0, Storage(GetParam().module, bounded_by("4294967295")).store().create_group("g"));
}

TEST_P(ReadOnlyModule, TakesNoChange) {
    EXPECT_EQ(-EROFS, store_.set("network", "host", make_string("y")));
    EXPECT_EQ(-EROFS, store_.set("new", "n", make_string("y")));
    EXPECT_EQ(-EROFS, store_.create_group("new"));
    EXPECT_EQ(-EROFS, store_.create_group("network"));
    EXPECT_EQ(-EROFS, store_.unset("network", "host"));
    EXPECT_EQ(-EROFS, store_.unset("network"));
    EXPECT_EQ(sample_listing(), store_.listing());
}

INSTANTIATE_TEST_SUITE_P(Modules, WritableModule, testing::ValuesIn(writable_modules()), name_of);
INSTANTIATE_TEST_SUITE_P(Modules, WritableModuleThreads, testing::ValuesIn(writable_modules()), name_of);
INSTANTIATE_TEST_SUITE_P(Modules, BoundedModule, testing::ValuesIn(writable_modules()), name_of);
INSTANTIATE_TEST_SUITE_P(Modules, ReadOnlyModule, testing::ValuesIn(read_only_modules()), name_of);
