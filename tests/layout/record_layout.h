// SPDX-License-Identifier: MIT
// Where the fields of the public records lie, as numbers: programs on the device are built against these.
#pragma once

#include <varnel/varnel.h>

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>

namespace layout {

// Three kinds of hosts: 32-bit pointers with 64-bit integers at multiples of 4 (i386) or of 8 (ARM), and LP64.
struct Numbers {
    size_t i386, arm, lp64;
};

struct Row {
    const char *what;
    size_t actual;
    Numbers expected;
};

struct AlignmentOf64 {
    char first;
    uint64_t second;
};

constexpr size_t expected_here(const Numbers &numbers) {
    if (sizeof(void *) == 8)
        return numbers.lp64;
    return offsetof(AlignmentOf64, second) == 4 ? numbers.i386 : numbers.arm;
}

// The C library decides on the size of its locks.
inline constexpr size_t kRwlock = sizeof(pthread_rwlock_t);
inline constexpr size_t kMutex = sizeof(pthread_mutex_t);

// FIELD32 is for records that all 32-bit hosts lay out alike.
#define FIELD(record, field, i386, arm, lp64)                                                                          \
    Row {                                                                                                              \
#record "." #field, offsetof(record, field), {                                                                 \
            i386, arm, lp64                                                                                            \
        }                                                                                                              \
    }
#define FIELD32(record, field, ilp32, lp64) FIELD(record, field, ilp32, ilp32, lp64)
#define WIDTH(record, field, ilp32, lp64)                                                                              \
    Row {                                                                                                              \
        "sizeof " #record "." #field, sizeof(record::field), {                                                         \
            ilp32, ilp32, lp64                                                                                         \
        }                                                                                                              \
    }
#define SIZE(record, i386, arm, lp64)                                                                                  \
    Row {                                                                                                              \
        "sizeof " #record, sizeof(record), {                                                                           \
            i386, arm, lp64                                                                                            \
        }                                                                                                              \
    }
#define SIZE32(record, ilp32, lp64) SIZE(record, ilp32, ilp32, lp64)

inline constexpr Row kOffsets[] = {
    FIELD32(hashmap, hash_fn, 0, 0),
    FIELD32(hashmap, compare_fn, 4, 8),
    FIELD32(hashmap, order_first, 8, 16),
    FIELD32(hashmap, order_last, 12, 24),
    FIELD32(hashmap, buckets, 16, 32),
    FIELD32(hashmap, bucket_count, 20, 40),
    FIELD32(hashmap, entry_count, 24, 44),
    FIELD32(hashmap, pooled, 28, 48),
    FIELD32(hashmap, lock, 32, 56),
    FIELD32(hashmap, inline_buckets, 32 + kRwlock, 56 + kRwlock),
    FIELD32(hashmap_entry, key, 0, 0),
    FIELD32(hashmap_entry, value, 4, 8),
    FIELD32(hashmap_entry, chain_next, 8, 16),
    FIELD32(hashmap_entry, chain_prev, 12, 24),
    FIELD32(hashmap_entry, order_next, 16, 32),
    FIELD32(hashmap_entry, order_prev, 20, 40),
    FIELD32(xarray, items, 0, 0),
    FIELD32(xarray, count, 4, 8),
    FIELD32(xlist, data, 0, 0),
    FIELD32(xlist, next, 4, 8),
    FIELD32(xlist, tail, 8, 16),
    FIELD(xlist, count, 12, 16, 24),
    FIELD32(xstring, str, 0, 0),
    FIELD32(xstring, len, 4, 8),
    FIELD32(xdata_value, s, 0, 0),
    FIELD32(xdata_value, i32, 0, 0),
    FIELD32(xdata_value, u32, 0, 0),
    FIELD32(xdata_value, i64, 0, 0),
    FIELD32(xdata_value, u64, 0, 0),
    FIELD32(xdata_value, f, 0, 0),
    FIELD32(xdata_value, d, 0, 0),
    FIELD32(xdata_value, b, 0, 0),
    FIELD32(xdata, type, 0, 0),
    FIELD32(xdata, value, 8, 8),
    FIELD32(xkey, layer, 0, 0),
    FIELD32(xkey, group, 8, 16),
    FIELD32(xkey, name, 16, 32),
    FIELD32(xpair, key, 0, 0),
    FIELD32(xpair, value, 4, 8),
    FIELD32(xpair, user_data, 8, 16),
    FIELD32(circle_buf, lock, 0, 0),
    FIELD32(circle_buf, base, kMutex, kMutex),
    FIELD32(circle_buf, capacity, kMutex + 4, kMutex + 8),
    FIELD32(circle_buf, length, kMutex + 8, kMutex + 12),
    FIELD32(circle_buf, read_pos, kMutex + 12, kMutex + 16),
    FIELD32(circle_buf, write_pos, kMutex + 16, kMutex + 24),
    FIELD32(msgid, send_id, 0, 0),
    FIELD32(msgid, reserved, 4, 4),
    FIELD32(msgid, send_lock, 12, 16),
    FIELD32(msgid, recv_lock, 12 + kRwlock, 16 + kRwlock),
    FIELD32(msgid, recv_ids, 12 + 2 * kRwlock, 16 + 2 * kRwlock),
    FIELD32(msginfo_packet, data, 0, 0),
    FIELD32(msginfo_packet, length, 1024, 1024),
    FIELD32(msginfo, packet_count, 0, 0),
    FIELD32(msginfo, flags, 4, 8),
    FIELD32(msginfo, data_len, 8, 16),
    FIELD32(msginfo, packets, 12, 24),
    FIELD32(client, type, 0, 0),
    FIELD(client, peer, 4, 8, 8),
    FIELD(client, sock, 12, 16, 16),
    FIELD(client, msgids, 16, 20, 24),
    FIELD(client, recv_buf, 20, 24, 32),
    FIELD(client, recv_map, 24, 28, 40),
    FIELD(client, send_map, 28, 32, 48),
    FIELD32(xdictionary, ref_count, 0, 0),
    FIELD32(xdictionary, count, 4, 4),
    FIELD32(xdictionary, size, 8, 8),
    FIELD32(xdictionary, values, 12, 16),
    FIELD32(xdictionary, keys, 16, 24),
    FIELD32(xdictionary, hashes, 20, 32),
    FIELD32(xdictionary, types, 24, 40),
    FIELD32(xdictionary, parent, 28, 48),
    FIELD32(backend_function, symbol, 0, 0),
    FIELD32(backend_function, address, 4, 8),
    FIELD32(backend, name, 0, 0),
    FIELD32(backend, handle, 4, 8),
    FIELD32(backend, functions, 8, 16),
    FIELD32(backend, config, 12, 24),
    FIELD32(backend, user_data, 16, 32),
    FIELD32(layer, name, 0, 0),
    FIELD32(layer, is_default, 4, 8),
    FIELD32(layer, backend_count, 8, 12),
    FIELD32(layer, backends, 12, 16),
    FIELD32(layer, config, 16, 24),
};

inline constexpr Row kSizes[] = {
    SIZE32(hashmap, 32 + kRwlock + 124, 56 + kRwlock + 248),
    SIZE32(hashmap_entry, 24, 48),
    SIZE32(xarray, 8, 16),
    SIZE(xlist, 20, 24, 32),
    SIZE32(xstring, 8, 16),
    SIZE32(xdata_value, 8, 16),
    SIZE32(xdata, 16, 24),
    SIZE32(xkey, 24, 48),
    SIZE32(xpair, 12, 24),
    SIZE32(circle_buf, kMutex + 20, kMutex + 32),
    SIZE32(msgid, 16 + 2 * kRwlock, 24 + 2 * kRwlock),
    SIZE32(msginfo_packet, 1028, 1028),
    SIZE32(msginfo, 16, 32),
    SIZE(client, 32, 40, 56),
    SIZE32(xdictionary, 32, 56),
    SIZE32(backend_function, 8, 16),
    SIZE32(backend, 28, 56),
    SIZE32(layer, 20, 32),
};

inline constexpr Row kWidths[] = {
    WIDTH(hashmap, hash_fn, 4, 8),
    WIDTH(hashmap, compare_fn, 4, 8),
    WIDTH(hashmap, order_first, 4, 8),
    WIDTH(hashmap, order_last, 4, 8),
    WIDTH(hashmap, buckets, 4, 8),
    WIDTH(hashmap, bucket_count, 4, 4),
    WIDTH(hashmap, entry_count, 4, 4),
    WIDTH(hashmap, pooled, 1, 1),
    WIDTH(hashmap, lock, kRwlock, kRwlock),
    WIDTH(hashmap, inline_buckets, 124, 248),
    WIDTH(hashmap_entry, key, 4, 8),
    WIDTH(hashmap_entry, value, 4, 8),
    WIDTH(hashmap_entry, chain_next, 4, 8),
    WIDTH(hashmap_entry, chain_prev, 4, 8),
    WIDTH(hashmap_entry, order_next, 4, 8),
    WIDTH(hashmap_entry, order_prev, 4, 8),
    WIDTH(xarray, items, 4, 8),
    WIDTH(xarray, count, 2, 2),
    WIDTH(xlist, data, 4, 8),
    WIDTH(xlist, next, 4, 8),
    WIDTH(xlist, tail, 4, 8),
    WIDTH(xlist, count, 8, 8),
    WIDTH(xstring, str, 4, 8),
    WIDTH(xstring, len, 4, 4),
    WIDTH(xdata_value, s, 8, 16),
    WIDTH(xdata_value, i32, 4, 4),
    WIDTH(xdata_value, u32, 4, 4),
    WIDTH(xdata_value, i64, 8, 8),
    WIDTH(xdata_value, u64, 8, 8),
    WIDTH(xdata_value, f, 4, 4),
    WIDTH(xdata_value, d, 8, 8),
    WIDTH(xdata_value, b, 1, 1),
    WIDTH(xdata, type, 4, 4),
    WIDTH(xdata, value, 8, 16),
    WIDTH(xkey, layer, 8, 16),
    WIDTH(xkey, group, 8, 16),
    WIDTH(xkey, name, 8, 16),
    WIDTH(xpair, key, 4, 8),
    WIDTH(xpair, value, 4, 8),
    WIDTH(xpair, user_data, 4, 8),
    WIDTH(circle_buf, lock, kMutex, kMutex),
    WIDTH(circle_buf, base, 4, 8),
    WIDTH(circle_buf, capacity, 4, 4),
    WIDTH(circle_buf, length, 4, 4),
    WIDTH(circle_buf, read_pos, 4, 8),
    WIDTH(circle_buf, write_pos, 4, 8),
    WIDTH(msgid, send_id, 4, 4),
    WIDTH(msgid, reserved, 8, 8),
    WIDTH(msgid, send_lock, kRwlock, kRwlock),
    WIDTH(msgid, recv_lock, kRwlock, kRwlock),
    WIDTH(msgid, recv_ids, 4, 8),
    WIDTH(msginfo_packet, data, 1024, 1024),
    WIDTH(msginfo_packet, length, 4, 4),
    WIDTH(msginfo, packet_count, 4, 4),
    WIDTH(msginfo, flags, 4, 8),
    WIDTH(msginfo, data_len, 4, 4),
    WIDTH(msginfo, packets, 4, 8),
    WIDTH(client, type, 4, 4),
    WIDTH(client, peer, 8, 8),
    WIDTH(client, sock, 4, 4),
    WIDTH(client, msgids, 4, 8),
    WIDTH(client, recv_buf, 4, 8),
    WIDTH(client, recv_map, 4, 8),
    WIDTH(client, send_map, 4, 8),
    WIDTH(xdictionary, ref_count, 4, 4),
    WIDTH(xdictionary, count, 4, 4),
    WIDTH(xdictionary, size, 4, 4),
    WIDTH(xdictionary, values, 4, 8),
    WIDTH(xdictionary, keys, 4, 8),
    WIDTH(xdictionary, hashes, 4, 8),
    WIDTH(xdictionary, types, 4, 8),
    WIDTH(xdictionary, parent, 4, 8),
    WIDTH(backend_function, symbol, 4, 8),
    WIDTH(backend_function, address, 4, 8),
    WIDTH(backend, name, 4, 8),
    WIDTH(backend, handle, 4, 8),
    WIDTH(backend, functions, 4, 8),
    WIDTH(backend, config, 4, 8),
    WIDTH(backend, user_data, 12, 24),
    WIDTH(layer, name, 4, 8),
    WIDTH(layer, is_default, 4, 4),
    WIDTH(layer, backend_count, 4, 4),
    WIDTH(layer, backends, 4, 8),
    WIDTH(layer, config, 4, 8),
};

#undef FIELD
#undef FIELD32
#undef WIDTH
#undef SIZE
#undef SIZE32

// The number of the first row that differs, or the number of rows.
template <size_t count> constexpr size_t first_difference(const Row (&rows)[count]) {
    for (size_t i = 0; i < count; ++i)
        if (rows[i].actual != expected_here(rows[i].expected))
            return i;
    return count;
}

} // namespace layout
