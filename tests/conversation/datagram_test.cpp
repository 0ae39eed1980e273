// SPDX-License-Identifier: MIT
// Requests and answers over UDP.
#include "conversation/peer.h"

#include "conversation/requests.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace conversation_tests;
using varnel::protocol::kFirstEventId;

namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

std::uint16_t port_of(int fd) {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size), 0);
    return ntohs(address.sin_port);
}

// A UDP socket at a port that a daemon may have.
Fd bound_socket() {
    Fd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    for (auto port = static_cast<std::uint16_t>(20000 + getpid() % 10000); port < 32768; ++port) {
        const sockaddr_in address = loopback(port);
        if (bind(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
            break;
    }
    return fd;
}

class Datagrams : public testing::Test {
protected:
    void open(Milliseconds time) { conversation_ = Conversation::over_udp("localhost", port_of(daemon_.get()), time); }

    // Datagrams that lie in the socket until the conversation reads them.
    void say(const Bytes &bytes) const {
        const sockaddr_in to = loopback(port_of(conversation_->descriptor()));
        ASSERT_EQ(
            sendto(daemon_.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&to), sizeof to),
            static_cast<ssize_t>(bytes.size()));
    }

    // The next datagram that the conversation has sent; empty when there is none.
    Bytes heard(int flags = MSG_DONTWAIT) const {
        std::array<std::uint8_t, 2048> buffer{};
        const ssize_t count = recv(daemon_.get(), buffer.data(), buffer.size(), flags);
        return {buffer.data(), buffer.data() + std::max<ssize_t>(count, 0)};
    }

    std::string ask() { return std::string(conversation_->request(get_request(), Repeat::harmless).text(1)); }

    Fd daemon_ = bound_socket();
    std::unique_ptr<Conversation> conversation_;
};

} // namespace

TEST_F(Datagrams, CarryARequestAndItsAnswer) {
    open(kPlenty);
    say(packets(1, answer("green")));
    EXPECT_EQ(ask(), "green");
    EXPECT_EQ(heard(), packets(1, get_request().encode()));
    EXPECT_EQ(heard(), Bytes());
}

TEST_F(Datagrams, ComeFromAPortThatIsAnsweredAtTheRightAddress) {
    for (int i = 0; i < 50; ++i) {
        open(kPlenty);
        EXPECT_GE(port_of(conversation_->descriptor()), 1024);
        EXPECT_LT(port_of(conversation_->descriptor()), 32768);
    }
}

TEST_F(Datagrams, CarryAnAnswerOfSeveralPackets) {
    open(kPlenty);
    const Bytes bytes = answer(std::string(2500, 'x'));
    for (std::uint32_t i = 1; i <= packet_count(bytes); ++i)
        say(packet(1, bytes, i));
    EXPECT_EQ(ask(), std::string(2500, 'x'));
    heard(); // the request
    EXPECT_EQ(heard(), acknowledgement(1, 1));
    EXPECT_EQ(heard(), acknowledgement(1, 2));
    EXPECT_EQ(heard(), Bytes());
}

TEST_F(Datagrams, ThatAreBrokenAreAsGoodAsLost) {
    open(kPlenty);
    say({'x'});
    say({});
    say(Bytes(1500, 'V'));
    say(header({1, 0x7fffffff, 1, 1002}));
    say(packets(1, Bytes(40, 'x')));
    say(packets(99, answer("not asked")));
    Bytes half = packets(1, answer("half"));
    half.resize(half.size() - 2);
    say(half);
    say(packets(1, answer("green")));
    EXPECT_EQ(ask(), "green");
}

TEST_F(Datagrams, AreSentThreeTimesUnderNewIdsWhenThatDoesNoHarm) {
    open(kShort * 3);
    EXPECT_EQ(kind_thrown([&] { ask(); }), ErrorKind::timed_out);
    for (const std::uint32_t id : {1U, 2U, 3U})
        EXPECT_EQ(heard(), packets(id, get_request().encode()));
    EXPECT_EQ(heard(), Bytes());
}

TEST_F(Datagrams, AreSentOnceWhenTwiceWouldBeAnotherThing) {
    open(kShort);
    EXPECT_EQ(kind_thrown([&] {
                  varnel::conversation::unset(*conversation_, {}, {{"lamps", "hall", nullptr}});
              }),
              ErrorKind::timed_out);
    EXPECT_NE(heard(), Bytes());
    EXPECT_EQ(heard(), Bytes());
}

TEST_F(Datagrams, OfALongRequestStartAnewWhenTheyAreSentAgain) {
    open(kShort * 3);
    const varnel::Value value = varnel::make_string(std::string(1500, 'x'));
    EXPECT_EQ(kind_thrown([&] {
                  varnel::conversation::set(*conversation_, {}, {{"lamps", "hall", value.get()}});
              }),
              ErrorKind::timed_out);
    for (const std::uint32_t id : {1U, 2U, 3U}) {
        const auto headers = headers_of(heard());
        ASSERT_EQ(headers.size(), 1U);
        EXPECT_EQ(headers[0].id, id);
        EXPECT_EQ(headers[0].index, 1U);
    }
}

TEST_F(Datagrams, GetAnAnswerToTheSecondOne) {
    open(Milliseconds(3000));
    const Process daemon([&] {
        heard(0);
        const Bytes second = heard(0);
        say(packets(headers_of(second).at(0).id, answer("second")));
        pause();
    });
    EXPECT_EQ(ask(), "second");
}

TEST_F(Datagrams, TakeTheLateAnswerToTheFirstOne) {
    open(Milliseconds(3000));
    const Process daemon([&] {
        const Bytes first = heard(0);
        heard(0);
        say(packets(headers_of(first).at(0).id, answer("first")));
        pause();
    });
    EXPECT_EQ(ask(), "first");
}

TEST_F(Datagrams, BringEvents) {
    open(kPlenty);
    say(packets(kFirstEventId, event(7, "hall").encode()));
    EXPECT_EQ(conversation_->next_event(Deadline::after(kPlenty))->uint64(0), 7U);
}

TEST_F(Datagrams, ReachNobody) {
    const std::uint16_t port = port_of(daemon_.get());
    open(kPlenty);
    daemon_ = Fd();
    EXPECT_EQ(kind_thrown([&] { ask(); }), ErrorKind::cannot_connect) << port;
    EXPECT_EQ(kind_thrown([&] { ask(); }), ErrorKind::cannot_connect);
}

TEST_F(Datagrams, DoNotGoToPortsThatAreAnsweredWrongly) {
    for (const int port : {0, 32768, 65535})
        EXPECT_EQ(kind_thrown([&] { Conversation::over_udp("127.0.0.1", static_cast<std::uint16_t>(port), kPlenty); }),
                  ErrorKind::cannot_connect);
}

TEST_F(Datagrams, DoNotGoToAHostThatHasNoAddress) {
    EXPECT_EQ(kind_thrown([&] { Conversation::over_udp("no.such.host.invalid", 4711, kPlenty); }),
              ErrorKind::cannot_connect);
}
