// SPDX-License-Identifier: MIT
// The daemon over datagrams.
#include "daemon.h"
#include "messages.h"

#include "conversation/requests.h"

#include <random>
#include <stdexcept>

namespace varnel::test {

namespace {

constexpr std::uint16_t kPortNobodyIsHeardFrom = 40001;

// On a port of loopback that is free.
class UdpDaemon : public Daemon {
public:
    std::uint16_t port = start_with_udp(*this);
};

TEST(Udp, SetsAndGets) {
    UdpDaemon daemon;
    const auto conversation = conversation::Conversation::over_udp("127.0.0.1", daemon.port, kPatience);
    const Value value = make_string("over datagrams");
    conversation::set(*conversation, {"user", kInFile, kNoFlags}, {{"g", "a", value.get()}});
    EXPECT_EQ(print_value(*conversation::get(*conversation, {"user", "g", "a"}).value), "over datagrams");
    EXPECT_EQ(daemon.control({"get", "g:a"}).out, "over datagrams\n");
}

TEST(Udp, CarriesALargeValue) {
    UdpDaemon daemon;
    const std::string text(60000, 'u');
    const std::string address = "127.0.0.1:" + std::to_string(daemon.port);
    const Outcome set = run_control({"--udp", address, "set", "g:a", "-"}, text);
    EXPECT_EQ(set.code, 0) << set.err;
    const Outcome get = run_control({"--udp", address, "get", "g:a"});
    EXPECT_EQ(get.code, 0) << get.err;
    EXPECT_EQ(get.out, text + "\n");
}

TEST(Udp, BringsEvents) {
    UdpDaemon daemon;
    Peer watcher = Peer::over_udp(daemon.port);
    watcher.ask(1, message(control_notify, "volatile", "g", "a", protocol::kFromNow));
    EXPECT_EQ(daemon.control({"set", "volatile:g:a", "1"}).code, 0);
    EXPECT_EQ(texts_of(watcher.receive_message(), 1), "2 volatile g a - 1");
}

TEST(Udp, KeepsLocksOfAPeer) {
    UdpDaemon daemon;
    Peer first = Peer::over_udp(daemon.port);
    Peer second = Peer::over_udp(daemon.port);
    EXPECT_EQ(status_of(first.ask(1, message(control_trylock, "volatile", "g", ""))), Status::ok);
    EXPECT_EQ(status_of(second.ask(1, message(control_trylock, "volatile", "g", ""))), Status::busy);
    EXPECT_EQ(status_of(first.ask(2, message(control_unlock, "volatile", "g", ""))), Status::ok);
    EXPECT_EQ(status_of(second.ask(2, message(control_trylock, "volatile", "g", ""))), Status::ok);
    EXPECT_NE(daemon.control({"explain", "volatile:g:a"}).out.find("(UDP 127.0.0.1:"), std::string::npos);
}

TEST(Udp, HearsNobodyWithAPortAbove32767) {
    UdpDaemon daemon;
    Peer below = Peer::over_udp(daemon.port);
    below.ask(1, message(control_other, "version"));
    const std::uint64_t accepted = daemon.statistic("accepted"); // this one and that peer
    Peer above = Peer::over_udp(daemon.port, kPortNobodyIsHeardFrom);
    ASSERT_TRUE(above.send(encode(packet_of(1, set_message("volatile", "g", "a", make_int32(1)).encode(), 1))));
    // Datagrams are handled in the order in which they come: once this one is answered, the other has been looked at.
    EXPECT_EQ(status_of(below.ask(2, get_message("volatile", "g", "a"))), Status::not_found);
    EXPECT_EQ(daemon.statistic("accepted"), accepted + 1); // asking for it
}

TEST(Udp, GarbageMakesNoPeer) {
    UdpDaemon daemon;
    Peer good = Peer::over_udp(daemon.port);
    good.ask(1, message(control_other, "version"));
    const std::uint64_t accepted = daemon.statistic("accepted");
    Peer bad = Peer::over_udp(daemon.port);
    std::mt19937 random(1);
    for (std::size_t size = 1; size < 1200; size += 7) {
        Bytes bytes(size);
        for (std::uint8_t &byte : bytes)
            byte = static_cast<std::uint8_t>(random());
        ASSERT_TRUE(bad.send(bytes));
        EXPECT_EQ(status_of(good.ask(static_cast<std::uint32_t>(size + 1), message(control_other, "version"))),
                  Status::ok);
    }
    EXPECT_EQ(daemon.statistic("accepted"), accepted + 1);
    EXPECT_EQ(daemon.log_lines("closed:"), 0U);
}

// Anybody can write a peer's address as his own.
TEST(Udp, GarbageFromTheAddressOfAPeerDoesNotEndItsConnection) {
    UdpDaemon daemon;
    Peer peer = Peer::over_udp(daemon.port);
    EXPECT_EQ(status_of(peer.ask(1, message(control_trylock, "volatile", "g", ""))), Status::ok);
    const std::uint64_t ignored = daemon.statistic("ignored");
    Bytes nearly = encode(packet_of(7, message(control_other, "version").encode(), 1));
    nearly[5] ^= 1U; // the last letter of the magic
    for (const Bytes &garbage : {Bytes{'x'}, Bytes(22, 'V'), Bytes(1024, 0), Bytes(1200, 'V'), nearly})
        ASSERT_TRUE(peer.send(garbage));
    EXPECT_EQ(status_of(peer.ask(2, message(control_unlock, "volatile", "g", ""))), Status::ok); // it had the lock
    EXPECT_EQ(daemon.statistic("ignored"), ignored + 5);
    EXPECT_EQ(daemon.log_lines("closed:"), 0U);
}

// Networks repeat datagrams, and late.
TEST(Udp, ARepeatedChangeDoesNotUndoALaterOne) {
    UdpDaemon daemon;
    Peer first = Peer::over_udp(daemon.port);
    Peer second = Peer::over_udp(daemon.port);
    const Bytes set = encode(packet_of(1, set_message("volatile", "g", "b", make_int32(1)).encode(), 1));
    ASSERT_TRUE(first.send(set));
    EXPECT_EQ(status_of(first.receive_message()), Status::ok);
    EXPECT_EQ(status_of(second.ask(1, set_message("volatile", "g", "b", make_int32(2)))), Status::ok);
    const std::uint64_t ignored = daemon.statistic("ignored");
    ASSERT_TRUE(first.send(set));
    const Message get = get_message("volatile", "g", "b");
    for (int i = 0; i < 2; ++i) // which may be repeated
        EXPECT_EQ(texts_of(first.ask(2, get), 1), "2 volatile memory");
    EXPECT_EQ(daemon.statistic("ignored"), ignored + 1);
    EXPECT_EQ(status_of(first.ask(3, set_message("volatile", "g", "b", make_int32(1)))), Status::ok);
    EXPECT_EQ(texts_of(first.ask(4, get), 1), "1 volatile memory");
}

// The right magic is not enough, neither to make a peer nor to end one.
TEST(Udp, HeadersThatCannotBeMeantAreIgnored) {
    UdpDaemon daemon;
    Peer stranger = Peer::over_udp(daemon.port);
    Peer peer = Peer::over_udp(daemon.port);
    EXPECT_EQ(status_of(peer.ask(1, message(control_trylock, "volatile", "g", ""))), Status::ok);
    const std::uint64_t ignored = daemon.statistic("ignored");
    const std::uint64_t accepted = daemon.statistic("accepted");
    const Packet cases[] = {
        {1, 0xffffffff, 1, {1}}, {1, 301, 1, {1}}, {1, 2, 0, {1}},       {1, 2, 3, {1}},
        {1, 0, 1, {1}},          {1, 1, 1, {}},    {0, 1, 1, Bytes(40)}, {0x80000000, 1, 1, Bytes(40)},
    };
    for (const Packet &packet : cases) {
        ASSERT_TRUE(peer.send(encode(packet)));
        ASSERT_TRUE(stranger.send(encode(packet)));
    }
    ASSERT_TRUE(stranger.send(acknowledgement(1, 1)));                                           // of nothing
    EXPECT_EQ(status_of(peer.ask(2, message(control_unlock, "volatile", "g", ""))), Status::ok); // it had the lock
    EXPECT_EQ(daemon.statistic("ignored"), ignored + 2 * std::size(cases) + 1);
    EXPECT_EQ(daemon.statistic("accepted"), accepted + 2); // asking for these
    EXPECT_EQ(daemon.log_lines("closed:"), 0U);
}

TEST(Udp, ManyPeersDoNotFillTheLog) {
    UdpDaemon daemon;
    std::vector<Peer> peers;
    for (int i = 0; i < 30; ++i) {
        peers.push_back(Peer::over_udp(daemon.port));
        EXPECT_EQ(status_of(peers.back().ask(1, message(control_other, "version"))), Status::ok);
    }
    daemon.stop();
    EXPECT_EQ(daemon.log_lines(") opened"), 20U);
    EXPECT_TRUE(daemon.logs("UDP peers opened: 10 more, which have not been logged"));
}

TEST(Udp, BrokenDatagramsOfAPeerDoNotSpoilTheNext) {
    UdpDaemon daemon;
    Peer peer = Peer::over_udp(daemon.port);
    const Bytes whole = encode(packet_of(7, message(control_other, "version").encode(), 1));
    for (std::size_t size = 1; size < whole.size(); ++size)
        ASSERT_TRUE(peer.send(Bytes(whole.data(), whole.data() + size)));
    Bytes too_long = whole;
    too_long.resize(1025);
    ASSERT_TRUE(peer.send(too_long));
    EXPECT_EQ(status_of(peer.ask(8, message(control_other, "version"))), Status::ok);
}

TEST(Udp, IsOffUnlessAskedFor) {
    UdpDaemon daemon;
    daemon.stop();
    daemon.options = {};
    daemon.start();
    Peer peer = Peer::over_udp(daemon.port);
    peer.send(encode(packet_of(1, message(control_other, "version").encode(), 1)));
    EXPECT_FALSE(peer.receive()); // the system says that nobody listens
}

TEST(Udp, AddressThatIsTakenIsAStartError) {
    UdpDaemon first;
    Daemon second;
    second.options = {"--udp", std::to_string(first.port)};
    const Outcome outcome = second.run_to_its_end();
    EXPECT_EQ(outcome.code, 1);
    EXPECT_NE(outcome.err.find("cannot bind UDP"), std::string::npos) << outcome.err;
}

} // namespace

} // namespace varnel::test
