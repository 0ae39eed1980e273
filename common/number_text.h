// SPDX-License-Identifier: MIT
// Numbers as text, the same in every locale.
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace varnel {

// Digits of that base and nothing else; nothing when there are none, or the number is too large.
inline std::optional<std::uint64_t> read_digits(std::string_view digits, int base) {
    std::uint64_t number = 0;
    const char *const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number, base);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return number;
}

// An integer in decimal, or in hexadecimal behind 0x, with a sign where the type has one, and nothing around it.
template <std::integral Integer> std::optional<Integer> read_integer(std::string_view text) {
    bool negative = false;
    if (std::is_signed_v<Integer> && !text.empty() && (text[0] == '-' || text[0] == '+')) {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    const bool hexadecimal = text.starts_with("0x");
    const auto magnitude = read_digits(hexadecimal ? text.substr(2) : text, hexadecimal ? 16 : 10);
    const std::uint64_t most = static_cast<std::uint64_t>(std::numeric_limits<Integer>::max()) + (negative ? 1U : 0U);
    if (!magnitude || *magnitude > most)
        return std::nullopt;
    return static_cast<Integer>(negative ? 0 - *magnitude : *magnitude);
}

// The bits of the nearest number, rounded once, of text as strtod (ISO C) reads it in the locale "C", without spaces in
// front. NaNs: nan and -nan, and nan(0x...) with the bits of the whole number. Nothing for other text and for numbers
// that are too large. Bits, because floating-point registers would change signalling NaNs on some targets.
std::optional<std::uint32_t> read_float(std::string_view text);
std::optional<std::uint64_t> read_double(std::string_view text);

// The shortest text that is read as the same bits.
std::string print_float(std::uint32_t bits);
std::string print_double(std::uint64_t bits);

} // namespace varnel
