// SPDX-License-Identifier: MIT
#include "common/number_text.h"

#include "common/text.h"

#include <array>
#include <bit>
#include <cctype>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <new>

#include <locale.h> // newlocale (POSIX)

namespace varnel {

namespace {

// What differs between the two types of IEEE 754: bits of every NaN, and of the plain one.
template <class Bits> struct Format;

template <> struct Format<std::uint32_t> {
    using Number = float;
    static constexpr std::uint32_t kInfinity = 0x7f800000;
    static constexpr std::uint32_t kPlainNan = 0x7fc00000;
    static constexpr std::uint32_t kSign = 0x80000000;
    static Number read(const char *text, char **end, locale_t locale) { return strtof_l(text, end, locale); }
};

template <> struct Format<std::uint64_t> {
    using Number = double;
    static constexpr std::uint64_t kInfinity = 0x7ff0000000000000;
    static constexpr std::uint64_t kPlainNan = 0x7ff8000000000000;
    static constexpr std::uint64_t kSign = 0x8000000000000000;
    static Number read(const char *text, char **end, locale_t locale) { return strtod_l(text, end, locale); }
};

template <class Bits> bool is_nan(Bits bits) {
    return (bits & ~Format<Bits>::kSign) > Format<Bits>::kInfinity;
}

locale_t c_locale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    if (locale == nullptr)
        throw std::bad_alloc();
    return locale;
}

template <class Bits> std::optional<Bits> read_nan_bits(std::string_view text) {
    constexpr std::string_view kStart = "nan(0x";
    if (!text.starts_with(kStart) || !text.ends_with(')'))
        return std::nullopt;
    const auto bits = read_digits(text.substr(kStart.size(), text.size() - kStart.size() - 1), 16);
    if (!bits || *bits > std::numeric_limits<Bits>::max() || !is_nan(static_cast<Bits>(*bits)))
        return std::nullopt;
    return static_cast<Bits>(*bits);
}

// nan, with a sign or bits, in lower case.
template <class Bits> std::optional<Bits> read_nan(std::string_view name) {
    if (name == "nan" || name == "+nan")
        return Format<Bits>::kPlainNan;
    if (name == "-nan")
        return Format<Bits>::kPlainNan | Format<Bits>::kSign;
    return read_nan_bits<Bits>(name);
}

// A result of infinity with an error is a number that is too large; one of about zero is the nearest number still.
template <class Bits> std::optional<Bits> read_number(std::string_view text) {
    const std::string terminated = in_lower_case(text);
    if (terminated.find("nan") != std::string::npos)
        return read_nan<Bits>(terminated);
    if (text.empty() || std::isspace(static_cast<unsigned char>(text.front())) != 0)
        return std::nullopt;
    char *end = nullptr;
    errno = 0;
    const auto number = Format<Bits>::read(terminated.c_str(), &end, c_locale());
    if (end != terminated.c_str() + terminated.size() || (errno == ERANGE && std::isinf(number)))
        return std::nullopt;
    return std::bit_cast<Bits>(number);
}

template <class Bits> std::string print_nan(Bits bits) {
    if (bits == Format<Bits>::kPlainNan)
        return "nan";
    std::array<char, 2 * sizeof(Bits)> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), bits, 16);
    return "nan(0x" + std::string(digits.data(), result.ptr) + ")";
}

template <class Bits> std::string print_number(Bits bits) {
    if (is_nan(bits))
        return print_nan(bits);
    std::array<char, 64> text{};
    const auto number = std::bit_cast<typename Format<Bits>::Number>(bits);
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), result.ptr};
}

} // namespace

std::optional<std::uint32_t> read_float(std::string_view text) {
    return read_number<std::uint32_t>(text);
}

std::optional<std::uint64_t> read_double(std::string_view text) {
    return read_number<std::uint64_t>(text);
}

std::string print_float(std::uint32_t bits) {
    return print_number(bits);
}

std::string print_double(std::uint64_t bits) {
    return print_number(bits);
}

} // namespace varnel
