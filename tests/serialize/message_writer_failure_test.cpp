// SPDX-License-Identifier: MIT
#include "support/death.h"
#include "support/log_capture.h"
#include "values.h"

#include <varnel/serialize.h>

#include <cerrno>

namespace {

// Expects the writer to fail with this errno, to store nothing, to keep nothing and to have logged just these errors.
void expect_failure(uint32_t control, const xarray *params, int error, const std::vector<std::string> &log = {}) {
    const CountingAllocator allocator;
    LogCapture capture;
    capture.leave_errno(ENOTTY);
    uint8_t sentinel = 0;
    uint8_t *block = &sentinel;
    errno = 0;
    EXPECT_EQ(xserialize_message(&block, control, params), 0U);
    EXPECT_EQ(errno, error);
    EXPECT_EQ(block, &sentinel);
    EXPECT_EQ(allocator.live_blocks(), 0U);
    EXPECT_EQ(capture.texts(LogLine::error), log);
    EXPECT_EQ(capture.lines().size(), log.size());
}

xdata fake_string(Bytes &bytes, uint32_t length) {
    xdata x = string_value(bytes);
    x.value.s.len = length;
    return x;
}

} // namespace

TEST(MessageWriterFailure, ControlCodesOutside1To16) {
    const Params params;
    for (const uint32_t control : {0U, 17U, 18U, 0x10000U, 0x10001U, 0x10004U, UINT32_MAX})
        expect_failure(control, params.array(), EINVAL);
}

TEST(MessageWriterFailure, NoArray) {
    expect_failure(control_get, nullptr, EINVAL);
}

TEST(MessageWriterFailure, ANullItemIsRefusedWithoutAMessage) {
    Params params;
    params.add_text("first").add_text("second").add_text("third");
    for (const size_t at : {size_t{0}, size_t{1}, size_t{2}}) {
        void *const item = std::exchange(params.array()->items[at], nullptr);
        expect_failure(control_set, params.array(), EINVAL);
        params.array()->items[at] = item;
    }
}

TEST(MessageWriterFailure, AnArrayThatLostItsItemsIsRefused) {
    xarray lost = {nullptr, 3};
    expect_failure(control_set, &lost, EINVAL);
}

TEST(MessageWriterFailure, UnknownTypesAreLogged) {
    const std::pair<uint32_t, const char *> rows[] = {{0, "Invalid parameter type 0\n"},
                                                      {9, "Invalid parameter type 9\n"},
                                                      {10, "Invalid parameter type 10\n"},
                                                      {0x10001, "Invalid parameter type 65537\n"},
                                                      {UINT32_MAX, "Invalid parameter type -1\n"}};
    for (const auto &[type, text] : rows) {
        Params params;
        params.add_text("before").add(scalar(type, 0U)).add(scalar(XDATA_TYPE_END, 0U));
        expect_failure(control_set, params.array(), EINVAL, {text});
    }
}

TEST(MessageWriterFailure, TheLogLineHasPrefixAndFormat) {
    Params params;
    params.add(scalar(9, 0U));
    const LogCapture capture;
    uint8_t *block = nullptr;
    EXPECT_EQ(xserialize_message(&block, control_set, params.array()), 0U);
    ASSERT_EQ(capture.lines().size(), 1U);
    EXPECT_EQ(capture.lines()[0].prefix, "_varnel: ");
    EXPECT_EQ(capture.lines()[0].format, "Invalid parameter type %d\n");
    EXPECT_EQ(capture.lines()[0].level, LogLine::error);
}

// No byte of such a string is read: the block behind it is one byte long.
TEST(MessageWriterFailure, SumsThatWrapAreExhaustedMemory) {
    Bytes byte = {0};
    for (const uint32_t length : {UINT32_MAX, UINT32_MAX - 3, UINT32_MAX - 4, 0xFFFFFFF0U}) {
        Params first;
        first.add(fake_string(byte, length));
        expect_failure(control_set, first.array(), ENOMEM);
    }
    // 12 + (4 + 100) + (4 + length) is 2^32 exactly.
    Params second;
    second.add_string(Bytes(100, 'a')).add(fake_string(byte, UINT32_MAX - 120 + 1));
    expect_failure(control_set, second.array(), ENOMEM);
}

// Twice the bytes needed wrap a 32-bit size; a 64-bit host is refused the memory instead.
TEST(MessageWriterFailure, DoublingThatWrapsIsExhaustedMemory) {
    Bytes byte = {0};
    for (const uint32_t length : {0x80000000U - 16, 0x80000000U, 0xFFFFFFEFU}) {
        Params params;
        params.add(fake_string(byte, length));
        CountingAllocator allocator;
        allocator.fail_from(2);
        uint8_t *block = nullptr;
        errno = 0;
        EXPECT_EQ(xserialize_message(&block, control_set, params.array()), 0U);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_EQ(block, nullptr);
        EXPECT_EQ(allocator.live_blocks(), 0U);
        if (sizeof(size_t) == 4) {
            EXPECT_EQ(allocator.reallocate_calls(), 0U);
        } else {
            EXPECT_EQ(allocator.sizes().back(), static_cast<size_t>(2 * (uint64_t{length} + 16)));
        }
    }
}

TEST(MessageWriterFailure, EveryRefusedGrowthGivesENOMEMAndLeavesNothing) {
    Params params;
    params.add_text("short").add_string(Bytes(2000, 'a')).add_string(Bytes(9000, 'b')).add_string(Bytes(40000, 'c'));
    for (size_t n = 2; n <= 5; ++n) {
        CountingAllocator allocator;
        const LogCapture capture;
        allocator.fail_at(n);
        uint8_t sentinel = 0;
        uint8_t *block = &sentinel;
        errno = 0;
        EXPECT_EQ(xserialize_message(&block, control_set, params.array()), 0U) << n;
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_EQ(block, &sentinel);
        EXPECT_EQ(allocator.allocations(), n);
        EXPECT_EQ(allocator.live_blocks(), 0U);
        EXPECT_TRUE(capture.lines().empty());
    }
}

TEST(MessageWriterDeathTest, TheHeaderCannotBeDoneWithout) {
    const Params params;
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(1);
            uint8_t *block = nullptr;
            xserialize_message(&block, control_set, params.array());
        },
        "^$");
}
