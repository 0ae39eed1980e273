// SPDX-License-Identifier: MIT
#include "client/samples.h"

#include <cstdint>
#include <limits>

namespace demo {

namespace {

// The longest string that a message carries, its terminator not counted.
constexpr std::size_t kLongestText = 65534;

// Copies the bytes of a scalar as they are, so that floating-point numbers keep every bit.
template <class Scalar> Sample scalar_sample(const std::string &name, xdata_type type, Scalar number) {
    return {name, [type, number] { return Value(xdata_new(type, &number)); }};
}

std::string pattern(std::size_t length, unsigned seed) {
    std::string text(length, '\0');
    for (char &c : text) {
        seed = seed * 1664525U + 1013904223U;
        c = static_cast<char>('!' + (seed >> 24) % 94);
    }
    return text;
}

} // namespace

Sample text_sample(const std::string &name, const std::string &text) {
    return {name, [text] { return make_text(text); }};
}

std::vector<Sample> samples_of_all_types() {
    constexpr std::uint32_t kNotANumber = 0x7fc12345; // a quiet NaN with a payload
    constexpr std::uint64_t kSmallestDouble = 1;      // the bits of the smallest number above 0
    constexpr std::uint8_t kFalse = 0;
    constexpr std::uint8_t kTrue = 1;
    return {
        scalar_sample("altitude", XDATA_INT64, std::numeric_limits<std::int64_t>::min()),
        scalar_sample("counter", XDATA_UINT64, std::numeric_limits<std::uint64_t>::max()),
        text_sample("empty", ""),
        scalar_sample("gain", XDATA_FLOAT, -0.0F),
        text_sample("label", "Fl\xc3\xbcgel \"A\""),
        scalar_sample("lost", XDATA_FLOAT, kNotANumber),
        scalar_sample("muted", XDATA_BOOLEAN, kFalse),
        scalar_sample("offset", XDATA_INT32, std::numeric_limits<std::int32_t>::min()),
        scalar_sample("pressure", XDATA_DOUBLE, 101325.125),
        scalar_sample("serial", XDATA_UINT32, std::numeric_limits<std::uint32_t>::max()),
        scalar_sample("tiny", XDATA_DOUBLE, kSmallestDouble),
        scalar_sample("urgent", XDATA_BOOLEAN, kTrue),
    };
}

std::vector<Sample> long_samples() {
    return {
        text_sample("chapter_1", pattern(kLongestText, 1)),
        text_sample("chapter_2", pattern(kLongestText, 2)),
        text_sample("chapter_3", pattern(kLongestText - 1, 3)),
    };
}

} // namespace demo
