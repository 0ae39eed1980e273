// SPDX-License-Identifier: MIT
// Connecting to a UNIX socket, and what can be in the way.
#include "conversation/peer.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace conversation_tests;

namespace {

// A socket in a folder of its own.
class Connect : public testing::Test {
protected:
    void SetUp() override {
        std::strcpy(folder_.data(), "/tmp/varnel-connect-XXXXXX");
        ASSERT_NE(mkdtemp(folder_.data()), nullptr);
        path_ = std::string(folder_.data()) + "/socket";
    }
    void TearDown() override {
        unlink(path_.c_str());
        rmdir(folder_.data());
    }

    void listen_there(int backlog) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, path_.c_str());
        listener_ = Fd(socket(AF_UNIX, SOCK_STREAM, 0));
        ASSERT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        ASSERT_EQ(listen(listener_.get(), backlog), 0);
    }

    int error_number() {
        try {
            Conversation::over_unix(path_, kPlenty);
        } catch (const Error &error) {
            EXPECT_EQ(error.kind(), ErrorKind::cannot_connect);
            return error.error_number();
        }
        return 0;
    }

    std::array<char, 64> folder_{};
    std::string path_;
    Fd listener_;
};

} // namespace

TEST_F(Connect, ReachesASocket) {
    listen_there(1);
    const auto conversation = Conversation::over_unix(path_, kPlenty);
    const Fd daemon(accept(listener_.get(), nullptr, nullptr));
    const Bytes bytes = packets(1, ok(control_get).add("green").encode());
    ASSERT_EQ(write(daemon.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(conversation->request(get_request(), Repeat::never).text(1), "green");
    EXPECT_FALSE(conversation->is_datagram());
}

TEST_F(Connect, TellsThatThereIsNoSocket) {
    EXPECT_EQ(error_number(), ENOENT);
}

TEST_F(Connect, TellsThatNobodyListens) {
    listen_there(1);
    listener_ = Fd();
    EXPECT_EQ(error_number(), ECONNREFUSED);
}

TEST_F(Connect, TellsThatAPathIsTooLongOrEmpty) {
    path_ = std::string(108, 'x');
    EXPECT_EQ(error_number(), 0);
    EXPECT_EQ(kind_thrown([&] { Conversation::over_unix(path_, kPlenty); }), ErrorKind::cannot_connect);
    EXPECT_EQ(kind_thrown([&] { Conversation::over_unix("", kPlenty); }), ErrorKind::cannot_connect);
    path_ = std::string(folder_.data()) + "/socket";
}

TEST_F(Connect, DoesNotWaitForEverInAFullQueue) {
    listen_there(0);
    const auto first = Conversation::over_unix(path_, kPlenty);
    EXPECT_EQ(kind_thrown([&] {
                  const auto second = Conversation::over_unix(path_, kShort);
                  const auto third = Conversation::over_unix(path_, kShort);
              }),
              ErrorKind::timed_out);
}
