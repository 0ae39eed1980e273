/* SPDX-License-Identifier: MIT */
#include "api_test.h"

#include <varnel/transport.h>

#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

static void test_streams(void) {
    int sockets[2];
    char buffer[8];
    CHECK(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) == 0);
    CHECK(set_nonblock(sockets[1]) == 0);
    CHECK(xread(sockets[1], buffer, 4) == 0 && xrecv(sockets[1], buffer, 4, 0) == 0); /* nothing there */
    CHECK(xwrite(sockets[0], "abcdefgh", 8) == 1);
    CHECK(xread(sockets[1], buffer, 4) == 4 && memcmp(buffer, "abcd", 4) == 0);
    CHECK(xrecv(sockets[1], buffer, 4, 0) == 4 && memcmp(buffer, "efgh", 4) == 0);
    CHECK(close(sockets[0]) == 0);
    CHECK(xrecv(sockets[1], buffer, 4, 0) == 0);
    char closed[64];
    snprintf(closed, sizeof closed, "D log recv close in %d\n", sockets[1]);
    CHECK_LOG(closed);
    CHECK(close(sockets[1]) == 0);

    CHECK(set_nonblock(-1) == -1);
    CHECK_LOG("E Can't get sock flags: Bad file descriptor\n");
    CHECK(xread(-1, buffer, 4) == -1);
    CHECK_LOG("E xread error: Bad file descriptor\n");
}

static void test_datagrams(void) {
    const int sock = socket(AF_INET, SOCK_DGRAM, 0);
    struct sockaddr_in address = {.sin_family = AF_INET, .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
    socklen_t size = sizeof address;
    CHECK(sock >= 0 && bind(sock, (struct sockaddr *)&address, size) == 0);
    CHECK(getsockname(sock, (struct sockaddr *)&address, &size) == 0);

    char buffer[8];
    struct sockaddr_in source = {0};
    CHECK(xsendto(sock, "abc", 3, (struct sockaddr *)&address) == 1);
    CHECK(xrecvfrom(sock, buffer, 3, 0, (struct sockaddr *)&source) == 3 && memcmp(buffer, "abc", 3) == 0);
    CHECK(source.sin_port == address.sin_port && source.sin_addr.s_addr == address.sin_addr.s_addr);
    CHECK(close(sock) == 0);
    CHECK(xsendto(-1, "abc", 3, (struct sockaddr *)&address) == 0);
    CHECK_LOG("E sendto error: Bad file descriptor\n");
}

void test_sockets(void) {
    test_streams();
    test_datagrams();
}
