// SPDX-License-Identifier: MIT
#include "protocol/message.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

using namespace varnel;
using namespace varnel::protocol;

namespace {

Bytes bytes_of(const char *text) {
    return {reinterpret_cast<const std::uint8_t *>(text), reinterpret_cast<const std::uint8_t *>(text) + strlen(text)};
}

Received read_back(const Message &message) {
    Bytes bytes = message.encode();
    return Received(bytes);
}

Value float_value(float number) {
    return Value(xdata_new(XDATA_FLOAT, &number));
}
Value double_value(double number) {
    return Value(xdata_new(XDATA_DOUBLE, &number));
}
Value int64_value(std::int64_t number) {
    return Value(xdata_new(XDATA_INT64, &number));
}
Value string_of(const std::string &bytes) {
    const xstring counted = {const_cast<char *>(bytes.data()), static_cast<std::uint32_t>(bytes.size())};
    const xdata value{XDATA_STRING, {counted}};
    return copy_of(value);
}

std::string what_of(const std::function<void()> &body) {
    try {
        body();
    } catch (const Malformed &malformed) {
        return malformed.what();
    }
    return "nothing thrown";
}

} // namespace

TEST(Message, WithoutParametersIsItsHeader) {
    const Message message(control_status);
    EXPECT_EQ(message.size(), 0U);
    EXPECT_EQ(message.bytes(), 12U);
    EXPECT_EQ(message.encode().size(), 12U);
    const Received received = read_back(message);
    EXPECT_EQ(received.code(), std::uint32_t{control_status});
    EXPECT_EQ(received.size(), 0U);
}

TEST(Message, TellsItsEncodedSizeForEveryType) {
    Message message(control_set);
    std::size_t expected = 12;
    const auto add = [&](Value value, std::size_t payload) {
        EXPECT_EQ(encoded_size(*value), 4 + payload);
        message.add(std::move(value));
        expected += 4 + payload;
        EXPECT_EQ(message.bytes(), expected);
        EXPECT_EQ(message.encode().size(), expected);
    };
    add(make_string("four"), 5);
    add(make_string(""), 1);
    add(string_of(""), 0);
    add(make_int32(-1), 4);
    add(make_uint32(1), 4);
    add(int64_value(-1), 8);
    add(make_uint64(1), 8);
    add(float_value(1.5F), 4);
    add(double_value(1.5), 8);
    add(make_boolean(true), 1);
    EXPECT_EQ(message.size(), 10U);
}

TEST(Message, EveryTypeComesBackBitForBit) {
    std::vector<Value> values;
    for (const char *const text : {"", "a", "two words", "\xc3\xa4"})
        values.push_back(make_string(text));
    values.push_back(string_of(std::string("a\0b\0", 4)));
    values.push_back(string_of(std::string(65534, 'x') + '\0'));
    values.push_back(make_int32(std::numeric_limits<std::int32_t>::min()));
    values.push_back(make_uint32(UINT32_MAX));
    values.push_back(int64_value(std::numeric_limits<std::int64_t>::min()));
    values.push_back(make_uint64(UINT64_MAX));
    values.push_back(float_value(-0.0F));
    values.push_back(double_value(std::nan("17")));
    values.push_back(make_boolean(true));
    values.push_back(make_boolean(false));
    Message message(control_other);
    for (const Value &value : values)
        message.add(copy_of(*value));
    const Received received = read_back(message);
    ASSERT_EQ(received.size(), values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_TRUE(identical(received.at(i), *values[i])) << i;
}

TEST(Message, ReadsMessagesOfExactLengthThatEndInTheSmallestParameters) {
    for (const bool string_at_end : {false, true}) {
        Message message(control_get);
        message.add("x");
        message.add(string_at_end ? make_string("") : make_boolean(true));
        Bytes bytes = message.encode();
        ASSERT_EQ(bytes.size(), message.bytes());
        const Received received(bytes);
        EXPECT_EQ(received.size(), 2U);
        EXPECT_EQ(received.at(1).type, xdata_type{string_at_end ? XDATA_STRING : XDATA_BOOLEAN});
    }
    Message empty(control_get);
    empty.add(string_of(""));
    EXPECT_EQ(read_back(empty).text(0), "");
}

TEST(Message, Takes4096ParametersAndNoMore) {
    Message message(control_list);
    for (std::uint32_t i = 0; i < 4096; ++i)
        message.add(i);
    EXPECT_THROW(message.add("one more"), std::length_error);
    EXPECT_EQ(message.size(), 4096U);
    const Received received = read_back(message);
    ASSERT_EQ(received.size(), 4096U);
    EXPECT_EQ(received.uint32(0), 0U);
    EXPECT_EQ(received.uint32(4095), 4095U);
}

TEST(Message, RefusesNoValueAndCodesThatAreNone) {
    Message message(control_get);
    EXPECT_THROW(message.add(Value()), std::invalid_argument);
    EXPECT_EQ(message.size(), 0U);
    EXPECT_THROW(static_cast<void>(Message(0).encode()), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(Message(17).encode()), std::invalid_argument);
}

TEST(Message, RefusesStringsThatNoReaderTakes) {
    Message message(control_get);
    EXPECT_THROW(message.add(string_of(std::string(65535, 'x') + '\0')), std::length_error);
    EXPECT_THROW(message.add(string_of("no zero byte")), std::invalid_argument);
    EXPECT_EQ(message.size(), 0U);
    EXPECT_EQ(message.bytes(), 12U);
}

TEST(Received, IsEmptyByDefault) {
    const Received received;
    EXPECT_EQ(received.size(), 0U);
    EXPECT_THROW(static_cast<void>(received.at(0)), Malformed);
}

TEST(Received, NamesTheParameterThatIsMissing) {
    const Received received = read_back(Message(control_get).add("user"));
    EXPECT_EQ(what_of([&] { static_cast<void>(received.text(1)); }), "control_get: parameter 1 is missing");
    EXPECT_EQ(what_of([&] { static_cast<void>(received.at(7)); }), "control_get: parameter 7 is missing");
}

TEST(Received, NamesTheTypeThatAParameterHasNot) {
    Message message(control_lock);
    message.add("text").add(std::uint32_t{2}).add(std::uint64_t{3}).add(make_int32(-4));
    const Received received = read_back(message);
    EXPECT_EQ(received.text(0), "text");
    EXPECT_EQ(received.uint32(1), 2U);
    EXPECT_EQ(received.uint64(2), 3U);
    EXPECT_EQ(received.int32(3), -4);
    EXPECT_EQ(what_of([&] { static_cast<void>(received.text(1)); }), "control_lock: parameter 1 is no string");
    EXPECT_EQ(what_of([&] { static_cast<void>(received.uint32(0)); }), "control_lock: parameter 0 is no uint32_t");
    EXPECT_EQ(what_of([&] { static_cast<void>(received.int32(1)); }), "control_lock: parameter 1 is no int32_t");
    EXPECT_EQ(what_of([&] { static_cast<void>(received.uint64(3)); }), "control_lock: parameter 3 is no uint64_t");
}

TEST(Received, TextEndsAtTheFirstZeroByte) {
    EXPECT_EQ(read_back(Message(control_get).add(string_of(std::string("ab\0cd\0", 6)))).text(0), "ab");
}

TEST(Received, RefusesAnotherLengthThanTheOneAnnounced) {
    const Bytes whole = Message(control_get).add("user").add("net").add("port").encode();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(Received{cut}, Malformed) << size;
    }
    Bytes longer = whole;
    longer.push_back(0);
    EXPECT_THROW(Received{longer}, Malformed);
}

// An int32 that says to have two bytes: its other two would be those of the next parameter.
TEST(Received, RefusesParametersWithAnotherSizeThanTheirType) {
    Message message(control_other);
    message.add(make_int32(1)).add(make_boolean(true)).add(std::uint64_t{3});
    const Bytes whole = message.encode();
    constexpr std::size_t kInt32Size = 12 + 3;
    constexpr std::size_t kUint64Size = 12 + 8 + 5 + 3;
    const auto why = [](Bytes bytes) {
        bytes[7] = static_cast<std::uint8_t>(bytes.size()); // the length that the header announces
        return what_of([&] { const Received received(bytes); });
    };
    const std::string refused = "control_other: parameters that have not the sizes of their types";
    const auto with = [&](std::size_t at, std::uint8_t size, std::size_t length) {
        Bytes bytes = whole;
        bytes[at] = size;
        bytes.resize(length);
        return why(bytes);
    };
    ASSERT_EQ(whole[kInt32Size], 4);
    ASSERT_EQ(whole[kUint64Size], 8);
    EXPECT_EQ(with(kUint64Size, 8, whole.size()), "nothing thrown");
    EXPECT_EQ(with(kUint64Size, 7, whole.size()), refused);
    EXPECT_EQ(with(kUint64Size, 7, whole.size() - 1), refused);
    EXPECT_EQ(with(kUint64Size, 9, whole.size() + 1), refused);
    EXPECT_EQ(with(kUint64Size, 8, whole.size() + 1), refused);
    // Wrong sizes that add up to the right length.
    Bytes shifted = Message(control_other).add(make_int32(0)).add(make_int32(0)).encode();
    shifted[kInt32Size] = 2;
    const std::uint8_t second[] = {0, XDATA_INT32, 0, 6, 0, 0, 0, 0, 0, 0};
    std::copy(std::begin(second), std::end(second), shifted.end() - std::size(second));
    EXPECT_EQ(why(shifted), refused);
}

TEST(Received, RefusesBytesThatAreNoMessage) {
    Bytes text = bytes_of("GET / HTTP/1.1\r\n");
    EXPECT_THROW(Received{text}, Malformed);
    Bytes wrong_magic = Message(control_get).add("user").encode();
    wrong_magic[0] ^= 1;
    EXPECT_THROW(Received{wrong_magic}, Malformed);
}

// Each byte of a message changed to each of some values: read or refused, nothing else.
TEST(Received, SurvivesEveryChangedByte) {
    Message message(control_set);
    message.add("user").add(std::uint32_t{1}).add(std::uint32_t{0}).add("net").add("up").add(make_boolean(true));
    const Bytes whole = message.encode();
    std::size_t read = 0;
    std::size_t refused = 0;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const int value : {0, 1, 2, 7, 8, 9, 16, 127, 128, 255}) {
            Bytes changed = whole;
            changed[at] = static_cast<std::uint8_t>(value);
            try {
                read += Received(changed).size() <= 4096 ? 1U : 0U;
            } catch (const Malformed &) {
                ++refused;
            }
        }
    }
    EXPECT_EQ(read + refused, whole.size() * 10);
    EXPECT_GT(refused, 0U);
    EXPECT_GT(read, 0U);
}
