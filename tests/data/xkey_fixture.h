// SPDX-License-Identifier: MIT
// What the tests of keys and pairs share.
#pragma once

#include <varnel/memory.h>
#include <varnel/xkey.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace xkey_test {

struct FreeKey {
    void operator()(xkey *key) const { xkey_free(key); }
};
using Key = std::unique_ptr<xkey, FreeKey>;

// The text form, released.
inline std::string text_of(const xkey *key) {
    char *const text = xkey_to_string(key);
    if (text == nullptr)
        return "NULL";
    std::string copy(text);
    _xfree(text);
    return copy;
}

} // namespace xkey_test
