// SPDX-License-Identifier: MIT
// The ring copies blocks; the yardstick is a ring of the same record that copies byte by byte, under the same lock.
#include "comparison.h"

#include <varnel/transport.h>

#include <array>
#include <cstring>

namespace {

constexpr int32_t kCapacity = 4096;

void put_bytewise(circle_buf *ring, const uint8_t *data, int32_t length) {
    pthread_mutex_lock(&ring->lock);
    for (int32_t i = 0; i < length; ++i) {
        *ring->write_pos++ = data[i];
        if (ring->write_pos == ring->base + ring->capacity)
            ring->write_pos = ring->base;
    }
    ring->length += length;
    pthread_mutex_unlock(&ring->lock);
}

void get_bytewise(circle_buf *ring, uint8_t *buffer, int32_t length) {
    pthread_mutex_lock(&ring->lock);
    for (int32_t i = 0; i < length; ++i) {
        buffer[i] = *ring->read_pos++;
        if (ring->read_pos == ring->base + ring->capacity)
            ring->read_pos = ring->base;
    }
    ring->length -= length;
    pthread_mutex_unlock(&ring->lock);
}

void put_blockwise(circle_buf *ring, const uint8_t *data, int32_t length) {
    circle_buf_put(ring, data, length);
}

void get_blockwise(circle_buf *ring, uint8_t *buffer, int32_t length) {
    circle_buf_get(ring, buffer, length);
}

// Every so often the bytes wrap around the end of the ring.
template <int32_t length, auto put, auto get> void through_ring(benchmark::State &state) {
    circle_buf *const ring = circle_buf_new(kCapacity);
    std::array<uint8_t, static_cast<size_t>(length)> in;
    std::array<uint8_t, static_cast<size_t>(length)> out;
    memset(in.data(), 0x5A, in.size());
    for ([[maybe_unused]] auto _ : state) {
        put(ring, in.data(), length);
        get(ring, out.data(), length);
        benchmark::DoNotOptimize(out);
    }
    require_same(in == out, "ring");
    circle_buf_del(ring);
}

template <int32_t length> Comparison ring_comparison() {
    return {"ring, " + std::to_string(length) + " bytes in and out", "in blocks", "byte by byte",
            through_ring<length, put_blockwise, get_blockwise>, through_ring<length, put_bytewise, get_bytewise>};
}

} // namespace

std::vector<Comparison> ring_comparisons() {
    return {ring_comparison<22>(), ring_comparison<1024>()};
}
