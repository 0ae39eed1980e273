// SPDX-License-Identifier: MIT
#include "transport/circle_buf_private.h"

#include "base/block.h"
#include "base/layout.h"
#include "base/lock.h"

using namespace varnel;

VARNEL_OFFSET32(circle_buf, base, sizeof(pthread_mutex_t));
VARNEL_OFFSET32(circle_buf, capacity, sizeof(pthread_mutex_t) + 4);
VARNEL_OFFSET32(circle_buf, length, sizeof(pthread_mutex_t) + 8);
VARNEL_OFFSET32(circle_buf, read_pos, sizeof(pthread_mutex_t) + 12);
VARNEL_OFFSET32(circle_buf, write_pos, sizeof(pthread_mutex_t) + 16);
VARNEL_SIZE32(circle_buf, sizeof(pthread_mutex_t) + 20);

namespace {

// The emptiness tests of readers look at the length before they take the lock, so it is stored and loaded atomically.
int32_t load_length(const circle_buf *ring) {
    return __atomic_load_n(&ring->length, __ATOMIC_RELAXED);
}

void store_length(circle_buf *ring, int32_t length) {
    __atomic_store_n(&ring->length, length, __ATOMIC_RELAXED);
}

size_t bytes_to_end(const circle_buf *ring, const uint8_t *position) {
    return static_cast<size_t>(ring->base + ring->capacity - position);
}

// position moved on by count bytes, at most one turn.
uint8_t *advance(const circle_buf *ring, uint8_t *position, size_t count) {
    const size_t to_end = bytes_to_end(ring, position);
    return count < to_end ? position + count : ring->base + (count - to_end);
}

// Makes the storage exactly as large as the unread bytes and count more. The unread bytes are taken to lie unbroken
// from the read position: when they wrapped, the part at the start of the storage is skipped over from now on and the
// new area, all zero, read in its place. Peers consume before they append so much, and rely on the sizes being exact.
void grow(circle_buf *ring, int32_t count) {
    const int32_t length = load_length(ring);
    const int32_t capacity = length + count;
    const ptrdiff_t read_offset = ring->read_pos - ring->base;
    auto *const base = static_cast<uint8_t *>(xrealloc(ring->base, static_cast<size_t>(capacity)));
    if (base == nullptr)
        abort();
    memset(base + ring->capacity, 0, static_cast<size_t>(capacity - ring->capacity));
    ring->base = base;
    ring->capacity = capacity;
    ring->read_pos = base + read_offset;
    ring->write_pos = advance(ring, ring->read_pos, static_cast<size_t>(length));
}

void copy_in(circle_buf *ring, const uint8_t *data, size_t count) {
    const size_t to_end = bytes_to_end(ring, ring->write_pos);
    const size_t first = count < to_end ? count : to_end;
    memcpy(ring->write_pos, data, first);
    memcpy(ring->base, data + first, count - first);
    ring->write_pos = advance(ring, ring->write_pos, count);
}

void copy_out(const circle_buf *ring, const uint8_t *from, uint8_t *buffer, size_t count) {
    const size_t to_end = bytes_to_end(ring, from);
    const size_t first = count < to_end ? count : to_end;
    memcpy(buffer, from, first);
    memcpy(buffer + first, ring->base, count - first);
}

void consume(circle_buf *ring, int32_t count) {
    ring->read_pos = advance(ring, ring->read_pos, static_cast<size_t>(count));
    store_length(ring, load_length(ring) - count);
}

// Copies at most length unread bytes out and, unless peeking, consumes them.
int32_t take(circle_buf *ring, void *buffer, int32_t length, bool peek) {
    if (ring == nullptr || buffer == nullptr || length < 1 || load_length(ring) == 0)
        return 0;
    const MutexLock lock(ring->lock);
    const int32_t unread = load_length(ring);
    const int32_t count = length < unread ? length : unread;
    copy_out(ring, ring->read_pos, static_cast<uint8_t *>(buffer), static_cast<size_t>(count));
    if (!peek)
        consume(ring, count);
    return count;
}

} // namespace

circle_buf *circle_buf_new(int32_t capacity) {
    auto *const ring = new_record<circle_buf>();
    pthread_mutex_init(&ring->lock, nullptr);
    ring->capacity = capacity < CIRCLE_BUF_MIN ? CIRCLE_BUF_MIN : capacity;
    ring->base = new_bytes<uint8_t>(static_cast<size_t>(ring->capacity));
    ring->read_pos = ring->write_pos = ring->base;
    return ring;
}

int32_t circle_buf_put(circle_buf *ring, const void *data, int32_t length) {
    if (ring == nullptr || data == nullptr || length < 1)
        return 0;
    const MutexLock lock(ring->lock);
    const int32_t unread = load_length(ring);
    if (length > INT32_MAX - unread)
        return 0;
    if (ring->capacity - unread < length)
        grow(ring, length);
    copy_in(ring, static_cast<const uint8_t *>(data), static_cast<size_t>(length));
    store_length(ring, unread + length);
    return length;
}

int32_t circle_buf_get(circle_buf *ring, void *buffer, int32_t length) {
    return take(ring, buffer, length, false);
}

int32_t circle_buf_get_peek(circle_buf *ring, void *buffer, int32_t length) {
    return take(ring, buffer, length, true);
}

int32_t circle_buf_data_len(circle_buf *ring) {
    if (ring == nullptr)
        return 0;
    const MutexLock lock(ring->lock);
    return load_length(ring);
}

void circle_buf_clear(circle_buf *ring) {
    if (ring == nullptr)
        return;
    const MutexLock lock(ring->lock);
    ring->read_pos = ring->write_pos = ring->base;
    store_length(ring, 0);
}

void circle_buf_del(circle_buf *ring) {
    if (ring == nullptr)
        return;
    pthread_mutex_destroy(&ring->lock);
    _xfree(ring->base);
    _xfree(ring);
}

static bool starts_with(const circle_buf *ring, const uint8_t *position, const PacketMagic &magic) {
    PacketMagic bytes;
    copy_out(ring, position, bytes, sizeof bytes);
    return memcmp(bytes, magic, sizeof bytes) == 0;
}

// Offset among the unread bytes of the first magic that starts before offset end, or end. sizeof magic more bytes than
// end must be unread.
static size_t find_magic(const circle_buf *ring, size_t end, const PacketMagic &magic) {
    size_t offset = 0;
    while (offset < end) {
        const uint8_t *const position = advance(ring, ring->read_pos, offset);
        const size_t to_end = bytes_to_end(ring, position);
        const size_t run = end - offset < to_end ? end - offset : to_end;
        const void *const hit = memchr(position, magic[0], run);
        if (hit == nullptr) {
            offset += run;
            continue;
        }
        const auto *const candidate = static_cast<const uint8_t *>(hit);
        offset += static_cast<size_t>(candidate - position);
        if (starts_with(ring, candidate, magic))
            return offset;
        ++offset;
    }
    return end;
}

void varnel::circle_buf_resynchronise(circle_buf *ring, const PacketMagic &magic, int32_t fewest) {
    const MutexLock lock(ring->lock);
    const int32_t unread = load_length(ring);
    if (unread >= fewest)
        consume(ring, static_cast<int32_t>(find_magic(ring, static_cast<size_t>(unread - fewest) + 1, magic)));
}
