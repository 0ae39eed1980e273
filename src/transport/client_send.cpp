// SPDX-License-Identifier: MIT
// Sending messages, one packet per acknowledgement.
#include "transport/packet.h"

#include "base/block.h"
#include "base/log.h"

using namespace varnel;

int client_send_data(client *c, uint32_t id, const void *data, uint32_t length) {
    if (id == 0)
        id = msgid_send_new(c->msgids);
    msginfo *const info = msginfo_new_by_data(data, length);
    if (info == nullptr)
        return 0;
    auto *const key = new_record<uint32_t>();
    *key = id;
    if (hashmap_put(c->send_map, key, info) < 0) {
        log_error("put the data to send_map error.\n"); // key and copy are lost: programs pass id 0
        return 0;
    }
    return client_send_msg(c, id, 1);
}

static int send_packet(client *c, uint32_t id, const msginfo *info, uint32_t index) {
    const PacketHeader header = {id, msginfo_packet_count(info), index, msginfo_packet_len(info, index)};
    if (header.count < index || header.length < 1 || header.length > PACKET_PAYLOAD_MAX)
        return 0;
    uint8_t packet[PACKET_SIZE] = {};
    store_header(packet, header);
    memcpy(packet + PACKET_HEADER_SIZE, msginfo_packet_data(info, index), header.length);
    return client_send(c, packet, PACKET_HEADER_SIZE + header.length);
}

// A message is finished for its sender as soon as its last packet has been handed over, acknowledged or not.
static void forget_message(client *c, uint32_t id, msginfo *info) {
    void *key = nullptr;
    hashmap_remove2(c->send_map, &id, &key);
    _xfree(key);
    msginfo_free(info);
}

int client_send_msg(client *c, uint32_t id, uint32_t index) {
    if (c == nullptr || index < 1)
        return 0;
    auto *const info = static_cast<msginfo *>(hashmap_get(c->send_map, &id));
    if (info == nullptr) {
        log_debug("Can't get the msgid(%d) msginfo.\n", static_cast<int>(id));
        return 0;
    }
    if (!send_packet(c, id, info, index))
        return 0;
    msginfo_flag(info, index);
    if (msginfo_check(info))
        forget_message(c, id, info);
    return 1;
}

int client_send_ack(client *c, uint32_t id, uint32_t index) {
    if (c == nullptr || index == 0)
        return 0;
    uint8_t packet[PACKET_HEADER_SIZE] = {};
    store_header(packet, {id, 0, index, 0});
    return client_send(c, packet, sizeof packet);
}

int client_resend_add() {
    return 1;
}

int client_resend_remove() {
    return 1;
}

void client_resend_msg() {}
