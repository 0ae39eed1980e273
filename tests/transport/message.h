// SPDX-License-Identifier: MIT
// Messages cut into packets, for tests, in terms of byte strings.
#pragma once

#include "wire.h"

struct MessageDeleter {
    void operator()(msginfo *info) const { msginfo_free(info); }
};
using Message = std::unique_ptr<msginfo, MessageDeleter>;

// The bytes stored in packet index.
inline Bytes slot(const msginfo *info, uint32_t index) {
    const uint8_t *const data = msginfo_packet_data(info, index);
    return data != nullptr ? Bytes(data, data + msginfo_packet_len(info, index)) : Bytes{};
}

inline int put(const Message &info, uint32_t index, const Bytes &data) {
    return msginfo_put_packet(info.get(), index, data.data(), static_cast<uint32_t>(data.size()));
}
inline int32_t set(const Message &info, uint32_t index, const Bytes &data) {
    return msginfo_set_packet_data(info.get(), index, data.data(), static_cast<uint32_t>(data.size()));
}
