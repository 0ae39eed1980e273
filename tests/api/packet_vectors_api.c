/* SPDX-License-Identifier: MIT */
/* The packets of tests/vectors, sent and received by the shared library. */
#include "api_test.h"
#include "vector_file.h"

#include <varnel/memory.h>
#include <varnel/transport.h>

#include <string.h>
#include <unistd.h>

/* A message of two packets. */
enum { TWO_PACKETS = PACKET_PAYLOAD_MAX + 1 };

/* A client under test and the other end of its connection. */
typedef struct ends {
    int sockets[2];
    client *c;
} ends;

static void ends_open(ends *e) {
    CHECK(socketpair(AF_UNIX, SOCK_STREAM, 0, e->sockets) == 0);
    e->c = client_new(CLIENT_STREAM, e->sockets[0], NULL);
    CHECK(e->c != NULL);
}

static void ends_close(ends *e) {
    client_free(e->c);
    CHECK(close(e->sockets[0]) == 0 && close(e->sockets[1]) == 0);
}

/* CHECKs that the client has sent the vector, or nothing for NULL. */
static void check_sent(const ends *e, const char *name) {
    uint8_t bytes[2 * PACKET_SIZE];
    const ssize_t got = recv(e->sockets[1], bytes, sizeof bytes, MSG_DONTWAIT);
    if (name == NULL) {
        CHECK(got == -1);
        return;
    }
    vector v;
    vector_read(&v, name);
    CHECK(got > 0 && vector_is(&v, bytes, (size_t)got));
}

/* Hands the vector to the client's parser, and gives its result. */
static int32_t parse(const ends *e, const char *name, uint32_t *id, uint8_t **data) {
    vector v;
    vector_read(&v, name);
    *data = NULL;
    CHECK(circle_buf_put(e->c->recv_buf, v.bytes, (int32_t)v.count) == (int32_t)v.count);
    const int32_t result = parse_circle_data(e->c, id, data);
    CHECK(circle_buf_data_len(e->c->recv_buf) == 0);
    return result;
}

static void test_single_packet(void) {
    static const uint8_t message[] = {0xAA, 0xBB};
    ends e;
    ends_open(&e);
    CHECK(client_send_data(e.c, 0x01020304, message, sizeof message) == 1);
    check_sent(&e, "packet_single");
    uint32_t id = 0;
    uint8_t *data = NULL;
    CHECK(parse(&e, "packet_single", &id, &data) == (int32_t)sizeof message);
    CHECK(id == 0x01020304 && memcmp(data, message, sizeof message) == 0);
    check_sent(&e, NULL);
    _xfree(data);
    ends_close(&e);
}

static void test_sending_two(const ends *e, const uint8_t message[TWO_PACKETS]) {
    uint32_t id = 0;
    uint8_t *data = NULL;
    CHECK(client_send_data(e->c, 0x81020304, message, TWO_PACKETS) == 1);
    check_sent(e, "packets_1_of_2");
    CHECK(parse(e, "packets_1_acknowledged", &id, &data) == 0 && data == NULL);
    check_sent(e, "packets_2_of_2");
}

static void test_receiving_two(const ends *e, const uint8_t message[TWO_PACKETS]) {
    uint32_t id = 0;
    uint8_t *data = NULL;
    CHECK(parse(e, "packets_1_of_2", &id, &data) == 0 && data == NULL);
    check_sent(e, "packets_1_acknowledged");
    CHECK(parse(e, "packets_2_of_2", &id, &data) == TWO_PACKETS);
    CHECK(id == 0x81020304 && memcmp(data, message, TWO_PACKETS) == 0);
    check_sent(e, NULL);
    _xfree(data);
}

void test_packet_vectors(void) {
    uint8_t message[TWO_PACKETS];
    for (size_t i = 0; i < sizeof message; ++i)
        message[i] = (uint8_t)(i % 251);
    test_single_packet();
    ends e;
    ends_open(&e);
    test_sending_two(&e, message);
    ends_close(&e);
    ends_open(&e);
    test_receiving_two(&e, message);
    ends_close(&e);
}
