// SPDX-License-Identifier: MIT
// Values for the codecs' tests, made field by field and not through the library.
#pragma once

#include "byte_strings.h"

#include <varnel/collections.h>
#include <varnel/memory.h>
#include <varnel/xdata.h>

#include <gtest/gtest.h>

#include <deque>

// A value whose first bytes in memory are these; bits of floating-point values are given as an integer, because some
// machines change a signalling NaN that travels through a register.
template <class T> xdata scalar(xdata_type type, T bits) {
    xdata x = {};
    x.type = type;
    memcpy(&x.value, &bits, sizeof bits);
    return x;
}

template <class T> T scalar_of(const xdata &x) {
    T bits;
    memcpy(&bits, &x.value, sizeof bits);
    return bits;
}

// A message's bytes, as they have to be.
inline Bytes message(uint16_t control, uint32_t count, const Bytes &entries) {
    return join({{0x06, 0x72},
                 big_endian(control),
                 big_endian(static_cast<uint32_t>(12 + entries.size())),
                 big_endian(count),
                 entries});
}

// A string value that borrows its bytes.
inline xdata string_value(Bytes &bytes) {
    xdata x = {};
    x.type = XDATA_STRING;
    x.value.s = {reinterpret_cast<char *>(bytes.data()), static_cast<uint32_t>(bytes.size())};
    return x;
}

inline Bytes string_bytes(const xdata &x) {
    if (x.value.s.len == 0)
        return {};
    const auto *const bytes = reinterpret_cast<const uint8_t *>(x.value.s.str);
    return {bytes, bytes + x.value.s.len};
}

// The parameters of a message, with everything they need.
class Params {
public:
    Params() : array_(xarray_new()) {}
    ~Params() { xarray_free(&array_, nullptr); }
    Params(const Params &) = delete;
    Params &operator=(const Params &) = delete;

    Params &add(const xdata &value) {
        values_.push_back(value);
        EXPECT_EQ(xarray_add(array_, &values_.back()), 1);
        return *this;
    }
    Params &add_string(const Bytes &bytes) {
        strings_.push_back(bytes);
        return add(string_value(strings_.back()));
    }
    Params &add_text(const std::string &text) { return add_string(join({bytes_of(text), {0}})); }

    [[nodiscard]] xarray *array() const { return array_; }
    [[nodiscard]] const std::deque<xdata> &values() const { return values_; }

private:
    xarray *array_;
    std::deque<xdata> values_; // addresses stay
    std::deque<Bytes> strings_;
};
