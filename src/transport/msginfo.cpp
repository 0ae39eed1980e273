// SPDX-License-Identifier: MIT
#include <varnel/transport.h>

#include "base/block.h"
#include "base/layout.h"

using namespace varnel;

VARNEL_OFFSET32(msginfo_packet, length, 1024);
VARNEL_SIZE32(msginfo_packet, 1028);
VARNEL_OFFSET32(msginfo, flags, 4);
VARNEL_OFFSET32(msginfo, data_len, 8);
VARNEL_OFFSET32(msginfo, packets, 12);
VARNEL_SIZE32(msginfo, 16);

// Every block comes zeroed from the allocator itself, so that pages which are never written cost nothing, and may be
// refused: the count comes from the wire.
static msginfo *new_message(uint32_t packet_count) {
    auto *const info = try_new_array<msginfo>(1);
    if (info == nullptr)
        return nullptr;
    info->packet_count = packet_count;
    info->flags = try_new_array<uint8_t>(packet_count);
    info->packets = info->flags != nullptr ? try_new_array<msginfo_packet>(packet_count) : nullptr;
    if (info->packets == nullptr) {
        msginfo_free(info);
        return nullptr;
    }
    return info;
}

msginfo *msginfo_new_by_data(const void *data, uint32_t length) {
    if (data == nullptr || length == 0)
        return nullptr;
    msginfo *const info = new_message((length - 1) / PACKET_PAYLOAD_MAX + 1);
    if (info == nullptr)
        return nullptr;
    info->data_len = length;
    const auto *bytes = static_cast<const uint8_t *>(data);
    for (msginfo_packet *packet = info->packets; length != 0; ++packet) {
        packet->length = length < PACKET_PAYLOAD_MAX ? length : PACKET_PAYLOAD_MAX;
        memcpy(packet->data, bytes, packet->length);
        bytes += packet->length;
        length -= packet->length;
    }
    return info;
}

msginfo *msginfo_new_by_packet(int32_t packet_count) {
    return packet_count >= 1 ? new_message(static_cast<uint32_t>(packet_count)) : nullptr;
}

void msginfo_free(msginfo *info) {
    if (info == nullptr)
        return;
    _xfree(info->flags);
    _xfree(info->packets);
    _xfree(info);
}

static bool has_packet(const msginfo *info, uint32_t index) {
    return info != nullptr && index >= 1 && index <= info->packet_count;
}

int msginfo_put_packet(msginfo *info, uint32_t index, const void *data, uint32_t length) {
    if (has_packet(info, index) && info->flags[index - 1] != 0)
        return 0;
    return msginfo_set_packet_data(info, index, data, length) > 0;
}

// A packet that is stored twice counts twice in data_len; the joined message is then shorter than data_len says.
int32_t msginfo_set_packet_data(msginfo *info, uint32_t index, const void *data, uint32_t length) {
    if (!has_packet(info, index) || data == nullptr || length < 1 || length > PACKET_PAYLOAD_MAX)
        return -1;
    msginfo_packet &packet = info->packets[index - 1];
    memcpy(packet.data, data, length);
    packet.length = length;
    info->data_len += length;
    info->flags[index - 1] = 1;
    return static_cast<int32_t>(length);
}

int msginfo_check(const msginfo *info) {
    if (info == nullptr)
        return 0;
    return info->packet_count == 0 || memchr(info->flags, 0, info->packet_count) == nullptr;
}

int msginfo_flag(msginfo *info, uint32_t index) {
    if (!has_packet(info, index))
        return 0;
    info->flags[index - 1] = 1;
    return 1;
}

// What the slots hold together; data_len can be more or, wrapped, less.
static uint64_t joined_length(const msginfo *info) {
    uint64_t sum = 0;
    for (uint32_t i = 0; i < info->packet_count; ++i)
        sum += info->packets[i].length;
    return sum;
}

uint32_t msginfo_get_data(const msginfo *info, uint8_t **data_out) {
    *data_out = nullptr;
    if (!msginfo_check(info))
        return 0;
    const uint64_t joined = joined_length(info);
    const uint64_t size = joined > info->data_len ? joined : info->data_len;
    if (size > SIZE_MAX)
        abort();
    auto *const data = new_bytes<uint8_t>(static_cast<size_t>(size));
    uint8_t *end = data;
    for (uint32_t i = 0; i < info->packet_count; ++i) {
        memcpy(end, info->packets[i].data, info->packets[i].length);
        end += info->packets[i].length;
    }
    *data_out = data;
    return static_cast<uint32_t>(joined);
}

uint32_t msginfo_packet_len(const msginfo *info, uint32_t index) {
    return has_packet(info, index) ? info->packets[index - 1].length : 0;
}

uint8_t *msginfo_packet_data(const msginfo *info, uint32_t index) {
    return has_packet(info, index) ? info->packets[index - 1].data : nullptr;
}

uint32_t msginfo_data_len(const msginfo *info) {
    return info != nullptr ? info->data_len : 0;
}

uint32_t msginfo_packet_count(const msginfo *info) {
    return info != nullptr ? info->packet_count : 0;
}
