// SPDX-License-Identifier: MIT
// Dictionaries, the loader and the look-ups. The four arrays of a dictionary are the only allocations of a dictionary
// that may fail: it then holds nothing and refuses every entry.
#include "sweep/sweep.h"

#include <varnel/config.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

TEST(DictionarySweep, NewWithoutArraysRefusesEntries) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            xdictionary *const d = xdictionary_new(0);
            const bool whole = run.allocator().refused() == 0;
            EXPECT_EQ(xdictionary_set(d, "key", "value", XDICTIONARY_STRING), whole ? 0 : -1);
            EXPECT_EQ(xdictionary_get(d, "key", nullptr) != nullptr, whole);
            xdictionary_unset(d, "key");
            xdictionary_out(d, 0);
            xdictionary_del(xdictionary_dup(d));
            xdictionary_del(d);
            return whole ? End::complete : End::refused;
        },
        Steps{{1, End::aborted, "record"}, {4, End::refused, "arrays"}, {2, End::aborted, "key and value"}} +
            Steps{{1, End::aborted, "record of the copy"}, {4, End::complete, "arrays of the empty copy"}});
}

TEST(DictionarySweep, SetAbortsWithoutTexts) {
    sweep(
        [](SweepRun &run) {
            xdictionary *const d = xdictionary_new(0);
            run.begin();
            EXPECT_EQ(xdictionary_set(d, "key", "value", XDICTIONARY_STRING), 0);
            EXPECT_EQ(xdictionary_set(d, "key", "other", XDICTIONARY_STRING), 0);
            EXPECT_EQ(xdictionary_set(d, "empty", nullptr, XDICTIONARY_STRING), 0);
            EXPECT_STREQ(static_cast<const char *>(xdictionary_get(d, "key", nullptr)), "other");
            xdictionary_unset(d, "key");
            EXPECT_EQ(d->count, 1U);
            xdictionary_del(d);
            return End::complete;
        },
        {{2, End::aborted, "key and value"}, {1, End::aborted, "new value"}, {1, End::aborted, "key without a value"}});
}

TEST(DictionarySweep, GrowthAborts) {
    sweep(
        [](SweepRun &run) {
            xdictionary *const d = xdictionary_new(0);
            for (int i = 0; i < XDICTIONARY_MIN_SIZE; ++i)
                EXPECT_EQ(xdictionary_set(d, std::to_string(i).c_str(), nullptr, XDICTIONARY_STRING), 0);
            run.begin();
            EXPECT_EQ(xdictionary_set(d, "one more", "value", XDICTIONARY_STRING), 0);
            EXPECT_EQ(d->size, 2U * XDICTIONARY_MIN_SIZE);
            xdictionary_del(d);
            return End::complete;
        },
        {{4, End::aborted, "doubled arrays"}, {2, End::aborted, "key and value"}});
}

xdictionary *new_tree() {
    xdictionary *const root = xdictionary_new(0);
    xdictionary *const group = xdictionary_new(0);
    EXPECT_EQ(xdictionary_set(group, "inner", "2", XDICTIONARY_STRING), 0);
    EXPECT_EQ(xdictionary_set(root, "outer", "1", XDICTIONARY_STRING), 0);
    EXPECT_EQ(xdictionary_set(root, "group", group, XDICTIONARY_GROUP), 0);
    return root;
}

TEST(DictionarySweep, CopyWithoutArraysIsEmpty) {
    sweep(
        [](SweepRun &run) {
            xdictionary *const tree = new_tree();
            run.begin();
            xdictionary *const copy = xdictionary_dup(tree);
            const bool outer = confparser_getint(copy, "outer", 0) == 1;
            const bool inner = confparser_getint(copy, "group:inner", 0) == 2;
            EXPECT_EQ(copy->count, outer ? 2U : 0U);
            if (!outer)
                SweepRun::say("empty");
            else if (!inner)
                SweepRun::say("empty group");
            xdictionary_del(copy);
            xdictionary_del(tree);
            return outer && inner ? End::complete : End::refused;
        },
        Steps{{1, End::aborted, "record"}, {4, End::refused, "arrays", "empty"}, {3, End::aborted, "keys and value"}} +
            Steps{{1, End::aborted, "record of the group"},
                  {4, End::refused, "arrays of the group", "empty group"},
                  {2, End::aborted, "key and value of the group"}});
}

// The group is shared, not copied.
TEST(DictionarySweep, MergeAbortsOrGivesAnEmptyDictionary) {
    sweep(
        [](SweepRun &run) {
            xdictionary *const tree = new_tree();
            run.begin();
            xdictionary *const merged = xdictionary_merge(nullptr, tree);
            const bool whole = merged->count == 2;
            EXPECT_EQ(merged->count, whole ? 2U : 0U);
            EXPECT_EQ(confparser_getdic(merged, "group"), whole ? confparser_getdic(tree, "group") : nullptr);
            if (whole)
                ++confparser_getdic(tree, "group")->ref_count; // both trees are deleted here
            xdictionary_del(merged);
            xdictionary_del(tree);
            return whole ? End::complete : End::refused;
        },
        {{1, End::aborted, "record"}, {4, End::refused, "arrays"}, {3, End::aborted, "keys and value"}});
}

TEST(LookupSweep, LookupsNeverAllocate) {
    sweep(
        [](SweepRun &run) {
            xdictionary *const tree = new_tree();
            run.begin();
            EXPECT_STREQ(confparser_getstring(tree, "group:inner", nullptr), "2");
            EXPECT_EQ(confparser_getint(tree, "outer", 0), 1);
            EXPECT_EQ(confparser_getdouble(tree, "group:inner", 0), 2.0);
            EXPECT_EQ(confparser_getboolean(tree, "outer", 0), 1);
            EXPECT_EQ(confparser_getdic(tree, "outer"), nullptr);
            xdictionary_del(tree);
            return End::complete;
        },
        {});
}

// A configuration file for the time of a test; every run's process reads it.
class LoaderSweep : public testing::Test {
protected:
    void SetUp() override {
        path_ = testing::TempDir() + "varnel_sweep_XXXXXX";
        const int fd = mkstemp(path_.data());
        ASSERT_GE(fd, 0);
        FILE *const file = fdopen(fd, "w");
        ASSERT_NE(file, nullptr);
        fputs("# both ways to open a group\n"
              "key = value\n"
              "first = {\n"
              "    inner = \"1\"\n"
              "}\n"
              "second =\n"
              "{\n"
              "}\n",
              file);
        ASSERT_EQ(fclose(file), 0);
    }
    void TearDown() override { unlink(path_.c_str()); }

    static std::string path_;
};
std::string LoaderSweep::path_;

constexpr char kRootMessage[] = "_varnel: xdictionary new error.\n";
constexpr char kGroupMessage[] = "_varnel: Can't create xdictionary.\n";

TEST_F(LoaderSweep, LoadAborts) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            xdictionary *const tree = configurator_load(path_.c_str());
            EXPECT_EQ(tree->count, 3U);
            EXPECT_EQ(confparser_getint(tree, "first:inner", 0), 1);
            EXPECT_NE(confparser_getdic(tree, "second"), nullptr);
            xdictionary_del(tree);
            return End::complete;
        },
        {{1, End::aborted, "record of the root"},
         {4, End::aborted, "arrays of the root", kRootMessage},
         {2, End::aborted, "key and value"},
         {1, End::aborted, "record of the first group"},
         {4, End::aborted, "arrays of the first group", kGroupMessage},
         {1, End::aborted, "name of the first group"},
         {2, End::aborted, "key and value in the group"},
         {1, End::aborted, "record of the second group"},
         {4, End::aborted, "arrays of the second group", kGroupMessage},
         {1, End::aborted, "name of the second group"}});
}

TEST_F(LoaderSweep, NoFileAllocatesNothing) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            EXPECT_EQ(configurator_load(nullptr), nullptr);
            EXPECT_EQ(configurator_load("/nonexistent/varnel.conf"), nullptr);
            return End::complete;
        },
        {});
}

} // namespace
