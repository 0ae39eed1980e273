// SPDX-License-Identifier: MIT
// What the tests of values share.
#pragma once

#include <varnel/memory.h>
#include <varnel/xdata.h>

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>

namespace xdata_test {

struct FreeValue {
    void operator()(xdata *x) const { xdata_free(x); }
};
using Value = std::unique_ptr<xdata, FreeValue>;

struct FreeString {
    void operator()(xstring *s) const { xstring_free(s); }
};
using String = std::unique_ptr<xstring, FreeString>;

// A scalar value made from its native form.
template <class T> Value make(xdata_type type, T native) {
    return Value(xdata_new(type, &native));
}

inline Value make_text(const char *text) {
    return Value(xdata_char(text));
}

// A value on the stack, of this type, every other byte as given.
inline xdata filled(xdata_type type, int byte) {
    xdata x;
    memset(&x, byte, sizeof x);
    x.type = type;
    return x;
}

// The text form, released.
inline std::string text_of(const xdata *x) {
    char *const text = xdata_value_as_char(x);
    if (text == nullptr)
        return "NULL";
    std::string copy(text);
    _xfree(text);
    return copy;
}

// Of the scalars, and the bytes that they take.
struct Width {
    xdata_type type;
    size_t bytes;
};

inline constexpr Width kScalars[] = {{XDATA_INT32, 4}, {XDATA_UINT32, 4}, {XDATA_INT64, 8},  {XDATA_UINT64, 8},
                                     {XDATA_FLOAT, 4}, {XDATA_DOUBLE, 8}, {XDATA_BOOLEAN, 1}};

inline constexpr xdata_type kNoTypes[] = {0, 9, 10, 255, 256 + 1, 0x80000001, UINT32_MAX};

} // namespace xdata_test
