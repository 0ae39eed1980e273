// SPDX-License-Identifier: MIT
#include "ctl/value_json.h"

#include "common/text.h"
#include "common/value_text.h"
#include "ctl/base64.h"
#include "ctl/failure.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace varnel::ctl {

namespace {

constexpr const char *kBase64 = "base64";

// The digits of a float, as few as tell it from its neighbours, and not the many of the same number as a double. There
// are 15 at most, so that they come out of the double unchanged, and parse_value makes the same float of them.
double short_double(const xdata &value) {
    return std::strtod(print_value(value).c_str(), nullptr);
}

Json json_of_string(const xstring &string) {
    const std::string_view characters = characters_of(string);
    return is_utf8(characters) ? std::string(characters) : to_base64(characters);
}

Json json_of_real(const xdata &value, double number) {
    return std::isfinite(number) ? Json(number) : Json(print_value(value));
}

Failure wrong_value(const std::string &where, const std::string &what) {
    return usage_failure(where + ": " + what);
}

Value parse_text(const std::string &text, xdata_type type, const std::string &where) {
    std::string expected;
    Value value = parse_value(text, type, &expected);
    if (value == nullptr)
        throw wrong_value(where, "'" + text + "' is no " + name_of_type(type) + ": expected " + expected);
    return value;
}

Value string_of_json(const Json &json, const std::string &encoding, const std::string &where) {
    if (!json.is_string())
        throw wrong_value(where, "a string must be in quotes");
    const auto &text = json.get_ref<const std::string &>();
    if (encoding.empty())
        return string_of_characters(text);
    const auto bytes = encoding == kBase64 ? from_base64(text) : std::nullopt;
    if (!bytes)
        throw wrong_value(where, encoding == kBase64 ? "the text is no base64" : R"(the only encoding is "base64")");
    return string_of_characters(*bytes);
}

// dump gives back whole numbers as they were written, and of others the fewest digits that make the same double.
Value number_of_json(const Json &json, xdata_type type, const std::string &where) {
    const bool real = type == XDATA_FLOAT || type == XDATA_DOUBLE;
    if (!real && json.is_number_float())
        throw wrong_value(where,
                          json.dump() + " is no " + name_of_type(type) + ": expected a whole number in its range");
    return parse_text(json.dump(), type, where);
}

Value typed_value(const Json &json, xdata_type type, const std::string &encoding, const std::string &where) {
    if (type == XDATA_STRING)
        return string_of_json(json, encoding, where);
    if (!encoding.empty())
        throw wrong_value(where, "only strings have an encoding");
    if (json.is_string())
        return parse_text(json.get<std::string>(), type, where);
    if (json.is_boolean() && type == XDATA_BOOLEAN)
        return make_boolean(json.get<bool>());
    if (!json.is_number() || type == XDATA_BOOLEAN)
        throw wrong_value(where, json.dump() + " is no " + name_of_type(type));
    return number_of_json(json, type, where);
}

std::string text_member(const Json &object, const char *name, const std::string &where) {
    const auto member = object.find(name);
    if (member == object.end())
        return "";
    if (!member->is_string())
        throw wrong_value(where, std::string(1, '"') + name + R"(" must be a string)");
    return member->get<std::string>();
}

Value value_of_object(const Json &object, const std::string &where) {
    for (const auto &[name, member] : object.items()) {
        if (name != "type" && name != "value" && name != "encoding")
            throw wrong_value(where, R"(a value has the members "type", "value" and "encoding", not ")" + name + '"');
    }
    const auto type = type_of_name(text_member(object, "type", where));
    const auto value = object.find("value");
    if (!type || value == object.end())
        throw wrong_value(where, std::string(R"(expected {"type": TYPE, "value": ...} with a TYPE of )") + kTypeNames);
    return typed_value(*value, *type, text_member(object, "encoding", where), where);
}

} // namespace

std::string_view characters_of(const xstring &string) {
    if (string.str == nullptr || string.len == 0)
        return {};
    const std::string_view all(string.str, string.len);
    return all.back() == '\0' ? all.substr(0, all.size() - 1) : all;
}

Value string_of_characters(std::string_view characters) {
    Value value(static_cast<xdata *>(xmalloc0(sizeof(xdata))));
    auto *const bytes = static_cast<char *>(xmalloc0(characters.size() + 1));
    std::memcpy(bytes, characters.data(), characters.size());
    xdata_set_string(value.get(), bytes, static_cast<std::uint32_t>(characters.size() + 1));
    return value;
}

Json json_of(const xdata &value) {
    switch (value.type) {
    case XDATA_STRING:
        return json_of_string(value.value.s);
    case XDATA_INT32:
        return value.value.i32;
    case XDATA_UINT32:
        return value.value.u32;
    case XDATA_INT64:
        return value.value.i64;
    case XDATA_UINT64:
        return value.value.u64;
    case XDATA_FLOAT:
        return json_of_real(value, short_double(value));
    case XDATA_DOUBLE:
        return json_of_real(value, value.value.d);
    default:
        return value.value.b != 0;
    }
}

void put_value(Json &object, const xdata &value) {
    object["type"] = name_of_type(value.type);
    object["value"] = json_of(value);
    if (value.type == XDATA_STRING && !is_utf8(characters_of(value.value.s)))
        object["encoding"] = kBase64;
}

Value value_of_json(const Json &json, const std::string &where) {
    if (json.is_object())
        return value_of_object(json, where);
    if (json.is_string())
        return string_of_json(json, "", where);
    if (json.is_boolean())
        return make_boolean(json.get<bool>());
    if (json.is_number_float())
        return number_of_json(json, XDATA_DOUBLE, where);
    if (json.is_number())
        return number_of_json(json, guess_type(json.dump()), where);
    throw wrong_value(where, json.is_null() ? "null is no value" : "a list is no value");
}

} // namespace varnel::ctl
