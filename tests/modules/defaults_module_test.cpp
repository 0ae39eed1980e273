// SPDX-License-Identifier: MIT
// What defaults.so makes of its file.
#include "common/value_text.h"
#include "support/storage.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <sstream>

using namespace varnel;
using namespace varnel::test;

namespace {

using Lines = std::vector<std::string>;

class DefaultsModule : public testing::Test {
protected:
    [[nodiscard]] Storage open(const Settings &more = {}) const {
        Settings settings{{"file", file_}};
        settings.insert(more.begin(), more.end());
        return Storage("defaults", settings);
    }

    [[nodiscard]] Lines listing_of(const std::string &text) const {
        write_file(file_, text);
        return open().store().listing();
    }

    // The lines of the log that are about the file, without its name in front; the store must be refused.
    [[nodiscard]] Lines errors_of(const std::string &text) const {
        write_file(file_, text);
        testing::internal::CaptureStderr();
        const int result = state();
        std::istringstream log(testing::internal::GetCapturedStderr());
        EXPECT_EQ(-EBADMSG, result);
        Lines lines;
        for (std::string line; std::getline(log, line);) {
            const std::string start = "_varnel: " + file_ + ":";
            if (line.starts_with(start))
                lines.push_back(line.substr(start.size()));
        }
        return lines;
    }

    // What every call answers; 0 when the store can be read.
    [[nodiscard]] int state(const Settings &more = {}) const {
        const Storage storage = open(more);
        const Store store = storage.store();
        xdata *value = nullptr;
        const int result = store.list(
            nullptr, [](void *, const xkey *, const xdata *) { return 0; }, nullptr);
        if (result != 0) {
            EXPECT_EQ(result, store.get(key_of("g", "n").get(), &value));
            EXPECT_EQ(result, store.set("g", "n", make_int32(1)));
            EXPECT_EQ(result, store.unset("g"));
            EXPECT_EQ(result, store.sync());
        }
        return result;
    }

    TemporaryFolder folder_;
    std::string file_ = folder_.path("defaults.conf");
};

} // namespace

TEST_F(DefaultsModule, GuessesTypes) {
    EXPECT_EQ(
        (Lines{"user:g group", "user:g:big int64_t 2147483648", "user:g:bigger uint64_t 18446744073709551615",
               "user:g:biggest string 18446744073709551616", "user:g:code string 007", "user:g:negative int32_t -5",
               "user:g:number int32_t 5", "user:g:off string off", "user:g:ratio double 2.500000",
               "user:g:small double 0.001000", "user:g:text string some words", "user:g:truth boolean true"}),
        listing_of("g = {\n"
                   "number = 5\nnegative = -5\nbig = 2147483648\nbigger = 18446744073709551615\n"
                   "biggest = 18446744073709551616\nratio = 2.5\nsmall = 1e-3\ntruth = True\noff = off\n"
                   "code = 007\ntext = some words\n}\n"));
}

TEST_F(DefaultsModule, TakesTypesThatAreGiven) {
    EXPECT_EQ((Lines{"user:g group", "user:g:a string 5", "user:g:b int32_t 5", "user:g:c uint32_t 5",
                     "user:g:d int64_t 5", "user:g:e uint64_t 16", "user:g:f float 5.000000",
                     "user:g:g double 5.000000", "user:g:h boolean true", "user:g:i boolean false"}),
              listing_of("g = {\n"
                         "a:string = 5\nb:int32 = 5\nc:uint32 = 5\nd:int64 = 5\ne:uint64 = 0x10\nf:float = 5\n"
                         "g:double = 5\nh:boolean = 1\ni:boolean = off\n}\n"));
}

TEST_F(DefaultsModule, TakesEveryBitOfANumber) {
    write_file(file_, "g = {\nnan:double = nan(0x7ff4123456789abc)\n}\n");
    const std::uint64_t bits = 0x7ff4123456789abc;
    const Value found = open().store().get("g", "nan");
    ASSERT_NE(nullptr, found);
    EXPECT_TRUE(identical(*Value(xdata_new(XDATA_DOUBLE, &bits)), *found));
}

TEST_F(DefaultsModule, SpacesAroundNameAndTypeDoNotCount) {
    EXPECT_EQ((Lines{"user:g group", "user:g:a b uint32_t 5"}), listing_of("g = {\n  a b : uint32 = 5\n}\n"));
}

TEST_F(DefaultsModule, EverythingIsInLowerCase) {
    EXPECT_EQ((Lines{"user:group group", "user:group:name string text"}),
              listing_of("GROUP = {\nName:STRING = \"Text\"\n}\n"));
}

TEST_F(DefaultsModule, EmptyGroupsAreGroups) {
    EXPECT_EQ((Lines{"user:a group", "user:b group"}), listing_of("b = {\n}\na =\n{\n}\n"));
    EXPECT_EQ(Lines{}, listing_of(""));
    EXPECT_EQ(Lines{}, listing_of("# nothing\n"));
}

TEST_F(DefaultsModule, ALaterValueReplacesAnEarlierOneWithAWarning) {
    testing::internal::CaptureStderr();
    EXPECT_EQ((Lines{"user:g group", "user:g:a int32_t 2"}), listing_of("g = {\na = 1\na = 2\n}\n"));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find(file_ + ":3:1: warning: "));
}

TEST_F(DefaultsModule, EveryErrorIsTold) {
    std::string range;
    ASSERT_EQ(nullptr, parse_value("4294967296", XDATA_UINT32, &range));
    EXPECT_EQ((Lines{"1:1: error: the setting \"stray\" is in no group (expected groups of settings)",
                     "3:17: error: \"4294967296\" is no uint32 (expected " + range + ")",
                     "4:6: error: \"int16\" is no type (expected string, int32, uint32, int64, uint64, float, double, "
                     "boolean)",
                     "5:3: error: the group \"deeper\" is in another one (expected settings)",
                     "9:3: error: \"b\" has a value already, from line 8 (expected every name once in its group)"}),
              errors_of("stray = 1\n"
                        "g = { \n"
                        "  a : uint32 =  4294967296\n"
                        "  a2:int16 = 1\n"
                        "  deeper = {\n"
                        "    inside = 1\n"
                        "  }\n"
                        "  b = 1\n"
                        "  b:string = 1\n"
                        "}\n"));
}

TEST_F(DefaultsModule, NamesThatAreNoneAreErrors) {
    EXPECT_EQ((Lines{"1:1: error: \"a:b\" is no name of a group (expected 1 to 255 bytes of UTF-8 without control "
                     "characters and \":\")"}),
              errors_of("a:b = {\n}\n"));
    EXPECT_EQ((Lines{"2:1: error: \"a:b\" is no name of a value (expected 1 to 255 bytes of UTF-8 without control "
                     "characters and \":\")",
                     "3:1: error: \"\" is no name of a value (expected 1 to 255 bytes of UTF-8 without control "
                     "characters and \":\")"}),
              errors_of("g = {\na:b:int32 = 1\n:int32 = 1\n}\n"));
}

TEST_F(DefaultsModule, ErrorsOfTheSyntaxDoNotEndTheProcess) {
    EXPECT_EQ(2U, errors_of("g = {\nnonsense\na:int32 = x\n}\n").size());
    EXPECT_EQ(1U, errors_of("g = {\n").size());
    EXPECT_EQ(1U, errors_of("}\n").size());
    EXPECT_EQ(1U, errors_of("g = {\na = b \\\n" + std::string(1022, 'x') + "\n}\n").size());
}

TEST_F(DefaultsModule, AMissingFileIsAnErrorUnlessItIsNotRequired) {
    EXPECT_EQ(-ENODEV, state());
    EXPECT_EQ(-ENODEV, state({{"required", "yes"}}));
    EXPECT_EQ(0, state({{"required", "no"}}));
    EXPECT_EQ(Lines{}, open({{"required", "no"}}).store().listing());
    EXPECT_EQ(-EROFS, open({{"required", "no"}}).store().create_group("g"));
}

TEST_F(DefaultsModule, WhatIsNoFileIsAnErrorAlways) {
    std::filesystem::create_directory(file_);
    EXPECT_EQ(-EBADMSG, state({{"required", "no"}}));
    EXPECT_EQ(-EINVAL, Storage("defaults").store().sync()); // no setting
    const Storage storage("defaults", {{"file", file_ + "/x/y"}, {"required", "no"}});
    EXPECT_EQ(DURABILITY_FOLDER, storage.store().sync()); // a missing folder is a missing file
}
