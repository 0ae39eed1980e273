// SPDX-License-Identifier: MIT
#include "ctl/base64.h"

#include <cstdint>

namespace varnel::ctl {

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Three bytes, those beyond the end as zero.
std::uint32_t triple_at(std::string_view bytes, std::size_t start) {
    std::uint32_t triple = 0;
    for (std::size_t i = start; i < start + 3; ++i)
        triple = triple << 8 | (i < bytes.size() ? static_cast<std::uint8_t>(bytes[i]) : 0U);
    return triple;
}

// Four digits, '=' as zero.
std::optional<std::uint32_t> triple_of(std::string_view digits) {
    std::uint32_t triple = 0;
    for (const char digit : digits) {
        const std::size_t value = digit == '=' ? 0 : kDigits.find(digit);
        if (value == std::string_view::npos)
            return std::nullopt;
        triple = triple << 6 | static_cast<std::uint32_t>(value);
    }
    return triple;
}

} // namespace

std::string to_base64(std::string_view bytes) {
    std::string text;
    for (std::size_t start = 0; start < bytes.size(); start += 3) {
        const std::uint32_t triple = triple_at(bytes, start);
        for (unsigned shift = 18; shift <= 18; shift -= 6)
            text += kDigits[triple >> shift & 0x3fU];
    }
    const std::size_t padding = (3 - bytes.size() % 3) % 3;
    return text.replace(text.size() - padding, padding, padding, '=');
}

// Encoding the result again shows whether the padding, and the bits that nobody reads, are as they must be.
std::optional<std::string> from_base64(std::string_view text) {
    if (text.size() % 4 != 0)
        return std::nullopt;
    std::string bytes;
    for (std::size_t start = 0; start < text.size(); start += 4) {
        const auto triple = triple_of(text.substr(start, 4));
        if (!triple)
            return std::nullopt;
        for (const unsigned shift : {16U, 8U, 0U})
            bytes += static_cast<char>(*triple >> shift & 0xffU);
    }
    const std::size_t digits = text.find_last_not_of('=') + 1;
    const std::size_t padding = text.size() - digits;
    if (padding > 2 || padding > bytes.size())
        return std::nullopt;
    bytes.resize(bytes.size() - padding);
    if (to_base64(bytes) != text)
        return std::nullopt;
    return bytes;
}

} // namespace varnel::ctl
