/* SPDX-License-Identifier: MIT */
#include "api_test.h"

#include <varnel/memory.h>
#include <varnel/transport.h>

#include <string.h>
#include <unistd.h>

void test_ring(void) {
    circle_buf *ring = circle_buf_new(100);
    char buffer[8];
    CHECK(ring != NULL && ring->capacity == CIRCLE_BUF_MIN);
    CHECK(circle_buf_put(ring, "abcdef", 6) == 6 && circle_buf_put(ring, NULL, 6) == 0 &&
          circle_buf_put(NULL, "a", 1) == 0);
    CHECK(circle_buf_data_len(ring) == 6 && circle_buf_data_len(NULL) == 0);
    CHECK(circle_buf_get_peek(ring, buffer, 3) == 3 && memcmp(buffer, "abc", 3) == 0);
    CHECK(circle_buf_get(ring, buffer, 4) == 4 && memcmp(buffer, "abcd", 4) == 0);
    CHECK(circle_buf_get(ring, buffer, 8) == 2 && circle_buf_get(ring, buffer, 8) == 0);
    CHECK(circle_buf_put(ring, "x", 1) == 1);
    circle_buf_clear(ring);
    CHECK(circle_buf_data_len(ring) == 0);
    circle_buf_clear(NULL);
    circle_buf_del(ring);
    circle_buf_del(NULL);
}

static void test_ids(void) {
    msgid *tracker = msgid_new();
    CHECK(tracker != NULL && msgid_get_send(tracker) == 0);
    CHECK(msgid_send_new(tracker) == 1 && msgid_send_new(tracker) == 2 && msgid_send_new(NULL) == 0);
    CHECK(msgid_get_send(tracker) == 2);
    CHECK(msgid_recv_checkput(tracker, 5) == 1 && msgid_recv_checkput(tracker, 5) == 1);
    msgid_free(tracker);
    msgid_free(NULL);
}

static void test_received_message(void) {
    msginfo *info = msginfo_new_by_packet(2);
    uint8_t *data = NULL;
    CHECK(info != NULL && msginfo_new_by_packet(0) == NULL && msginfo_packet_count(info) == 2);
    CHECK(msginfo_put_packet(info, 2, "cd", 2) == 1 && msginfo_put_packet(info, 2, "cd", 2) == 0);
    CHECK(msginfo_check(info) == 0 && msginfo_get_data(info, &data) == 0 && data == NULL);
    CHECK(msginfo_set_packet_data(info, 1, "ab", 2) == 2 && msginfo_set_packet_data(info, 3, "ab", 2) == -1);
    CHECK(msginfo_check(info) == 1 && msginfo_data_len(info) == 4 && msginfo_data_len(NULL) == 0);
    CHECK(msginfo_get_data(info, &data) == 4 && memcmp(data, "abcd", 4) == 0);
    _xfree(data);
    msginfo_free(info);
    msginfo_free(NULL);
}

static void test_sent_message(void) {
    static const uint8_t bytes[PACKET_PAYLOAD_MAX + 1] = {1, 2, 3};
    msginfo *info = msginfo_new_by_data(bytes, sizeof bytes);
    CHECK(info != NULL && msginfo_new_by_data(bytes, 0) == NULL && msginfo_packet_count(info) == 2);
    CHECK(msginfo_packet_len(info, 1) == PACKET_PAYLOAD_MAX && msginfo_packet_len(info, 2) == 1);
    CHECK(memcmp(msginfo_packet_data(info, 1), bytes, PACKET_PAYLOAD_MAX) == 0);
    CHECK(msginfo_packet_data(info, 3) == NULL && msginfo_packet_len(info, 0) == 0);
    CHECK(msginfo_flag(info, 1) == 1 && msginfo_flag(info, 3) == 0 && msginfo_check(info) == 0);
    CHECK(msginfo_flag(info, 2) == 1 && msginfo_check(info) == 1);
    msginfo_free(info);
}

void test_messages(void) {
    test_ids();
    test_received_message();
    test_sent_message();
}

/* Hands the bytes that wait on a client's socket to its ring. */
static void feed(client *c) {
    uint8_t bytes[2 * PACKET_SIZE];
    const ssize_t got = recv((int)c->peer, bytes, sizeof bytes, 0);
    CHECK(got > 0 && circle_buf_put(c->recv_buf, bytes, (int32_t)got) == (int32_t)got);
}

static void test_conversation(client *sender, client *receiver) {
    uint8_t bytes[PACKET_PAYLOAD_MAX + 3];
    for (size_t i = 0; i < sizeof bytes; ++i)
        bytes[i] = (uint8_t)(i * 7);
    uint32_t id = 0;
    uint8_t *data = NULL;
    CHECK(client_send_data(sender, 5, bytes, sizeof bytes) == 1 && hashmap_size(sender->send_map) == 1);
    feed(receiver);
    CHECK(parse_circle_data(receiver, &id, &data) == 0 && hashmap_size(receiver->recv_map) == 1);
    feed(sender);
    CHECK(parse_circle_data(sender, &id, &data) == 0 && hashmap_size(sender->send_map) == 0);
    feed(receiver);
    CHECK(parse_circle_data(receiver, &id, &data) == (int32_t)sizeof bytes && id == 5);
    CHECK(memcmp(data, bytes, sizeof bytes) == 0);
    _xfree(data);
    CHECK(parse_circle_data(NULL, &id, &data) == -1);
}

static void test_packets(client *sender, client *receiver) {
    uint8_t packet[PACKET_SIZE];
    CHECK(client_send(sender, "raw", 3) == 1 && recv((int)receiver->peer, packet, sizeof packet, 0) == 3);
    CHECK(client_send(NULL, "raw", 3) == 0);
    CHECK_LOG("E client_send check faild.\n");

    static const uint8_t acknowledgement[PACKET_HEADER_SIZE] = {'V', 'A', 'R', 'N', 'E', 'L', 0, 0, 0, 5, 0,
                                                                0,   0,   0,   0,   0,   0,   2, 0, 0, 0, 0};
    CHECK(client_send_ack(sender, 5, 2) == 1 && client_send_ack(sender, 5, 0) == 0);
    CHECK(recv((int)receiver->peer, packet, sizeof packet, 0) == PACKET_HEADER_SIZE);
    CHECK(memcmp(packet, acknowledgement, sizeof acknowledgement) == 0);
    CHECK(client_send_msg(sender, 77, 1) == 0);
    CHECK_LOG("D Can't get the msgid(77) msginfo.\n");
    CHECK(client_resend_add() == 1 && client_resend_remove() == 1);
    client_resend_msg();
}

void test_clients(void) {
    int sockets[2];
    CHECK(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) == 0);
    client *sender = client_new(CLIENT_STREAM, sockets[0], NULL);
    client *receiver = client_new(CLIENT_STREAM_ALT, sockets[1], NULL);
    CHECK(sender != NULL && receiver != NULL && client_new(CLIENT_DATAGRAM, sockets[0], NULL) == NULL);
    CHECK(client_new(4, sockets[0], NULL) == NULL);
    CHECK_LOG("E add client faild: type is not right.\n");
    test_conversation(sender, receiver);
    test_packets(sender, receiver);
    client_free(sender);
    client_free(receiver);
    client_free(NULL);
    CHECK(close(sockets[0]) == 0 && close(sockets[1]) == 0);
}
