// SPDX-License-Identifier: MIT
// Byte strings for golden tests: expected bytes spelled out in one order, whatever the machine's own.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

inline Bytes join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// An integer, most significant byte first.
template <class T> Bytes big_endian(T value) {
    Bytes bytes;
    for (size_t shift = 8 * sizeof(T); shift != 0; shift -= 8)
        bytes.push_back(static_cast<uint8_t>(value >> (shift - 8)));
    return bytes;
}

// An integer as this machine keeps it.
template <class T> Bytes host_order(T value) {
    const Bytes bytes = big_endian(value);
    return std::endian::native == std::endian::little ? Bytes(bytes.rbegin(), bytes.rend()) : bytes;
}

inline Bytes bytes_of(const std::string &text) {
    return {text.begin(), text.end()};
}

inline Bytes zeros(size_t count) {
    return Bytes(count, 0);
}

// A copy in a heap block of exactly the size, at an address of any alignment, so that a sanitizer sees every byte read
// beyond it.
class ExactBlock {
public:
    explicit ExactBlock(const Bytes &bytes, size_t misalignment = 0)
        : offset_(misalignment), block_(new uint8_t[misalignment + bytes.size()]) {
        if (!bytes.empty())
            memcpy(block_.get() + offset_, bytes.data(), bytes.size());
    }
    [[nodiscard]] const uint8_t *data() const { return block_.get() + offset_; }

private:
    size_t offset_;
    std::unique_ptr<uint8_t[]> block_;
};
