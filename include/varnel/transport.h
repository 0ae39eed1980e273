/* SPDX-License-Identifier: MIT */
/*
 * Transport: messages cut into packets over stream or datagram sockets, with stop-and-wait acknowledgement and
 * reassembly. docs/formats.md has the packet byte by byte.
 *
 * The caller owns the descriptors and decides when to read. Receiving: read the socket (xread, xrecv, xrecvfrom),
 * append the bytes to client->recv_buf with circle_buf_put, call parse_circle_data until it yields nothing more.
 * Sending: client_send_data sends the first packet; each acknowledgement that parse_circle_data finds sends the next.
 *
 * Threads: a ring, the maps and the id tracker lock themselves; a client has no lock, so one thread at a time drives
 * its send path and its parser. A msginfo has one holder at a time.
 * Memory:  records come from the library's allocator (memory.h). Completed messages of more than one packet stay in
 * recv_map until client_free: a program that talks to strangers bounds messages and bytes per client and replaces the
 * client when a bound is reached. Ignore SIGPIPE: writing to a closed peer raises it (POSIX).
 */
#ifndef VARNEL_TRANSPORT_H
#define VARNEL_TRANSPORT_H

#include "hashmap.h"

#include <netinet/in.h>
#include <sys/socket.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Sizes of the wire format, in bytes: never change them. */
#define PACKET_MAGIC "VARNEL"
#define PACKET_MAGIC_SIZE 6
#define PACKET_HEADER_SIZE 22
#define PACKET_SIZE 1024
#define PACKET_PAYLOAD_MAX 1002 /* PACKET_SIZE - PACKET_HEADER_SIZE */

/* --- Socket helpers, for non-blocking sockets. Lengths in bytes. Failures are logged with errno's text. --- */

/* Sets O_NONBLOCK on a descriptor. 0, or -1. */
int set_nonblock(int fd);

/* Sends all of buffer to destination (16 bytes of address), busily waiting while the socket would block. 1, or 0 after
 * any other error. */
int xsendto(int sock, const void *buffer, uint32_t length, const struct sockaddr *destination);

/* Writes all of buffer. 1 when the count of bytes reached length, 0 when write returned 0. An error of write counts as
 * minus one byte: after some progress the last byte is written again, before any the loop ends with 1. So wait for
 * room before writing to a non-blocking stream, and learn of its death by reading. */
int xwrite(int fd, const void *buffer, uint32_t length);

/* Zero the buffer and fill it. The length once it is full; 0 when no more is to be had now or ever (would block, end of
 * file): the bytes read so far are in the buffer, uncounted, so ask for just as many as are waiting; -1 on an error.
 * xrecvfrom stores the sender (at most 16 bytes, an IPv4 address) in *source and goes on after empty datagrams; flags
 * are those of recv (POSIX). */
int32_t xread(int fd, void *buffer, uint32_t length);
int32_t xrecv(int sock, void *buffer, uint32_t length, int flags);
int32_t xrecvfrom(int sock, void *buffer, uint32_t length, int flags, struct sockaddr *source);

/* --- Ring of received bytes. One writer and one reader may work on a ring at once. --- */

/* Smallest capacity of a ring, in bytes. */
#define CIRCLE_BUF_MIN 1024

typedef struct circle_buf {
    pthread_mutex_t lock;
    uint8_t *base;
    int32_t capacity; /* bytes of storage */
    int32_t length;   /* unread bytes */
    uint8_t *read_pos;
    uint8_t *write_pos;
} circle_buf;

/* A new empty ring of capacity bytes, at least 1024. Aborts when memory is short. */
circle_buf *circle_buf_new(int32_t capacity);

/* Appends length bytes; returns the bytes written: length, or 0 for a NULL ring or data, a length below 1, or a ring
 * that would reach 2^31 bytes. A ring without room grows to exactly the bytes needed (and aborts when memory is short).
 * A ring whose unread bytes wrap around its end when it grows yields wrong bytes from there on: consume what has
 * arrived before appending more than the ring has room for. */
int32_t circle_buf_put(circle_buf *ring, const void *data, int32_t length);

/* Copies at most length unread bytes into buffer, and consumes them or (peek) leaves them. Returns the bytes copied; 0
 * for a NULL ring or buffer, a length below 1 or an empty ring. */
int32_t circle_buf_get(circle_buf *ring, void *buffer, int32_t length);
int32_t circle_buf_get_peek(circle_buf *ring, void *buffer, int32_t length);

/* Unread bytes; 0 for NULL. */
int32_t circle_buf_data_len(circle_buf *ring);

/* Forgets all unread bytes; the storage keeps its size. NULL is ignored. */
void circle_buf_clear(circle_buf *ring);

/* Releases the ring. NULL is ignored. */
void circle_buf_del(circle_buf *ring);

/* --- Message ids --- */

typedef struct msgid {
    uint32_t send_id; /* the last id handed out */
    uint32_t reserved[2];
    varnel_rwlock send_lock;
    varnel_rwlock recv_lock; /* never taken */
    hashmap *recv_ids;       /* always empty: duplicates are not detected */
} msgid;

/* A new tracker; NULL, with a log line, when its map cannot be had. */
msgid *msgid_new(void);

/* Releases a tracker. NULL is ignored. */
void msgid_free(msgid *tracker);

/* The next id: 1, 2, 3, ... up to 2^32 - 1, then 0. 0 for NULL. Any thread. */
uint32_t msgid_send_new(msgid *tracker);

/* The last id handed out. The tracker must not be NULL. Any thread. */
uint32_t msgid_get_send(msgid *tracker);

/* Whether a received id is new: always 1. */
int msgid_recv_checkput(msgid *tracker, uint32_t id);

/* --- A message cut into packets. Packets are numbered from 1. --- */

typedef struct msginfo_packet {
    uint8_t data[PACKET_SIZE];
    uint32_t length; /* bytes used, at most PACKET_PAYLOAD_MAX */
} msginfo_packet;

typedef struct msginfo {
    uint32_t packet_count;
    uint8_t *flags;    /* one per packet: sent (send side) or arrived (receive side) */
    uint32_t data_len; /* bytes of the message, or the sum of the lengths stored so far */
    msginfo_packet *packets;
} msginfo;

/* A new message with a copy of the data, cut into packets of 1002 bytes (the last may be shorter), none flagged. NULL
 * for NULL data, length 0 or refused memory. */
msginfo *msginfo_new_by_data(const void *data, uint32_t length);

/* A new message of packet_count empty packets. NULL for a count below 1 or refused memory. */
msginfo *msginfo_new_by_packet(int32_t packet_count);

/* Releases a message. NULL is ignored. */
void msginfo_free(msginfo *info);

/* Stores packet index (1 to packet_count) of 1 to 1002 bytes and flags it. msginfo_put_packet gives 1, or 0 on a fault,
 * a packet that is flagged already included; msginfo_set_packet_data gives the length, or -1 on a fault, and overwrites
 * a flagged packet, whose bytes are then counted twice in data_len. */
int msginfo_put_packet(msginfo *info, uint32_t index, const void *data, uint32_t length);
int32_t msginfo_set_packet_data(msginfo *info, uint32_t index, const void *data, uint32_t length);

/* 1 when every packet is flagged, else 0 (also for NULL). */
int msginfo_check(const msginfo *info);

/* Flags packet index. 1, or 0 for NULL or an index out of range. */
int msginfo_flag(msginfo *info, uint32_t index);

/* Joins a complete message into a new buffer, stored in *data_out (the caller releases it with _xfree), and returns the
 * number of bytes joined. The buffer has at least data_len bytes, zero behind the joined ones. 0, with *data_out NULL,
 * when the message is NULL or incomplete. */
uint32_t msginfo_get_data(const msginfo *info, uint8_t **data_out);

/* Bytes used in packet index, and its data area (the message's own); 0 and NULL for a NULL message or an index out of
 * range. */
uint32_t msginfo_packet_len(const msginfo *info, uint32_t index);
uint8_t *msginfo_packet_data(const msginfo *info, uint32_t index);

/* data_len and packet_count; 0 for NULL. */
uint32_t msginfo_data_len(const msginfo *info);
uint32_t msginfo_packet_count(const msginfo *info);

/* --- One end of a conversation --- */

/* Types of a client. The two stream types behave alike; what tells them apart is the program's business. */
enum { CLIENT_STREAM = 1, CLIENT_STREAM_ALT = 2, CLIENT_DATAGRAM = 3 };

typedef struct client {
    uint32_t type;
    int64_t
        peer; /* stream: the descriptor; datagram: the peer id, address << 16 plus the port as a signed 16-bit number */
    int32_t sock; /* stream: -1; datagram: the descriptor */
    msgid *msgids;
    circle_buf *recv_buf;
    hashmap *recv_map; /* message id (owned uint32_t) to the msginfo being reassembled */
    hashmap *send_map; /* message id (owned uint32_t) to the msginfo being sent */
} client;

/* A new client for the descriptor fd. peer_addr (an IPv4 address) is read for type 3 only. NULL for a type outside 1 to
 * 3 (with a log line), for type 3 without an address, and when a part of it cannot be had. A datagram peer with a port
 * of 32768 or more is answered at the address one below its own: datagram programs bind a lower port. */
client *client_new(uint32_t type, int fd, const struct sockaddr_in *peer_addr);

/* Releases a client with all its messages; no descriptor is closed. NULL is ignored. */
void client_free(client *c);

/* Sends raw bytes as xwrite or xsendto does: 1, or 0. Length 0, a NULL client, a wrong type and a negative descriptor
 * are refused with a log line. */
int client_send(client *c, const void *buffer, uint32_t length);

/* Starts sending a message under an id of its own (0: a fresh one) and returns the result of sending its first
 * packet, 1 or 0. 0 for no data, and for an id that is being sent already; its copy of the data is then lost, so pass
 * 0. The client must not be NULL. The data is copied. */
int client_send_data(client *c, uint32_t id, const void *data, uint32_t length);

/* Sends packet index (from 1) of a message that is being sent. 1, or 0. The message leaves send_map as soon as its last
 * packet has been handed to the socket. */
int client_send_msg(client *c, uint32_t id, uint32_t index);

/* Sends the acknowledgement of packet index. 0 for a NULL client or index 0, otherwise as client_send. */
int client_send_ack(client *c, uint32_t id, uint32_t index);

/* Placeholders: nothing is ever sent again. The first two return 1. */
int client_resend_add(void);
int client_resend_remove(void);
void client_resend_msg(void);

/* Handles at most one packet of client->recv_buf. Returns the length of a message that this packet completed, with its
 * id in *msgid_out (which may be NULL) and the message in a new buffer in *data_out (the caller releases it with
 * _xfree); 0 when no message was completed: more bytes are needed, or a packet was handled (circle_buf_data_len tells
 * the two apart: call again when it has fallen); -1 when the client, its ring or data_out is NULL, or after a packet
 * that announces more than 1024 bytes (one byte is dropped and the next call looks for the next packet). Set *data_out
 * to NULL before the call: a one-packet message of length 0 gives 0 with a buffer to release. */
int32_t parse_circle_data(client *c, uint32_t *msgid_out, uint8_t **data_out);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
