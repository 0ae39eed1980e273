/* SPDX-License-Identifier: MIT */
#include "connection.h"

#include "check.h"

#include <arpa/inet.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

/* Datagram programs bind a port below this one: a higher one is answered at another address. */
enum { FIRST_PORT = 20000, END_OF_PORTS = 32768, PATIENCE_MS = 20000 };

uint32_t connection_type(const char *transport) {
    const int stream = strcmp(transport, "tcp") == 0;
    CHECK(stream || strcmp(transport, "udp") == 0);
    return stream ? CLIENT_STREAM : CLIENT_DATAGRAM;
}

static struct sockaddr_in loopback(uint16_t port) {
    struct sockaddr_in address = {.sin_family = AF_INET, .sin_port = htons(port)};
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

static int new_socket(uint32_t type) {
    const int fd = socket(AF_INET, type == CLIENT_STREAM ? SOCK_STREAM : SOCK_DGRAM, 0);
    CHECK(fd >= 0);
    return fd;
}

/* Binds the first free port from one on that differs between processes. */
static uint16_t bind_low_port(int fd) {
    const int count = END_OF_PORTS - FIRST_PORT;
    for (int tries = 0;; ++tries) {
        CHECK(tries < count); /* there is a free port */
        const uint16_t port = (uint16_t)(FIRST_PORT + (getpid() + tries) % count);
        const struct sockaddr_in address = loopback(port);
        if (bind(fd, (const struct sockaddr *)&address, sizeof address) == 0)
            return port;
    }
}

static void wait_until_readable(int fd) {
    struct pollfd ready = {.fd = fd, .events = POLLIN};
    CHECK(poll(&ready, 1, PATIENCE_MS) == 1);
}

void connection_serve(connection *to, uint32_t type) {
    to->fd = new_socket(type);
    to->end = NULL;
    const uint16_t port = bind_low_port(to->fd);
    CHECK(type != CLIENT_STREAM || listen(to->fd, 1) == 0);
    printf("%u\n", (unsigned)port);
    CHECK(fflush(stdout) == 0);
    wait_until_readable(to->fd);
    if (type == CLIENT_STREAM) {
        const int accepted = accept(to->fd, NULL, NULL);
        CHECK(accepted >= 0 && close(to->fd) == 0);
        to->fd = accepted;
        to->end = client_new(type, accepted, NULL);
        CHECK(to->end != NULL);
    }
    CHECK(set_nonblock(to->fd) == 0);
}

void connection_open(connection *to, uint32_t type, uint16_t port) {
    const struct sockaddr_in peer = loopback(port);
    to->fd = new_socket(type);
    if (type == CLIENT_STREAM)
        CHECK(connect(to->fd, (const struct sockaddr *)&peer, sizeof peer) == 0);
    else
        bind_low_port(to->fd);
    CHECK(set_nonblock(to->fd) == 0);
    to->end = client_new(type, to->fd, &peer);
    CHECK(to->end != NULL);
}

/* Reads what waits, and no more than the ring has room for. */
static void read_into_ring(connection *to) {
    uint8_t bytes[CIRCLE_BUF_MIN];
    int waiting = 0;
    wait_until_readable(to->fd);
    CHECK(ioctl(to->fd, FIONREAD, &waiting) == 0 && waiting > 0);
    if (to->end != NULL && to->end->type == CLIENT_STREAM) {
        const int32_t room = (int32_t)sizeof bytes - circle_buf_data_len(to->end->recv_buf);
        const int32_t wanted = waiting < room ? waiting : room;
        CHECK(xread(to->fd, bytes, (uint32_t)wanted) == wanted);
        CHECK(circle_buf_put(to->end->recv_buf, bytes, wanted) == wanted);
        return;
    }
    struct sockaddr_in source;
    CHECK(waiting <= (int)sizeof bytes);
    CHECK(xrecvfrom(to->fd, bytes, (uint32_t)waiting, 0, (struct sockaddr *)&source) == waiting);
    if (to->end == NULL)
        to->end = client_new(CLIENT_DATAGRAM, to->fd, &source);
    CHECK(to->end != NULL && circle_buf_put(to->end->recv_buf, bytes, waiting) == waiting);
}

uint32_t connection_receive(connection *to, uint8_t **data) {
    for (;;) {
        int32_t before = 0;
        while (to->end != NULL && (before = circle_buf_data_len(to->end->recv_buf)) != 0) {
            *data = NULL;
            const int32_t length = parse_circle_data(to->end, NULL, data);
            CHECK(length >= 0);
            if (length > 0)
                return (uint32_t)length;
            if (circle_buf_data_len(to->end->recv_buf) == before)
                break;
        }
        read_into_ring(to);
    }
}

void connection_close(connection *to) {
    client_free(to->end);
    CHECK(close(to->fd) == 0);
}
