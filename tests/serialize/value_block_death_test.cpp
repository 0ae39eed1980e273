// SPDX-License-Identifier: MIT
#include "support/death.h"
#include "values.h"

#include <varnel/serialize.h>

static void serialize_only(const xdata &x) {
    uint8_t *block = nullptr;
    xserialize(&x, &block);
    _xfree(block);
}

TEST(ValueBlockDeathTest, UnknownTypesAreNotWrittenAndNotMentioned) {
    for (const uint32_t type : {0U, 9U, 10U, 0x10001U, UINT32_MAX})
        EXPECT_ABORT(serialize_only(scalar(type, 0U)), "^$");
}

TEST(ValueBlockDeathTest, UnknownTypesInABlockAreLogged) {
    const std::pair<uint32_t, const char *> rows[] = {
        {0, "^_varnel: Invalid xdata_type: 0\n$"},
        {9, "^_varnel: Invalid xdata_type: 9\n$"},
        {0x10001, "^_varnel: Invalid xdata_type: 65537\n$"},
        {UINT32_MAX, "^_varnel: Invalid xdata_type: -1\n$"},
    };
    for (const auto &[type, message] : rows) {
        const Bytes block = join({host_order(type), host_order(8U), zeros(8)});
        EXPECT_ABORT(xdata_free(xdeserialize(block.data(), 16)), message);
    }
}

TEST(ValueBlockDeathTest, ALengthThatWrapsIsExhaustedMemory) {
    char byte = 0;
    xdata x = {};
    x.type = XDATA_STRING;
    for (const uint32_t length : {UINT32_MAX, UINT32_MAX - 7}) {
        x.value.s = {&byte, length};
        EXPECT_ABORT(serialize_only(x), "^_varnel: x_serialize: xmalloc0 error : 74\n$");
    }
}

TEST(ValueBlockDeathTest, RefusedMemoryEndsTheProcessSilently) {
    Bytes text = {'a', 0};
    const xdata string = string_value(text);
    expect_abort_at_every_allocation([&] { serialize_only(string); });
    const Bytes block = join({host_order(1U), host_order(2U), text});
    expect_abort_at_every_allocation([&] { xdata_free(xdeserialize(block.data(), 10)); });
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(2);
            xdata_free(xdeserialize(block.data(), 10));
        },
        "^$");
}
