// SPDX-License-Identifier: MIT
// A ring for tests, in terms of byte strings.
#pragma once

#include "wire.h"

#include <algorithm>

class Ring {
public:
    explicit Ring(int32_t capacity) : ring_(circle_buf_new(capacity)) {}
    ~Ring() { circle_buf_del(ring_); }
    Ring(const Ring &) = delete;
    Ring &operator=(const Ring &) = delete;

    [[nodiscard]] circle_buf *get() const { return ring_; }
    circle_buf *operator->() const { return ring_; }

    int32_t put(const Bytes &bytes) const {
        const ExactBlock block(bytes);
        return circle_buf_put(ring_, block.data(), static_cast<int32_t>(bytes.size()));
    }
    [[nodiscard]] Bytes get(int32_t length) const { return take(circle_buf_get, length); }
    [[nodiscard]] Bytes peek(int32_t length) const { return take(circle_buf_get_peek, length); }
    [[nodiscard]] int32_t data_len() const { return circle_buf_data_len(ring_); }

    // Moves both positions of an empty ring on.
    void advance(int32_t count) const {
        put(Bytes(static_cast<size_t>(count), 0xEE));
        EXPECT_EQ(get(count).size(), static_cast<size_t>(count));
    }

private:
    Bytes take(int32_t (*function)(circle_buf *, void *, int32_t), int32_t length) const {
        Bytes bytes(static_cast<size_t>(length) + 1, 0xCD);
        const int32_t count = function(ring_, bytes.data(), length);
        EXPECT_LE(count, length);
        EXPECT_TRUE(std::all_of(bytes.begin() + count, bytes.end(), [](uint8_t byte) { return byte == 0xCD; }))
            << "written beyond the count";
        bytes.resize(static_cast<size_t>(count));
        return bytes;
    }

    circle_buf *ring_;
};
