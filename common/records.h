// SPDX-License-Identifier: MIT
// Owners of the library's records, and short ways to make values: for the daemon, the client and the modules.
#pragma once

#include <varnel/memory.h>
#include <varnel/xdata.h>
#include <varnel/xkey.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace varnel {

struct XdataDeleter {
    void operator()(xdata *value) const { xdata_free(value); }
};
using Value = std::unique_ptr<xdata, XdataDeleter>;

// A value that several hold, and nobody changes.
using SharedValue = std::shared_ptr<const xdata>;

struct XkeyDeleter {
    void operator()(xkey *key) const { xkey_free(key); }
};
using Key = std::unique_ptr<xkey, XkeyDeleter>;

// What the library allocated and _xfree releases.
struct BlockDeleter {
    void operator()(void *block) const { _xfree(block); }
};
template <class T> using Block = std::unique_ptr<T, BlockDeleter>;

// Text up to its first zero byte.
inline Value make_string(std::string_view text) {
    return Value(xdata_char(std::string(text).c_str()));
}
inline Value make_int32(std::int32_t number) {
    return Value(xdata_new(XDATA_INT32, &number));
}
inline Value make_uint32(std::uint32_t number) {
    return Value(xdata_new(XDATA_UINT32, &number));
}
inline Value make_uint64(std::uint64_t number) {
    return Value(xdata_new(XDATA_UINT64, &number));
}
inline Value make_boolean(bool flag) {
    const std::uint8_t byte = flag ? 1 : 0;
    return Value(xdata_new(XDATA_BOOLEAN, &byte));
}
inline Value copy_of(const xdata &value) {
    return Value(xdata_dup(&value));
}

// The characters of a string up to its first zero byte, empty when there are none.
std::string_view text_of(const xstring &string);

// Equal in type and in every bit. xdata_cmp asks for less: it takes NaNs and strings in other ways.
bool identical(const xdata &a, const xdata &b);

} // namespace varnel
