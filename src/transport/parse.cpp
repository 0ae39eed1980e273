// SPDX-License-Identifier: MIT
// Receiving: one packet of a client's ring at a time.
#include "transport/parse_private.h"

#include "transport/circle_buf_private.h"

#include "base/block.h"
#include "base/log.h"

using namespace varnel;

namespace {

// With fewer unread bytes than this the magic is not searched for: a lone acknowledgement, which is one byte shorter,
// is taken as it lies at the front, whatever it is.
constexpr int32_t kFewestToSearch = PACKET_HEADER_SIZE + 1;

// Largest length that a header may announce. Slots hold less; what is between is consumed and not stored.
constexpr uint32_t kLargestLength = PACKET_SIZE;

void discard(client *c, uint32_t count) {
    uint8_t scratch[PACKET_HEADER_SIZE + kLargestLength];
    circle_buf_get(c->recv_buf, scratch, static_cast<int32_t>(count));
}

int32_t complete(uint32_t id, uint32_t length, uint32_t *msgid_out) {
    if (msgid_out != nullptr)
        *msgid_out = id;
    return static_cast<int32_t>(length);
}

// A message of one packet goes straight to the caller: no reassembly, no acknowledgement.
int32_t take_single(client *c, const PacketHeader &header, uint32_t *msgid_out, uint8_t **data_out) {
    discard(c, PACKET_HEADER_SIZE);
    *data_out = new_bytes<uint8_t>(header.length);
    circle_buf_get(c->recv_buf, *data_out, static_cast<int32_t>(header.length));
    return complete(header.id, header.length, msgid_out);
}

// What becomes of a packet for which there is no message.
enum class NoMessage { keep, drop };

// Makes an empty message for the header's id and puts it into recv_map. nullptr, with *otherwise, when that fails.
msginfo *add_message(client *c, const PacketHeader &header, NoMessage *otherwise) {
    *otherwise = NoMessage::drop;
    msginfo *const info = msginfo_new_by_packet(static_cast<int32_t>(header.count));
    if (info == nullptr)
        return nullptr;
    auto *const key = new_record<uint32_t>();
    *key = header.id;
    if (hashmap_put(c->recv_map, key, info) < 1) {
        *otherwise = NoMessage::keep;
        msginfo_free(info);
        _xfree(key);
        return nullptr;
    }
    return info;
}

// Moves the packet at the front of the ring into its slot; one that no slot takes is dropped.
void store_packet(client *c, const PacketHeader &header, msginfo *info) {
    uint8_t packet[PACKET_HEADER_SIZE + kLargestLength];
    circle_buf_get(c->recv_buf, packet, static_cast<int32_t>(PACKET_HEADER_SIZE + header.length));
    msginfo_set_packet_data(info, header.index, packet + PACKET_HEADER_SIZE, header.length);
}

// Stores a packet. When it leaves its message incomplete, acknowledges it. A message that is complete stays in recv_map
// until client_free: its packets may come again.
int32_t take_packet(client *c, const PacketHeader &header, msginfo *info, uint32_t *msgid_out, uint8_t **data_out) {
    store_packet(c, header, info);
    if (const uint32_t length = msginfo_get_data(info, data_out))
        return complete(header.id, length, msgid_out);
    client_send_ack(c, header.id, header.index);
    _xfree(*data_out);
    *data_out = nullptr;
    return 0;
}

// True, with the header at the front of the ring, when there are enough bytes for one.
bool peek_header(client *c, PacketHeader &header) {
    uint8_t bytes[PACKET_HEADER_SIZE];
    if (circle_buf_get_peek(c->recv_buf, bytes, sizeof bytes) < PACKET_HEADER_SIZE)
        return false;
    header = load_header(bytes);
    return true;
}

} // namespace

int32_t varnel::parse_data_packet(client *c, const PacketHeader &header, bool known, uint32_t *msgid_out,
                                  uint8_t **data_out) {
    if (!known && header.count == 1)
        return take_single(c, header, msgid_out, data_out);
    auto *info = static_cast<msginfo *>(hashmap_get(c->recv_map, &header.id));
    if (info == nullptr && known) {
        discard(c, header.length); // the header stays, and the next call looks past it for the next packet
        return 0;
    }
    auto otherwise = NoMessage::keep;
    if (info == nullptr)
        info = add_message(c, header, &otherwise);
    if (info != nullptr)
        return take_packet(c, header, info, msgid_out, data_out);
    if (otherwise == NoMessage::drop)
        discard(c, PACKET_HEADER_SIZE + header.length);
    return 0;
}

int32_t parse_circle_data(client *c, uint32_t *msgid_out, uint8_t **data_out) {
    if (c == nullptr || c->recv_buf == nullptr || data_out == nullptr)
        return -1;
    circle_buf_resynchronise(c->recv_buf, kPacketMagic, kFewestToSearch);
    PacketHeader header;
    if (!peek_header(c, header))
        return 0;
    if (header.length > kLargestLength) {
        log_error("recv packet len error.\n");
        discard(c, 1);
        return -1;
    }
    if (circle_buf_data_len(c->recv_buf) < static_cast<int32_t>(PACKET_HEADER_SIZE + header.length))
        return 0;
    if (header.count == 0 && header.length == 0) {
        discard(c, PACKET_HEADER_SIZE);
        client_resend_remove();
        client_send_msg(c, header.id, header.index + 1);
        return 0;
    }
    const bool known = !msgid_recv_checkput(c->msgids, header.id);
    return parse_data_packet(c, header, known, msgid_out, data_out);
}
