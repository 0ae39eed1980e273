// SPDX-License-Identifier: MIT
#include "base/bytes.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(Bytes, BigEndianAtAnyAddress) {
    uint8_t buffer[12] = {};
    for (size_t offset = 0; offset < 4; ++offset) {
        varnel::store_be<uint32_t>(buffer + offset, 0x81020304);
        EXPECT_EQ(memcmp(buffer + offset, "\x81\x02\x03\x04", 4), 0);
        EXPECT_EQ(varnel::load_be<uint32_t>(buffer + offset), 0x81020304U);
    }
    varnel::store_be<uint64_t>(buffer + 3, 0xF102030405060708);
    EXPECT_EQ(memcmp(buffer + 3, "\xF1\x02\x03\x04\x05\x06\x07\x08", 8), 0);
    EXPECT_EQ(varnel::load_be<uint64_t>(buffer + 3), 0xF102030405060708U);
    varnel::store_be<uint16_t>(buffer + 1, 0xABCD);
    EXPECT_EQ(memcmp(buffer + 1, "\xAB\xCD", 2), 0);
    EXPECT_EQ(varnel::load_be<uint16_t>(buffer + 1), 0xABCD);
}

TEST(Bytes, CopyTurnsHostOrderIntoBigEndianAndBack) {
    for (const size_t width : {size_t{1}, size_t{4}, size_t{8}}) {
        const uint64_t value = 0x8877665544332211;
        const uint32_t narrow = 0x44332211;
        const uint8_t byte = 0x11;
        uint8_t host[8];
        if (width == 8)
            memcpy(host, &value, 8);
        else if (width == 4)
            memcpy(host, &narrow, 4);
        else
            host[0] = byte;
        uint8_t wire[8];
        varnel::copy_big_endian(wire, host, width);
        EXPECT_EQ(memcmp(wire, &"\x88\x77\x66\x55\x44\x33\x22\x11"[8 - width], width), 0);
        uint8_t back[8];
        varnel::copy_big_endian(back, wire, width);
        EXPECT_EQ(memcmp(back, host, width), 0);
    }
}

} // namespace
