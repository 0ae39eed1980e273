// SPDX-License-Identifier: MIT
#include "ctl/keys.h"

#include "ctl/failure.h"

#include <algorithm>

namespace varnel::ctl {

namespace {

Failure wrong_key(const std::string &text, const std::string &expected) {
    return usage_failure("'" + text + "' is no such key: expected " + expected);
}

KeyParts parse(const std::string &text, const std::string &written) {
    std::string expected;
    const auto key = parse_key(text, &expected);
    if (!key)
        throw wrong_key(written, expected);
    return *key;
}

auto colons_in(const std::string &text) {
    return std::count(text.begin(), text.end(), ':');
}

} // namespace

KeyParts value_key(const std::string &text) {
    KeyParts key = parse(colons_in(text) == 1 ? ":" + text : text, text);
    if (key.name.empty())
        throw wrong_key(text, "layer:group:name, or group:name in the default layer");
    return key;
}

KeyParts group_key(const std::string &text) {
    KeyParts key = parse(colons_in(text) == 0 ? ":" + text : text, text);
    if (key.group.empty() || !key.name.empty())
        throw wrong_key(text, "layer:group, or a group in the default layer");
    return key;
}

KeyParts lock_key(const std::string &text) {
    KeyParts key = parse(text, text);
    if (key.group.empty())
        throw wrong_key(text, "layer:group or layer:group:name; :group is in the default layer");
    return key;
}

KeyParts any_key(const std::string &text) {
    return text.empty() ? KeyParts{} : parse(text, text);
}

} // namespace varnel::ctl
