// SPDX-License-Identifier: MIT
// Settings of the daemon as text.
#include "common/setting_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using varnel::parse_count;
using varnel::parse_mode;
using varnel::parse_udp_address;

TEST(SettingText, CountsAreDigitsWithinBounds) {
    EXPECT_EQ(parse_count("10", 10, 20), 10U);
    EXPECT_EQ(parse_count("20", 10, 20), 20U);
    EXPECT_EQ(parse_count("0020", 10, 20), 20U);
    EXPECT_EQ(parse_count("4294967295", 0, UINT32_MAX), UINT32_MAX);
    for (const char *const text :
         {"", "9", "21", "-15", "+15", " 15", "15 ", "15x", "0xf", "1.5", "4294967306", "99999999999999999999999"})
        EXPECT_FALSE(parse_count(text, 10, 20)) << text;
}

TEST(SettingText, ModesAreOctal) {
    EXPECT_EQ(parse_mode("0660"), 0660U);
    EXPECT_EQ(parse_mode("660"), 0660U);
    EXPECT_EQ(parse_mode("0"), 0U);
    EXPECT_EQ(parse_mode("0777"), 0777U);
    for (const char *const text : {"", "0680", "1000", "-1", "0x1f", "rw", "0660 "})
        EXPECT_FALSE(parse_mode(text)) << text;
}

std::string udp(std::string_view text) {
    const auto address = parse_udp_address(text);
    if (!address)
        return "none";
    const auto byte = [&](int shift) { return std::to_string(address->address >> shift & 0xff); };
    return byte(24) + "." + byte(16) + "." + byte(8) + "." + byte(0) + ":" + std::to_string(address->port);
}

TEST(SettingText, UdpAddresses) {
    EXPECT_EQ(udp("192.0.2.1:4711"), "192.0.2.1:4711");
    EXPECT_EQ(udp("0.0.0.0:1"), "0.0.0.0:1");
    EXPECT_EQ(udp("4711"), "127.0.0.1:4711");
    EXPECT_EQ(udp("32767"), "127.0.0.1:32767");
    for (const char *const text :
         {"", ":", ":4711", "127.0.0.1:", "127.0.0.1", "127.0.0.1:0", "127.0.0.1:32768", "65536", "0", "localhost:4711",
          "[::1]:4711", "::1:4711", "127.0.0.1:47:11", "127.1:4711", "127.0.0.1:4711x", "127.0.0.256:4711"})
        EXPECT_EQ(udp(text), "none") << text;
    EXPECT_EQ(udp(std::string_view("127.0.0.1\0x:4711", 16)), "none");
}

} // namespace
