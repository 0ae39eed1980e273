// SPDX-License-Identifier: MIT
// Two clients that talk to each other over a connection.
#include "wire.h"

#include "support/counting_allocator.h"

#include <map>
#include <random>

namespace {

struct Side {
    explicit Side(const Descriptor &fd, uint32_t type) : sock(fd.get()), end(client_new(type, fd.get(), nullptr)) {}

    void start(uint32_t id, const Bytes &message) const {
        EXPECT_EQ(client_send_data(end.get(), id, message.data(), static_cast<uint32_t>(message.size())), 1);
    }

    // Reads at most `most` bytes, and no more than the ring has room for, and parses. Whether there were any.
    bool turn(size_t most) {
        const auto room = static_cast<size_t>(end->recv_buf->capacity - unread(end));
        Bytes bytes(std::min(most, room));
        const ssize_t got = read(sock, bytes.data(), bytes.size());
        if (got <= 0)
            return false;
        bytes_received += static_cast<size_t>(got);
        bytes.resize(static_cast<size_t>(got));
        feed(end, bytes);
        for (Parsed &parsed : parse_all(end))
            received.push_back(std::move(parsed));
        return true;
    }

    int sock;
    Client end;
    std::vector<Parsed> received;
    size_t bytes_received = 0;
};

struct Conversation {
    // Until neither side has anything to read.
    template <class PieceSize> void run(PieceSize piece_size) {
        for (bool busy = true; busy;) {
            busy = left.turn(piece_size());
            busy = right.turn(piece_size()) || busy;
        }
        EXPECT_EQ(hashmap_size(left.end->send_map), 0U);
        EXPECT_EQ(hashmap_size(right.end->send_map), 0U);
        EXPECT_EQ(unread(left.end), 0);
        EXPECT_EQ(unread(right.end), 0);
    }

    Ends ends = Ends::stream();
    Side left{ends.reader, CLIENT_STREAM};
    Side right{ends.writer, CLIENT_STREAM_ALT};
};

} // namespace

TEST(Conversation, AMessageOfMoreThanAHundredPackets) {
    Conversation talk;
    const Bytes message = pattern(size_t{150} * 1002 + 17);
    talk.left.start(0, message);
    talk.run([] { return 4096; });
    EXPECT_EQ(talk.right.received, std::vector<Parsed>{message_parsed(1, message)});
    EXPECT_EQ(talk.right.bytes_received, message.size() + size_t{151} * 22);
    EXPECT_EQ(talk.left.bytes_received, size_t{150} * 22); // one acknowledgement a packet, but for the last
    EXPECT_TRUE(talk.left.received.empty());
    EXPECT_EQ(talk.right.end->recv_buf->capacity, 1024); // no packet made it grow
}

TEST(Conversation, BothWaysAtOnceInPiecesOfAnySize) {
    std::mt19937 random(5);
    for (const size_t most : {size_t{1}, size_t{7}, size_t{22}, size_t{23}, size_t{1000}, size_t{5000}}) {
        Conversation talk;
        const Bytes to_right = pattern(size_t{20} * 1002, 1);
        const Bytes to_left = pattern(size_t{30} * 1002 + 1, 2);
        talk.left.start(0, to_right);
        talk.right.start(0, to_left);
        talk.run([&] { return 1 + random() % most; });
        EXPECT_EQ(talk.right.received, std::vector<Parsed>{message_parsed(1, to_right)}) << most;
        EXPECT_EQ(talk.left.received, std::vector<Parsed>{message_parsed(1, to_left)}) << most;
    }
}

TEST(Conversation, ManyMessagesSideBySideBothWays) {
    std::mt19937 random(6);
    Conversation talk;
    std::map<uint32_t, Bytes> expected;
    for (uint32_t id = 1; id <= 12; ++id) {
        const Bytes message = pattern(500 + 700 * size_t{id}, id);
        expected[id] = message;
        talk.left.start(0, message);
        talk.right.start(0, message);
    }
    talk.run([&] { return 1 + random() % 300; });
    for (const Side *const side : {&talk.left, &talk.right}) {
        std::map<uint32_t, Bytes> received;
        for (const Parsed &message : side->received)
            received[message.id.value()] = message.data.value();
        EXPECT_EQ(side->received.size(), expected.size());
        EXPECT_EQ(received, expected);
    }
}

TEST(Conversation, MessagesFollowOneAnotherAndNothingIsLost) {
    const CountingAllocator allocator;
    {
        Conversation talk;
        for (uint32_t id = 1; id <= 120; ++id) {
            const Bytes message = pattern(1 + size_t{id} * 37, id);
            (id % 2 == 0 ? talk.left : talk.right).start(id, message);
            talk.run([] { return 4096; });
            auto &received = (id % 2 == 0 ? talk.right : talk.left).received;
            ASSERT_EQ(received, std::vector<Parsed>{message_parsed(id, message)});
            received.clear();
        }
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(Conversation, SizesAroundThePacketsEnd) {
    for (const size_t size :
         {size_t{1}, size_t{1001}, size_t{1002}, size_t{1003}, size_t{2003}, size_t{2004}, size_t{2005}}) {
        Conversation talk;
        const Bytes message = pattern(size);
        talk.left.start(0, message);
        talk.run([] { return 4096; });
        EXPECT_EQ(talk.right.received, std::vector<Parsed>{message_parsed(1, message)}) << size;
    }
}
