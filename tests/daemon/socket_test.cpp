// SPDX-License-Identifier: MIT
#include "daemon/socket.h"
#include "folder_fixture.h"
#include "support/log_capture.h"

#include <arpa/inet.h>
#include <optional>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace varnel::daemon;
using varnel::Fd;

namespace {

class ListenerTest : public FolderTest {
public:
    [[nodiscard]] SocketSettings settings() const { return {path("s"), 0660, "", ""}; }

    static std::string refusal(const SocketSettings &wanted) {
        try {
            const Listener listener(wanted);
        } catch (const std::runtime_error &error) {
            return error.what();
        }
        return "";
    }

    // Whether somebody listens at the path.
    [[nodiscard]] bool can_connect() const {
        const Fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_un address = address_of_socket();
        return connect(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    }
    [[nodiscard]] sockaddr_un address_of_socket() const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path("s").copy(address.sun_path, sizeof address.sun_path - 1);
        return address;
    }
    [[nodiscard]] mode_t mode() const {
        struct stat status {};
        EXPECT_EQ(stat(path("s").c_str(), &status), 0);
        return status.st_mode & 07777;
    }
};

std::string words_of(const std::string &text) {
    try {
        return name_of_peer(udp_address(text));
    } catch (const std::runtime_error &error) {
        return error.what();
    }
}

} // namespace

TEST_F(ListenerTest, ListensAndRemovesItsSocket) {
    {
        const Listener listener(settings());
        EXPECT_TRUE(can_connect());
        EXPECT_EQ(entries(), (std::vector<std::string>{"s", "s.lock"}));
    }
    EXPECT_FALSE(can_connect());
    EXPECT_EQ(entries(), (std::vector<std::string>{"s.lock"}));
    const Listener again(settings());
    EXPECT_TRUE(can_connect());
}

TEST_F(ListenerTest, GivesTheSocketItsMode) {
    for (const mode_t wanted : {0660U, 0600U, 0666U, 0777U}) {
        SocketSettings special = settings();
        special.mode = wanted;
        const Listener listener(special);
        EXPECT_EQ(mode(), wanted);
    }
}

TEST_F(ListenerTest, MakesTheFolder) {
    const Listener listener({path("a/b/s"), 0660, "", ""});
    EXPECT_EQ(access(path("a/b/s").c_str(), F_OK), 0);
}

TEST_F(ListenerTest, TakesTheOwnerByNameAndByNumber) {
    SocketSettings owned = settings();
    owned.owner = std::to_string(getuid());
    owned.group = std::to_string(getgid());
    EXPECT_EQ(refusal(owned), "");
    if (getuid() == 0) {
        owned.owner = "root";
        owned.group = "root";
        EXPECT_EQ(refusal(owned), "");
    }
}

TEST_F(ListenerTest, RefusesOwnersThatAreNotThere) {
    SocketSettings owned = settings();
    owned.owner = "no such user";
    EXPECT_EQ(refusal(owned), "there is no user no such user");
    owned.owner.clear();
    owned.group = "no such group";
    EXPECT_EQ(refusal(owned), "there is no group no such group");
    EXPECT_EQ(entries(), (std::vector<std::string>{"s.lock"}));
}

TEST_F(ListenerTest, ReplacesASocketThatADeadDaemonHasLeft) {
    {
        const Fd dead(socket(AF_UNIX, SOCK_STREAM, 0));
        const sockaddr_un address = address_of_socket();
        ASSERT_EQ(bind(dead.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    const LogCapture log;
    const Listener listener(settings());
    EXPECT_TRUE(can_connect());
    EXPECT_EQ(log.texts(LogLine::info),
              (std::vector<std::string>{"removing the socket that an earlier daemon has left: " + path("s") + "\n"}));
}

TEST_F(ListenerTest, LeavesALivingDaemonAlone) {
    const Listener first(settings());
    EXPECT_EQ(refusal(settings()), "another daemon serves " + path("s"));
    EXPECT_TRUE(can_connect());
}

TEST_F(ListenerTest, LeavesAloneWhatIsNoSocket) {
    write("s", "precious");
    EXPECT_EQ(refusal(settings()), path("s") + " is there and is no socket");
    EXPECT_EQ(entries(), (std::vector<std::string>{"s", "s.lock"}));
}

TEST_F(ListenerTest, RefusesPathsThatNoSocketHas) {
    const std::string longest(107 - path("").size(), 'x');
    EXPECT_EQ(refusal({path(longest), 0660, "", ""}), "");
    EXPECT_EQ(refusal({path(longest + "x"), 0660, "", ""}),
              "socket " + path(longest + "x") + ": the path has none or more than 107 characters");
    EXPECT_EQ(refusal({"", 0660, "", ""}), "socket : the path has none or more than 107 characters");
    EXPECT_EQ(entries(), (std::vector<std::string>{longest + ".lock"}));
}

TEST_F(ListenerTest, SaysThatItCannotBeMade) {
    write("file", "");
    EXPECT_NE(refusal({path("file/s"), 0660, "", ""}), "");
    EXPECT_NE(refusal({"/proc/s", 0660, "", ""}), "");
}

TEST_F(ListenerTest, KnowsThePeer) {
    const Listener listener(settings());
    const Fd connecting(socket(AF_UNIX, SOCK_STREAM, 0));
    const sockaddr_un address = address_of_socket();
    ASSERT_EQ(connect(connecting.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    const Fd accepted(accept(listener.get(), nullptr, nullptr));
    EXPECT_EQ(peer_of(accepted.get()), "pid " + std::to_string(getpid()) + ", user " + std::to_string(getuid()) +
                                           ", group " + std::to_string(getgid()));
    EXPECT_EQ(peer_of(-1), "unknown");
}

TEST(UdpAddress, IsAnAddressWithAPortOrAPortOnLoopback) {
    EXPECT_EQ(words_of("4711"), "127.0.0.1:4711");
    EXPECT_EQ(words_of("192.0.2.1:4711"), "192.0.2.1:4711");
    EXPECT_EQ(words_of("0.0.0.0:1"), "0.0.0.0:1");
    EXPECT_EQ(words_of("255.255.255.255:32767"), "255.255.255.255:32767");
    for (const char *const text : {"",
                                   ":",
                                   "host",
                                   "127.0.0.1",
                                   "127.0.0.1:",
                                   ":4711",
                                   "localhost:4711",
                                   "4711x",
                                   "+4711",
                                   "-1",
                                   "0",
                                   "127.0.0.1:0",
                                   "32768",
                                   "65536",
                                   "4294967297",
                                   "127.0.0:4711",
                                   "256.0.0.1:4711",
                                   "[::1]:4711",
                                   "::1",
                                   "1.2.3.4:5:6",
                                   " 4711",
                                   "4711 "})
        EXPECT_EQ(words_of(text), "\"" + std::string(text) +
                                      "\" is no ADDRESS:PORT or PORT, with an IPv4 address and a port from 1 to 32767");
}

TEST(Socket, ReadinessAllowsSomePackets) {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, fds), 0);
    const Fd ours(fds[0]);
    const Fd theirs(fds[1]);
    EXPECT_GE(packets_per_readiness(ours.get()), 1U);
    EXPECT_EQ(packets_per_readiness(-1), 1U);
}

// As many packets as packets_per_readiness says fit whenever the socket says that it is writable.
TEST(Socket, AWritableSocketTakesThatManyPackets) {
    for (const int size : {0, 4608, 16384, 65536, 262144}) {
        int fds[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, fds), 0);
        const Fd ours(fds[0]);
        const Fd theirs(fds[1]);
        if (size != 0) {
            ASSERT_EQ(setsockopt(ours.get(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size), 0);
        }
        const std::uint32_t packets = packets_per_readiness(ours.get());
        const std::vector<char> packet(1024, 'x');
        for (int turn = 0; turn < 20; ++turn) {
            while (is_writable(ours.get())) {
                for (std::uint32_t i = 0; i < packets; ++i)
                    ASSERT_EQ(send(ours.get(), packet.data(), packet.size(), MSG_DONTWAIT), 1024) << size;
            }
            std::vector<char> some(3000);
            ASSERT_GT(read(theirs.get(), some.data(), some.size()), 0);
        }
    }
}
