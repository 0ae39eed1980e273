// SPDX-License-Identifier: MIT
// Bytes without a packet in front of one: the parser searches for the magic; the yardstick peeks at the front of the
// ring and drops one byte, again and again, with the ring's public functions, before it calls the parser.
#include "comparison.h"

#include <varnel/memory.h>
#include <varnel/transport.h>

#include <cstring>

namespace {

constexpr size_t kNoise = 1000;

// A whole message of 6 bytes in one packet.
constexpr uint8_t kPacket[] = {'V', 'A', 'R', 'N', 'E', 'L', 0, 0, 0,   7,   0,   0,   0,   1,
                               0,   0,   0,   1,   0,   0,   0, 6, 'a', 'b', 'c', 'd', 'e', 'f'};

std::vector<uint8_t> noise_and_packet(uint8_t (*noise_at)(size_t)) {
    std::vector<uint8_t> bytes(kNoise);
    for (size_t i = 0; i < kNoise; ++i)
        bytes[i] = noise_at(i);
    bytes.insert(bytes.end(), kPacket, kPacket + sizeof kPacket);
    return bytes;
}

// Without any character of the magic, and full of its beginnings.
uint8_t plain_noise(size_t i) {
    return static_cast<uint8_t>('a' + i % 26);
}

uint8_t misleading_noise(size_t i) {
    return static_cast<uint8_t>(PACKET_MAGIC[i % 3]);
}

void skip_naively(circle_buf *ring) {
    char front[PACKET_MAGIC_SIZE];
    char dropped = 0;
    while (circle_buf_data_len(ring) > PACKET_HEADER_SIZE && circle_buf_get_peek(ring, front, sizeof front) != 0 &&
           memcmp(front, PACKET_MAGIC, sizeof front) != 0)
        circle_buf_get(ring, &dropped, 1);
}

template <bool naive, uint8_t (*noise_at)(size_t)> void resynchronise(benchmark::State &state) {
    client *const c = client_new(CLIENT_STREAM, 0, nullptr); // receives only: no acknowledgement follows one packet
    const std::vector<uint8_t> bytes = noise_and_packet(noise_at);
    for ([[maybe_unused]] auto _ : state) {
        circle_buf_put(c->recv_buf, bytes.data(), static_cast<int32_t>(bytes.size()));
        if constexpr (naive)
            skip_naively(c->recv_buf);
        uint32_t id = 0;
        uint8_t *data = nullptr;
        const int32_t length = parse_circle_data(c, &id, &data);
        require_same(length == 6 && id == 7 && circle_buf_data_len(c->recv_buf) == 0, "parser");
        _xfree(data);
    }
    client_free(c);
}

template <uint8_t (*noise_at)(size_t)> Comparison parser_comparison(const char *work) {
    return {work, "search", "peek and drop one", resynchronise<false, noise_at>, resynchronise<true, noise_at>};
}

} // namespace

std::vector<Comparison> parser_comparisons() {
    return {parser_comparison<plain_noise>("parser, 1000 bytes of noise"),
            parser_comparison<misleading_noise>("parser, 1000 misleading bytes")};
}
