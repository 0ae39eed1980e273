// SPDX-License-Identifier: MIT
// Owners, texts and equality of values.
#include "common/records.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using varnel::identical;
using varnel::text_of;
using varnel::Value;

Value make_double(std::uint64_t bits) {
    return Value(xdata_new(XDATA_DOUBLE, &bits));
}

Value make_float(std::uint32_t bits) {
    return Value(xdata_new(XDATA_FLOAT, &bits));
}

TEST(Records, TextEndsAtTheZeroByte) {
    char bytes[] = "ab\0cd";
    EXPECT_EQ(text_of(xstring{bytes, 6}), "ab");
    EXPECT_EQ(text_of(xstring{bytes, 2}), "ab") << "without a zero byte, all of them";
    EXPECT_EQ(text_of(xstring{bytes, 1}), "a");
    EXPECT_EQ(text_of(xstring{bytes, 0}), "");
    EXPECT_EQ(text_of(xstring{nullptr, 0}), "");
    EXPECT_EQ(text_of(xstring{nullptr, 1}), "") << "as absent parts of keys are";
}

TEST(Records, MakersGiveTypeAndValue) {
    EXPECT_EQ(text_of(varnel::make_string("text")->value.s), "text");
    EXPECT_EQ(varnel::make_string("text")->value.s.len, 5U);
    EXPECT_EQ(varnel::make_int32(-3)->value.i32, -3);
    EXPECT_EQ(varnel::make_uint32(3)->type, XDATA_UINT32);
    EXPECT_EQ(varnel::make_uint64(UINT64_MAX)->value.u64, UINT64_MAX);
    EXPECT_EQ(varnel::make_boolean(true)->value.b, 1);
    EXPECT_EQ(varnel::make_boolean(false)->value.b, 0);
}

TEST(Identical, AsksForTypeAndEveryBit) {
    EXPECT_TRUE(identical(*varnel::make_int32(1), *varnel::make_int32(1)));
    EXPECT_FALSE(identical(*varnel::make_int32(1), *varnel::make_uint32(1)));
    EXPECT_FALSE(identical(*varnel::make_uint64(1), *varnel::make_uint64(0x100000001)));
    EXPECT_FALSE(identical(*varnel::make_uint32(1), *varnel::make_uint32(0x01000001)));
    EXPECT_TRUE(identical(*make_double(0x7ff0000000000001), *make_double(0x7ff0000000000001))) << "a NaN";
    EXPECT_FALSE(identical(*make_double(0x7ff0000000000001), *make_double(0x7ff8000000000001)));
    EXPECT_FALSE(identical(*make_double(0), *make_double(0x8000000000000000))) << "0 and -0";
    EXPECT_FALSE(identical(*make_float(0), *make_float(0x80000000)));
    EXPECT_TRUE(identical(*make_float(0x7f800001), *make_float(0x7f800001)));
    EXPECT_FALSE(identical(*varnel::make_boolean(true), *varnel::make_boolean(false)));
}

TEST(Identical, LooksAtOneByteOfABoolean) {
    const Value a = varnel::make_boolean(true);
    const Value b = varnel::make_boolean(true);
    reinterpret_cast<unsigned char *>(&b->value)[1] = 7;
    EXPECT_TRUE(identical(*a, *b));
}

TEST(Identical, ComparesAllBytesOfStrings) {
    char one[] = "a\0b";
    char other[] = "a\0c";
    xdata a{};
    xdata b{};
    xdata_set_string(&a, one, 4);
    xdata_set_string(&b, other, 4);
    EXPECT_FALSE(identical(a, b));
    b.value.s.len = 2;
    EXPECT_FALSE(identical(a, b));
    a.value.s.len = 2;
    EXPECT_TRUE(identical(a, b));
    b.value.s = {nullptr, 2};
    EXPECT_FALSE(identical(a, b)) << "a broken one";
    a.value.s.len = 0;
    b.value.s.len = 0;
    EXPECT_TRUE(identical(a, b)) << "no bytes";
}

TEST(Records, CopiesAreIdentical) {
    const Value value = varnel::make_string("text");
    EXPECT_TRUE(identical(*value, *varnel::copy_of(*value)));
}

} // namespace
