// SPDX-License-Identifier: MIT
#include "sweep/sweep.h"

#include <varnel/memory.h>
#include <varnel/serialize.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

TEST(SerializeSweep, ValueBlocksAbort) {
    sweep(
        [](SweepRun &run) {
            xdata *const text = xdata_char("text");
            xdata number = {};
            xdata_set_uint64(&number, UINT64_MAX);
            run.begin();
            for (const xdata *const value : {static_cast<const xdata *>(text), static_cast<const xdata *>(&number)}) {
                uint8_t *block = nullptr;
                const uint32_t size = xserialize(value, &block);
                xdata *const read = xdeserialize(block, size);
                EXPECT_EQ(xdata_cmp(read, value), 0);
                xdata_free(read);
                _xfree(block);
            }
            xdata_free(text);
            return End::complete;
        },
        {{1, End::aborted, "block of a string"},
         {2, End::aborted, "string that is read, and its text"},
         {1, End::aborted, "block of a number"},
         {1, End::aborted, "number that is read"}});
}

// Three strings; the second needs a larger block than the first growth gives.
xarray *new_params() {
    xarray *params = xarray_new();
    for (const size_t length : {size_t{3}, size_t{600}, size_t{3}})
        EXPECT_EQ(xarray_add(params, xdata_char(std::string(length, 'x').c_str())), 1);
    return params;
}

void free_params(xarray *params) {
    xarray_free(&params, [](void *item) { xdata_free(static_cast<xdata *>(item)); });
}

TEST(SerializeSweep, WriterGivesNoMemoryWhereItGrows) {
    sweep(
        [](SweepRun &run) {
            xarray *const params = new_params();
            uint8_t untouched = 0;
            uint8_t *block = &untouched;
            run.begin();
            errno = 0;
            const uint32_t length = xserialize_message(&block, control_set, params);
            if (length != 0) {
                EXPECT_EQ(length, 12U + 8 + 605 + 8);
                _xfree(block);
            } else {
                EXPECT_EQ(errno, ENOMEM);
                EXPECT_EQ(block, &untouched);
            }
            free_params(params);
            return length != 0 ? End::complete : End::refused;
        },
        {{1, End::aborted, "header"},
         {1, End::refused, "growth for the first parameter"},
         {1, End::refused, "growth for the second parameter"}});
}

TEST(SerializeSweep, ReaderGivesNoMemoryWithoutItsTexts) {
    sweep(
        [](SweepRun &run) {
            xarray *const params = new_params();
            uint8_t *block = nullptr;
            const uint32_t length = xserialize_message(&block, control_set, params);
            free_params(params);
            run.begin();
            uint32_t control = 99;
            xdata untouched = {};
            xdata *records = &untouched;
            errno = 0;
            const int32_t count = xdeserialize_message(block, length, &control, &records);
            _xfree(block);
            if (count == -1) {
                EXPECT_EQ(errno, ENOMEM);
                EXPECT_EQ(control, 99U);
                EXPECT_EQ(records, &untouched);
                return End::refused;
            }
            EXPECT_EQ(count, 3);
            EXPECT_EQ(control, uint32_t{control_set});
            for (int32_t i = 0; i < count; ++i)
                _xfree(records[i].value.s.str);
            _xfree(records);
            return End::complete;
        },
        {{1, End::aborted, "records"}, {3, End::refused, "texts"}});
}

TEST(SerializeSweep, SizesAndNamesNeverAllocate) {
    sweep(
        [](SweepRun &run) {
            const uint8_t header[12] = {0x06, 0x72, 0, 4, 0, 0, 0, 12};
            uint32_t control = 0;
            xdata *records = nullptr;
            run.begin();
            EXPECT_EQ(get_xmessage_size(header, sizeof header), 12U);
            EXPECT_STREQ(control_string(control_get), "control_get");
            EXPECT_EQ(xdeserialize_message(header, sizeof header, &control, &records), 0);
            EXPECT_EQ(records, nullptr);
            return End::complete;
        },
        {});
}

} // namespace
