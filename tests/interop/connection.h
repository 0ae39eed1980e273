/* SPDX-License-Identifier: MIT */
/* A connection over the loopback interface that carries the transport's messages. */
#ifndef CONNECTION_H
#define CONNECTION_H

#include <varnel/transport.h>

#include <stdint.h>

typedef struct connection {
    int fd;
    client *end; /* of a datagram peer that waits: NULL until the first datagram */
} connection;

/* "tcp" or "udp" as the types of clients that they are; CHECKs that it is one of them. */
uint32_t connection_type(const char *transport);

/* Binds a port, tells it on standard output, and waits for the other end. */
void connection_serve(connection *to, uint32_t type);

/* Connects to a port. */
void connection_open(connection *to, uint32_t type, uint16_t port);

/* Waits for a message; gives its length and, in *data, the message (_xfree). Sends what is asked for meanwhile. */
uint32_t connection_receive(connection *to, uint8_t **data);

void connection_close(connection *to);

#endif
