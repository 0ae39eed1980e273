// SPDX-License-Identifier: MIT
#include "common/value_text.h"

#include "common/number_text.h"
#include "common/text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>

namespace varnel {

namespace {

constexpr const char *kTypeNames[] = {"string", "int32", "uint32", "int64", "uint64", "float", "double", "boolean"};
static_assert(std::size(kTypeNames) == XDATA_TYPE_END - XDATA_STRING);

struct BooleanWord {
    const char *text;
    std::uint8_t byte;
};

constexpr BooleanWord kBooleans[] = {{"true", 1},  {"yes", 1}, {"on", 1},  {"1", 1},
                                     {"false", 0}, {"no", 0},  {"off", 0}, {"0", 0}};

template <class Scalar> Value make_scalar(xdata_type type, std::optional<Scalar> scalar) {
    return Value(scalar ? xdata_new(type, &*scalar) : nullptr);
}

template <class Integer> std::string integers() {
    return "a decimal or 0x hexadecimal integer from " + std::to_string(std::numeric_limits<Integer>::min()) + " to " +
           std::to_string(std::numeric_limits<Integer>::max());
}

std::optional<std::uint8_t> read_boolean(std::string_view text) {
    const std::string word = in_lower_case(text);
    const auto *const found = std::find_if(std::begin(kBooleans), std::end(kBooleans),
                                           [&](const BooleanWord &row) { return row.text == word; });
    return found != std::end(kBooleans) ? std::optional(found->byte) : std::nullopt;
}

// A zero byte would end the string.
Value parse_string(std::string_view text) {
    return text.find('\0') == std::string_view::npos ? make_string(text) : nullptr;
}

Value parse(std::string_view text, xdata_type type) {
    switch (type) {
    case XDATA_STRING:
        return parse_string(text);
    case XDATA_INT32:
        return make_scalar(type, read_integer<std::int32_t>(text));
    case XDATA_UINT32:
        return make_scalar(type, read_integer<std::uint32_t>(text));
    case XDATA_INT64:
        return make_scalar(type, read_integer<std::int64_t>(text));
    case XDATA_UINT64:
        return make_scalar(type, read_integer<std::uint64_t>(text));
    case XDATA_FLOAT:
        return make_scalar(type, read_float(text));
    case XDATA_DOUBLE:
        return make_scalar(type, read_double(text));
    case XDATA_BOOLEAN:
        return make_scalar(type, read_boolean(text));
    default:
        return nullptr;
    }
}

std::string expected_of(xdata_type type) {
    switch (type) {
    case XDATA_STRING:
        return "text without zero bytes";
    case XDATA_INT32:
        return integers<std::int32_t>();
    case XDATA_UINT32:
        return integers<std::uint32_t>();
    case XDATA_INT64:
        return integers<std::int64_t>();
    case XDATA_UINT64:
        return integers<std::uint64_t>();
    case XDATA_FLOAT:
        return "a number up to 3.4028235e+38, inf or nan";
    case XDATA_DOUBLE:
        return "a number up to 1.7976931348623157e+308, inf or nan";
    case XDATA_BOOLEAN:
        return "true, yes, on or 1, or false, no, off or 0";
    default:
        return "a type from string to boolean";
    }
}

// ---- guessing

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// Takes the digits that text starts with off it, and returns how many there were.
std::size_t take_digits(std::string_view &text) {
    const auto *const end = std::find_if_not(text.begin(), text.end(), is_digit);
    const auto count = static_cast<std::size_t>(end - text.begin());
    text.remove_prefix(count);
    return count;
}

bool take(std::string_view &text, std::string_view any_of) {
    const bool there = !text.empty() && any_of.find(text.front()) != std::string_view::npos;
    if (there)
        text.remove_prefix(1);
    return there;
}

enum class Shape { other, integer, decimal };

// Whether text is an integer, or a number with a point or an exponent. Codes such as 007 are neither.
Shape shape_of(std::string_view text) {
    take(text, "+-");
    if (text.size() > 1 && text[0] == '0' && is_digit(text[1]))
        return Shape::other;
    std::size_t digits = take_digits(text);
    if (text.empty())
        return digits != 0 ? Shape::integer : Shape::other;
    if (take(text, "."))
        digits += take_digits(text);
    if (take(text, "eE")) {
        take(text, "+-");
        if (take_digits(text) == 0)
            return Shape::other;
    }
    return digits != 0 && text.empty() ? Shape::decimal : Shape::other;
}

} // namespace

std::optional<xdata_type> type_of_name(std::string_view name) {
    for (xdata_type type = XDATA_STRING; type < XDATA_TYPE_END; ++type)
        if (name == name_of_type(type) || name == xdata_type_as_char(type))
            return type;
    return std::nullopt;
}

const char *name_of_type(xdata_type type) {
    return type >= XDATA_STRING && type < XDATA_TYPE_END ? kTypeNames[type - XDATA_STRING] : xdata_type_as_char(type);
}

xdata_type guess_type(std::string_view text) {
    if (const std::string word = in_lower_case(text); word == "true" || word == "false")
        return XDATA_BOOLEAN;
    const Shape shape = shape_of(text);
    if (shape == Shape::decimal && read_double(text))
        return XDATA_DOUBLE;
    if (shape != Shape::integer)
        return XDATA_STRING;
    if (read_integer<std::int32_t>(text))
        return XDATA_INT32;
    if (read_integer<std::int64_t>(text))
        return XDATA_INT64;
    return read_integer<std::uint64_t>(text) ? XDATA_UINT64 : XDATA_STRING;
}

Value parse_value(std::string_view text, xdata_type type, std::string *error) {
    Value value = parse(text, type);
    if (value == nullptr && error != nullptr)
        *error = expected_of(type);
    return value;
}

std::string print_value(const xdata &value) {
    std::uint32_t word = 0;
    std::uint64_t double_word = 0;
    std::memcpy(&word, &value.value, sizeof word);
    std::memcpy(&double_word, &value.value, sizeof double_word);
    switch (value.type) {
    case XDATA_STRING:
        return std::string(text_of(value.value.s));
    case XDATA_INT32:
        return std::to_string(value.value.i32);
    case XDATA_UINT32:
        return std::to_string(value.value.u32);
    case XDATA_INT64:
        return std::to_string(value.value.i64);
    case XDATA_UINT64:
        return std::to_string(value.value.u64);
    case XDATA_FLOAT:
        return print_float(word);
    case XDATA_DOUBLE:
        return print_double(double_word);
    case XDATA_BOOLEAN:
        return value.value.b != 0 ? "true" : "false";
    default:
        return name_of_type(value.type);
    }
}

} // namespace varnel
