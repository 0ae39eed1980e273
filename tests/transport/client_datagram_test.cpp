// SPDX-License-Identifier: MIT
// Clients of type 3: the peer is named by its id, and answered at what the id turns back into.
#include "support/log_capture.h"
#include "transport/peer_id.h"
#include "udp.h"

#include <random>

namespace {

Client datagram_client(const Udp &sock, const sockaddr_in &peer) {
    return Client(client_new(CLIENT_DATAGRAM, sock.fd(), &peer));
}

} // namespace

TEST(ClientDatagram, APeerWithALowPortIsAnsweredWhereItIs) {
    const Udp peer = Udp::bound_low("127.0.0.1");
    const Udp sock = Udp::bound_low("127.0.0.1");
    const Client c = datagram_client(sock, peer.address());
    EXPECT_EQ(client_send(c.get(), "abc", 3), 1);
    EXPECT_EQ(peer.receive(), bytes_of("abc"));
}

TEST(ClientDatagram, APeerWithAHighPortIsAnsweredOneAddressBelow) {
    const Udp peer = Udp::bound_high("127.0.0.1");
    const Udp sock = Udp::bound_low("127.0.0.1");
    const Client c = datagram_client(sock, inet_address("127.0.0.2", peer.port()));
    EXPECT_EQ(client_send(c.get(), "abc", 3), 1);
    EXPECT_EQ(peer.receive(), bytes_of("abc"));
}

TEST(ClientDatagram, EachPacketIsOneDatagram) {
    const Udp peer = Udp::bound_low("127.0.0.1");
    const Udp sock = Udp::unbound();
    const Client c = datagram_client(sock, peer.address());
    const Bytes message = pattern(1003);
    const auto packets = packets_of(1, message);
    EXPECT_EQ(client_send_data(c.get(), 0, message.data(), 1003), 1);
    EXPECT_EQ(client_send_msg(c.get(), 1, 2), 1);
    EXPECT_EQ(client_send_ack(c.get(), 9, 4), 1);
    EXPECT_EQ(peer.receive(), packets[0]);
    EXPECT_EQ(peer.receive(), packets[1]);
    EXPECT_EQ(peer.receive(), ack(9, 4));
    EXPECT_EQ(peer.receive(), std::nullopt);
}

TEST(ClientDatagram, AFailedSendLeavesThePacketUnflagged) {
    const Udp sock = Udp::unbound();
    const Client c = datagram_client(sock, loopback(9));
    c->sock = closed_descriptor();
    const LogCapture log;
    EXPECT_EQ(client_send_data(c.get(), 0, "abc", 3), 0);
    EXPECT_EQ(log.texts(LogLine::error),
              std::vector<std::string>{std::string("sendto error: ") + strerror(EBADF) + "\n"});
    const msginfo *const info = find_message(c->send_map, 1);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->flags[0], 0);
}

TEST(ClientDatagram, AConversationOverTheLoopback) {
    const Udp left_socket = Udp::bound_low("127.0.0.1");
    const Udp right_socket = Udp::bound_low("127.0.0.1");
    const Client left = datagram_client(left_socket, right_socket.address());
    const Client right = datagram_client(right_socket, left_socket.address());
    const Bytes message = pattern(25000);
    ASSERT_EQ(client_send_data(left.get(), 0, message.data(), 25000), 1);
    std::vector<Parsed> received;
    for (int turn = 0; turn < 100 && received.empty(); ++turn) {
        while (const auto datagram = right_socket.receive()) {
            feed(right, *datagram);
            received = parse_all(right);
        }
        while (const auto datagram = left_socket.receive()) {
            feed(left, *datagram);
            parse_all(left);
        }
    }
    EXPECT_EQ(received, std::vector<Parsed>{message_parsed(1, message)});
    EXPECT_EQ(hashmap_size(left->send_map), 0U);
}

TEST(PeerId, TurnsBackIntoTheAddressOrOneBelow) {
    std::mt19937 random(3);
    for (int round = 0; round < 20000; ++round) {
        sockaddr_in address = {};
        const auto host = static_cast<uint32_t>(random());
        const auto port = static_cast<uint16_t>(random());
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(host);
        const int64_t id = varnel::peer_id_of(address);
        ASSERT_EQ(id, static_cast<int64_t>(uint64_t{host} << 16) + (port < 32768 ? port : port - 65536));
        sockaddr_in back = {};
        varnel::store_peer_address(back, id);
        ASSERT_EQ(back.sin_family, AF_INET);
        ASSERT_EQ(ntohs(back.sin_port), port);
        ASSERT_EQ(ntohl(back.sin_addr.s_addr), port < 32768 ? host : host - 1);
        for (const unsigned char byte : back.sin_zero)
            ASSERT_EQ(byte, 0);
    }
}

TEST(PeerId, TheWorkedExample) {
    const sockaddr_in address = inet_address("192.168.1.2", 54321);
    const int64_t id = varnel::peer_id_of(address);
    EXPECT_EQ(id, 0xC0A80101D431);
    sockaddr_in back = {};
    varnel::store_peer_address(back, id);
    const sockaddr_in expected = inet_address("192.168.1.1", 54321);
    EXPECT_EQ(memcmp(&back, &expected, sizeof back), 0);
}
