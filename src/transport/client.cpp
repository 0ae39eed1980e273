// SPDX-License-Identifier: MIT
// Life of a client, and its raw sending.
#include "transport/peer_id.h"

#include <varnel/transport.h>

#include "base/block.h"
#include "base/layout.h"
#include "base/log.h"
#include "containers/hashmap_drain.h"

using namespace varnel;

static constexpr size_t kPeerOffset = kAlign64;
VARNEL_OFFSET32(client, peer, kPeerOffset);
VARNEL_OFFSET32(client, sock, kPeerOffset + 8);
VARNEL_OFFSET32(client, msgids, kPeerOffset + 12);
VARNEL_OFFSET32(client, recv_buf, kPeerOffset + 16);
VARNEL_OFFSET32(client, recv_map, kPeerOffset + 20);
VARNEL_OFFSET32(client, send_map, kPeerOffset + 24);
VARNEL_SIZE32(client, kPeerOffset == 4 ? 32 : 40);

static bool is_client_type(uint32_t type) {
    return type >= CLIENT_STREAM && type <= CLIENT_DATAGRAM;
}

static void set_peer(client *c, int fd, const sockaddr_in *peer_addr) {
    const bool datagram = c->type == CLIENT_DATAGRAM;
    c->peer = datagram ? peer_id_of(*peer_addr) : fd;
    c->sock = datagram ? fd : -1;
}

client *client_new(uint32_t type, int fd, const struct sockaddr_in *peer_addr) {
    if (!is_client_type(type)) {
        log_error("add client faild: type is not right.\n");
        return nullptr;
    }
    if (type == CLIENT_DATAGRAM && peer_addr == nullptr)
        return nullptr;
    auto *const c = new_record<client>();
    c->type = type;
    set_peer(c, fd, peer_addr);
    c->recv_buf = circle_buf_new(0);
    c->recv_map = hashmap_new(uint32_hash_func, uint32_compare_func);
    c->send_map = hashmap_new(uint32_hash_func, uint32_compare_func);
    c->msgids = msgid_new();
    if (c->recv_buf == nullptr || c->recv_map == nullptr || c->send_map == nullptr || c->msgids == nullptr) {
        client_free(c);
        return nullptr;
    }
    return c;
}

static void free_messages(hashmap *messages) {
    drain_map(messages, [](void *id, void *info) {
        msginfo_free(static_cast<msginfo *>(info));
        _xfree(id);
    });
}

void client_free(client *c) {
    if (c == nullptr)
        return;
    circle_buf_del(c->recv_buf);
    msgid_free(c->msgids);
    free_messages(c->recv_map);
    free_messages(c->send_map);
    _xfree(c);
}

static int64_t descriptor_of(const client *c) {
    return c->type == CLIENT_DATAGRAM ? c->sock : c->peer;
}

int client_send(client *c, const void *buffer, uint32_t length) {
    if (c == nullptr || length == 0 || !is_client_type(c->type) || descriptor_of(c) < 0) {
        log_error("client_send check faild.\n");
        return 0;
    }
    if (c->type != CLIENT_DATAGRAM)
        return xwrite(static_cast<int>(c->peer), buffer, length);
    const Block address(require(new_record<sockaddr_in>(), "xmalloc0 error : %m\n"));
    store_peer_address(*address.get(), c->peer);
    return xsendto(c->sock, buffer, length, reinterpret_cast<const sockaddr *>(address.get()));
}
