// SPDX-License-Identifier: MIT
// A second, plain decoder of control messages, which the library's is compared with. It reads a byte string that goes
// on with zeros for ever and checks each rule by itself.
#pragma once

#include "values.h"

#include <varnel/serialize.h>

#include <cerrno>
#include <optional>

struct ReferenceParam {
    uint32_t type;
    Bytes value; // a string's bytes; a scalar's bytes in host order, always 8, zeros behind
    bool operator==(const ReferenceParam &) const = default;
};

struct ReferenceMessage {
    uint32_t control;
    std::vector<ReferenceParam> params;
    bool operator==(const ReferenceMessage &) const = default;
};

class ReferenceReader {
public:
    explicit ReferenceReader(const Bytes &bytes) : bytes_(bytes) {}

    std::optional<ReferenceMessage> read() {
        if (bytes_.size() < 12 || number(0, 2) != 0x0672)
            return std::nullopt;
        ReferenceMessage result{static_cast<uint32_t>(number(2, 2)), {}};
        const uint64_t count = number(8, 4);
        if (result.control < 1 || result.control > 16 || count > 4096)
            return std::nullopt;
        for (uint64_t i = 0; i < count; ++i) {
            auto param = read_param();
            if (!param)
                return std::nullopt;
            result.params.push_back(*param);
        }
        return result;
    }

private:
    [[nodiscard]] uint8_t at(size_t position) const { return position < bytes_.size() ? bytes_[position] : 0; }

    [[nodiscard]] uint64_t number(size_t position, size_t width) const {
        uint64_t value = 0;
        for (size_t i = 0; i < width; ++i)
            value = value * 256 + at(position + i);
        return value;
    }

    std::optional<ReferenceParam> read_param() {
        static constexpr size_t kWidths[] = {0, 0, 4, 4, 8, 8, 4, 8, 1};
        if (position_ + 6 > bytes_.size())
            return std::nullopt;
        const auto type = static_cast<uint32_t>(number(position_, 2));
        const auto size = static_cast<size_t>(number(position_ + 2, 2));
        const size_t payload = position_ + 4;
        if (type < 1 || type > 8 || (size == 0 && type != 1) || payload + size > bytes_.size())
            return std::nullopt;
        position_ = payload + size;
        if (type == 1) {
            if (size != 0 && at(payload + size - 1) != 0)
                return std::nullopt;
            return ReferenceParam{1, Bytes(bytes_.begin() + static_cast<ptrdiff_t>(payload),
                                           bytes_.begin() + static_cast<ptrdiff_t>(payload + size))};
        }
        const size_t width = kWidths[type];
        const bool swap = type <= 5 && std::endian::native == std::endian::little;
        ReferenceParam param{type, zeros(8)};
        for (size_t i = 0; i < width; ++i)
            param.value[i] = at(payload + (swap ? width - 1 - i : i));
        return param;
    }

    const Bytes &bytes_;
    size_t position_ = 12;
};

// Decodes bytes, in a heap block of just their size, with the library. What it stores must agree with its result.
inline std::optional<ReferenceMessage> read_message(const Bytes &bytes, size_t misalignment = 0) {
    const ExactBlock block(bytes, misalignment);
    uint32_t control = 0xC0FFEE;
    xdata sentinel = {};
    xdata *params = &sentinel;
    errno = 0;
    const int32_t count = xdeserialize_message(block.data(), static_cast<uint32_t>(bytes.size()), &control, &params);
    if (count < 0) {
        EXPECT_EQ(count, -1);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(control, 0xC0FFEEU);
        EXPECT_EQ(params, &sentinel);
        return std::nullopt;
    }
    EXPECT_EQ(params == nullptr, count == 0);
    EXPECT_NE(params, &sentinel);
    ReferenceMessage result{control, {}};
    for (int32_t i = 0; i < count; ++i) {
        const xdata &x = params[i];
        if (x.type == XDATA_STRING) {
            EXPECT_EQ(x.value.s.str == nullptr, x.value.s.len == 0);
            result.params.push_back({x.type, string_bytes(x)});
            _xfree(x.value.s.str);
        } else {
            Bytes value(8);
            memcpy(value.data(), &x.value, 8);
            result.params.push_back({x.type, value});
        }
    }
    _xfree(params);
    return result;
}
