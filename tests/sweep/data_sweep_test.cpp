// SPDX-License-Identifier: MIT
// Values, counted strings, keys and pairs: the library cannot do without any allocation of theirs.
#include "sweep/sweep.h"

#include <varnel/memory.h>
#include <varnel/xkey.h>

#include <gtest/gtest.h>

namespace {

TEST(DataSweep, NewValuesAbort) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            const uint64_t bytes = 1;
            for (xdata_type type = XDATA_INT32; type <= XDATA_TYPE_END; ++type) {
                xdata *const x = xdata_new(type, &bytes);
                EXPECT_EQ(x->type, type);
                xdata_free(x);
            }
            xdata *const text = xdata_new(XDATA_STRING, "text");
            EXPECT_STREQ(text->value.s.str, "text");
            xdata_free(text);
            EXPECT_EQ(xdata_new(XDATA_TYPE_END + 1, &bytes), nullptr);
            return End::complete;
        },
        {{8, End::aborted, "records of scalars and of the end mark"},
         {2, End::aborted, "record and text of a string"}});
}

TEST(DataSweep, StringValuesAbort) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            xdata *const from_text = xdata_char("text");
            const xstring counted = {from_text->value.s.str, 5};
            const size_t live = run.allocator().live_blocks();
            xdata *const from_string = xdata_string(&counted);
            EXPECT_EQ(run.allocator().live_blocks(), live + 3); // the value, its text and the holder that is lost
            EXPECT_EQ(xdata_cmp(from_text, from_string), 0);
            xdata_free(from_text);
            xdata_free(from_string);
            EXPECT_EQ(run.allocator().release_live(), 1U);
            return End::complete;
        },
        {{2, End::aborted, "value and text"}, {3, End::aborted, "value, holder and text"}});
}

TEST(DataSweep, CopiesAbort) {
    sweep(
        [](SweepRun &run) {
            xdata *const x = xdata_char("text");
            run.begin();
            xdata *const duplicate = xdata_dup(x);
            xdata copy = {};
            EXPECT_EQ(xdata_copy(&copy, x), &copy);
            EXPECT_EQ(xdata_cmp(&copy, duplicate), 0);
            const xdata untyped = {};
            EXPECT_EQ(xdata_dup(&untyped), nullptr);
            _xfree(copy.value.s.str);
            xdata_free(duplicate);
            xdata_free(x);
            return End::complete;
        },
        {{2, End::aborted, "duplicate and its text"},
         {1, End::aborted, "text of a copy"},
         {1, End::aborted, "record of a duplicate that cannot be"}});
}

TEST(DataSweep, CountedStringsAbort) {
    sweep(
        [](SweepRun &run) {
            char text[] = "text";
            const xstring source = {text, 4};
            run.begin();
            xstring *const duplicate = xstring_dup(&source);
            xstring copy = {};
            EXPECT_EQ(xstring_copy(&copy, &source), &copy);
            EXPECT_EQ(xstring_compare(duplicate, &copy, 0), 0);
            _xfree(copy.str);
            xstring_free(duplicate);
            return End::complete;
        },
        {{2, End::aborted, "holder and text"}, {1, End::aborted, "text"}});
}

TEST(DataSweep, TextOfAValueAborts) {
    sweep(
        [](SweepRun &run) {
            xdata x = {};
            xdata_set_int32(&x, -5);
            run.begin();
            char *const text = xdata_value_as_char(&x);
            EXPECT_STREQ(text, "-5");
            _xfree(text);
            x.type = XDATA_TYPE_END;
            EXPECT_EQ(xdata_value_as_char(&x), nullptr);
            run.allocator().forget(run.allocator().last_block()); // the platform's free had it
            return End::complete;
        },
        {{1, End::aborted, "text"}, {1, End::aborted, "text of an unknown type"}});
}

TEST(DataSweep, KeysAbort) {
    sweep(
        [](SweepRun &run) {
            run.begin();
            xkey *const key = xkey_new("layer", "group", "name");
            xkey *const duplicate = xkey_dup(key);
            EXPECT_EQ(xkey_cmp(key, duplicate), 0);
            xkey copy = {};
            EXPECT_EQ(xkey_copy_group(&copy, key), &copy);
            EXPECT_EQ(copy.name.str, nullptr);
            _xfree(copy.group.str);
            _xfree(copy.layer.str);
            xkey_free(key);
            xkey_free(duplicate);
            return End::complete;
        },
        {{4, End::aborted, "key and its parts"},
         {4, End::aborted, "duplicate and its parts"},
         {2, End::aborted, "group and layer of a copy"}});
}

TEST(DataSweep, PartsOfAKeyAbort) {
    sweep(
        [](SweepRun &run) {
            xkey *const key = xkey_new(nullptr, "group", "name");
            run.begin();
            char *const texts[] = {xkey_get_layer(key), xkey_get_group(key), xkey_get_name(key), xkey_to_string(key)};
            const char *const expected[] = {"default", "group", "name", "default:group:name"};
            for (size_t i = 0; i < 4; ++i) {
                EXPECT_STREQ(texts[i], expected[i]);
                _xfree(texts[i]);
            }
            xkey_free(key);
            return End::complete;
        },
        {{4, End::aborted, "texts"}});
}

TEST(DataSweep, PairsAbort) {
    sweep(
        [](SweepRun &run) {
            xkey *const key = xkey_new("layer", nullptr, nullptr);
            xdata *const value = xdata_char("value");
            run.begin();
            xpair *const pair = xpair_new(key, value, &run);
            EXPECT_EQ(pair->user_data, &run);
            xpair_free(pair, nullptr);
            return End::complete;
        },
        {{1, End::aborted, "pair"}});
}

} // namespace
