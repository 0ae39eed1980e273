// SPDX-License-Identifier: MIT
#include "data/xdata_types.h"

#include "data/xdata_fixture.h"

#include <cstddef>

namespace {

TEST(XdataTypes, CodesAreThoseOfTheWire) {
    constexpr xdata_type kCodes[] = {XDATA_STRING, XDATA_INT32,  XDATA_UINT32,  XDATA_INT64,   XDATA_UINT64,
                                     XDATA_FLOAT,  XDATA_DOUBLE, XDATA_BOOLEAN, XDATA_TYPE_END};
    xdata_type expected = 1;
    for (const xdata_type code : kCodes)
        EXPECT_EQ(code, expected++);
}

TEST(XdataTypes, Names) {
    constexpr const char *kNames[] = {"[unknown]", "string", "int32_t", "uint32_t",  "int64_t",  "uint64_t",
                                      "float",     "double", "boolean", "[unknown]", "[unknown]"};
    for (xdata_type type = 0; type < 11; ++type) {
        EXPECT_STREQ(xdata_type_as_char(type), kNames[type]);
        EXPECT_EQ(xdata_type_as_char(type), xdata_type_as_char(type)) << "static";
    }
    for (const xdata_type type : {100U, 256U + 1U, 0x80000001U, UINT32_MAX})
        EXPECT_STREQ(xdata_type_as_char(type), "[unknown]");
}

TEST(XdataTypes, WidthsAreThoseOfTheMembers) {
    constexpr size_t kWidths[] = {0, 0, 4, 4, 8, 8, 4, 8, 1, 0, 0};
    for (xdata_type type = 0; type < 11; ++type) {
        EXPECT_EQ(varnel::type_info(type).width, kWidths[type]);
        EXPECT_EQ(varnel::is_type(type), type >= 1 && type <= 8);
    }
    EXPECT_FALSE(varnel::is_type(256 + 1));
    EXPECT_FALSE(varnel::is_type(UINT32_MAX));
}

TEST(XdataTypes, EveryMemberStartsAtTheFirstByteOfAnAlignedValue) {
    EXPECT_EQ(offsetof(xdata, type), 0U);
    EXPECT_EQ(offsetof(xdata, value), 8U);
    EXPECT_EQ(alignof(xdata), 8U);
    xdata x = {};
    for (const void *const member : {static_cast<const void *>(&x.value.s), static_cast<const void *>(&x.value.i32),
                                     static_cast<const void *>(&x.value.u32), static_cast<const void *>(&x.value.i64),
                                     static_cast<const void *>(&x.value.u64), static_cast<const void *>(&x.value.f),
                                     static_cast<const void *>(&x.value.d), static_cast<const void *>(&x.value.b)})
        EXPECT_EQ(member, &x.value);
    EXPECT_EQ(varnel::value_bytes(&x), reinterpret_cast<uint8_t *>(&x.value));
}

} // namespace
