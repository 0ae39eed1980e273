// SPDX-License-Identifier: MIT
// Clients that mean no good, or are broken: they harm only themselves.
#include "daemon.h"
#include "messages.h"

#include <functional>
#include <random>

namespace varnel::test {

namespace {

constexpr std::size_t kKibPerMib = 1024;

class Hostile : public testing::Test {
protected:
    // Others are served, and the daemon has not grown by much.
    void expect_unharmed(std::size_t most_growth_mib = 24) {
        ++last_id;
        EXPECT_EQ(status_of(bystander.ask(last_id, set_message("volatile", "by", "stander", make_uint32(last_id)))),
                  Status::ok);
        EXPECT_LT(daemon.resident(), before + most_growth_mib * kKibPerMib);
    }

    std::uint32_t number(std::uint32_t below) { return static_cast<std::uint32_t>(random() % below); }

    Bytes random_bytes(std::size_t size) {
        Bytes bytes(size);
        for (std::uint8_t &byte : bytes)
            byte = static_cast<std::uint8_t>(random());
        return bytes;
    }

    StartedDaemon daemon;
    Peer bystander = Peer::over_unix(daemon.socket);
    std::uint32_t last_id = 0;
    std::mt19937 random{20240607};
    const std::size_t before = [this] {
        bystander.ask(++last_id, set_message("volatile", "by", "stander", make_uint32(0)));
        return daemon.resident();
    }();
};

Bytes request_bytes(std::uint32_t id) {
    return encode(packet_of(id, set_message("volatile", "g", "a", make_uint32(id)).encode(), 1));
}

TEST_F(Hostile, RandomBytesEndTheConnection) {
    for (int i = 0; i < 200; ++i) {
        Peer peer = Peer::over_unix(daemon.socket);
        peer.send(random_bytes(1 + number(4000)));
        EXPECT_TRUE(peer.is_closed());
    }
    EXPECT_EQ(daemon.statistic("dropped"), 200U);
    expect_unharmed();
}

// So many lines a minute are logged, and the others are counted.
TEST_F(Hostile, ComingAndGoingDoesNotFillTheLog) {
    for (int i = 0; i < 50; ++i) {
        Peer peer = Peer::over_unix(daemon.socket);
        peer.send(random_bytes(100));
        EXPECT_TRUE(peer.is_closed());
    }
    expect_unharmed();
    daemon.stop();
    EXPECT_EQ(daemon.log_lines(") opened"), 20U);
    EXPECT_EQ(daemon.log_lines("closed: "), 20U);
    EXPECT_TRUE(daemon.logs("connections opened: 31 more, which have not been logged")); // with the bystander
    EXPECT_TRUE(daemon.logs("connections closed for a reason: 30 more, which have not been logged"));
}

// Whoever goes without waiting for answers has asked for it all the same.
TEST_F(Hostile, WhatWasAskedForBeforeTheEndIsDone) {
    Bytes requests;
    const auto add = [&requests](std::uint32_t id, const Message &request) {
        const Bytes one = encode(packet_of(id, request.encode(), 1));
        requests.insert(requests.end(), one.begin(), one.end());
    };
    for (std::uint32_t id = 1; id <= 20; id += 2) {
        add(id, message(control_set, "user", kInFile, kNoFlags, "g", "a", make_uint32(id)));
        add(id + 1, get_message("user", "g", "a")); // which waits for the storage
    }
    {
        Peer peer = Peer::over_unix(daemon.socket);
        ASSERT_TRUE(peer.send(requests));
        peer.finish_sending();
    }
    EXPECT_TRUE(eventually([&] { return daemon.control({"get", "g:a"}).out == "19\n"; }));
    expect_unharmed();
}

// Every list walks the whole layer, though its page be empty: others come in between.
TEST_F(Hostile, ManyListsDoNotHoldOthersUp) {
    constexpr std::uint32_t kLists = 40;
    const std::string filler(200, 'f');
    for (int i = 0; i < 40; ++i) {
        Message part = message(control_set, "volatile", kInMemory, kNoFlags);
        for (std::uint32_t j = 0; j < 800; ++j)
            part.add("g" + std::to_string(i)).add(filler + std::to_string(j)).add(j);
        ASSERT_EQ(status_of(bystander.ask(++last_id, part)), Status::ok);
    }
    Bytes requests;
    for (std::uint32_t id = 1; id <= kLists; ++id) {
        const Bytes one = encode(packet_of(id, message(control_list_keys, "volatile", "", "z", "").encode(), 1));
        requests.insert(requests.end(), one.begin(), one.end());
    }
    const std::uint64_t handled = daemon.statistic("requests");
    Peer peer = Peer::over_unix(daemon.socket);
    ASSERT_TRUE(peer.send(requests));
    ASSERT_TRUE(peer.receive());
    const Received statistics = bystander.ask(++last_id, message(control_other, "statistics"));
    std::uint64_t now_handled = 0;
    for (std::size_t i = 1; i + 1 < statistics.size(); i += 2)
        now_handled = statistics.text(i) == "requests" ? statistics.uint64(i + 1) : now_handled;
    EXPECT_GT(now_handled, handled);
    EXPECT_LT(now_handled, handled + kLists);
    for (std::uint32_t id = 2; id <= kLists; ++id) {
        std::uint32_t answered = 0;
        EXPECT_EQ(status_of(peer.receive_message(&answered)), Status::ok);
        EXPECT_EQ(answered, id);
    }
    expect_unharmed(48);
}

TEST_F(Hostile, MutatedPacketsNeverHarm) {
    for (int i = 0; i < 500; ++i) {
        Peer peer = Peer::over_unix(daemon.socket);
        Bytes bytes = request_bytes(1);
        const Bytes second = request_bytes(2);
        bytes.insert(bytes.end(), second.begin(), second.end());
        for (std::uint32_t changes = 1 + number(4); changes != 0; --changes)
            bytes[number(static_cast<std::uint32_t>(bytes.size()))] = static_cast<std::uint8_t>(random());
        peer.send(bytes);
        peer.finish_sending();
        EXPECT_TRUE(peer.is_closed());
    }
    expect_unharmed();
}

// Whole packets around broken messages: each is answered, and the connection goes on.
TEST_F(Hostile, MutatedMessagesAreAnswered) {
    Peer peer = Peer::over_unix(daemon.socket);
    const std::vector<Bytes> seeds = {
        set_message("volatile", "g", "a", long_text(40)).encode(),
        message(control_list, "volatile", "", "", "").encode(),
        message(control_changed, "volatile", "", "", std::uint64_t{0}).encode(),
        message(control_unset, "volatile", kInMemory, kNoFlags, "g", "a").encode(),
        message(control_trylock, "volatile", "g", "a").encode(),
        message(control_status, "volatile", "g", "a").encode(),
        message(control_other, "limits").encode(),
    };
    for (std::uint32_t id = 1; id <= 3000; ++id) {
        Bytes bytes = seeds[number(static_cast<std::uint32_t>(seeds.size()))];
        for (std::uint32_t changes = 1 + number(3); changes != 0; --changes)
            bytes[number(static_cast<std::uint32_t>(bytes.size()))] = static_cast<std::uint8_t>(random());
        if (number(4) == 0)
            bytes.resize(1 + number(static_cast<std::uint32_t>(bytes.size())));
        peer.send_message(id, bytes);
        std::uint32_t answered = 0;
        const Received answer = peer.receive_message(&answered);
        ASSERT_EQ(answered, id);
        ASSERT_LT(answer.uint32(0), static_cast<std::uint32_t>(Status::count));
    }
    expect_unharmed();
}

TEST_F(Hostile, PacketsThatStopAnywhereLeaveNothing) {
    const Bytes whole = request_bytes(1);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Peer peer = Peer::over_unix(daemon.socket);
        ASSERT_TRUE(peer.send(Bytes(whole.data(), whole.data() + size)));
        peer.finish_sending();
        EXPECT_TRUE(peer.is_closed());
    }
    EXPECT_EQ(status_of(bystander.ask(++last_id, get_message("volatile", "g", "a"))), Status::not_found);
    expect_unharmed();
}

TEST_F(Hostile, HeadersThatCannotBeMeantEndTheConnection) {
    const Packet cases[] = {
        {1, 0xffffffff, 1, {1}}, {1, 0x80000000, 1, {1}},
        {1, 65536, 1, {1}},      {1, 301, 1, {1}},
        {1, 2, 0, {1}},          {1, 2, 3, {1}},
        {1, 2, 0xffffffff, {1}}, {1, 0, 1, {1}},
        {1, 1, 1, Bytes(1003)},  {1, 1, 1, Bytes(1024)},
        {1, 1, 1, {}},           {1, 2, 1, {}},
        {0, 1, 1, Bytes(40)},    {0x80000000, 1, 1, Bytes(40)},
    };
    std::size_t number_of_cases = 0;
    for (const Packet &packet : cases) {
        Peer peer = Peer::over_unix(daemon.socket);
        ASSERT_TRUE(peer.send(encode(packet)));
        EXPECT_TRUE(peer.is_closed()) << packet.id << " " << packet.count << " " << packet.index;
        EXPECT_TRUE(eventually([&] { return daemon.log_lines("closed: ") == number_of_cases + 1; }));
        ++number_of_cases;
    }
    Bytes endless = encode({1, 1, 1, {1}});
    std::fill(endless.begin() + 18, endless.begin() + 22, std::uint8_t{0xff}); // a length of 2^32 - 1
    Peer peer = Peer::over_unix(daemon.socket);
    ASSERT_TRUE(peer.send(endless));
    EXPECT_TRUE(peer.is_closed());
    expect_unharmed();
}

TEST_F(Hostile, IdOfAnAnswerThatIsUnderWayEndsTheConnection) {
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, set_message("volatile", "g", "a", long_text(3000)));
    peer.send_message(2, get_message("volatile", "g", "a").encode());
    ASSERT_TRUE(peer.receive());
    peer.send_message(2, get_message("volatile", "g", "a").encode());
    EXPECT_TRUE(peer.is_closed());
    EXPECT_EQ(daemon.log_lines("closed: it uses 2 as the id of a request again, whose answer"), 1U);
    expect_unharmed();
}

TEST_F(Hostile, FloodsOfAcknowledgementsMakeNoAnswers) {
    Peer peer = Peer::over_unix(daemon.socket);
    Bytes flood;
    for (std::uint32_t i = 0; i < 5000; ++i) {
        const Bytes one = acknowledgement(i, i);
        flood.insert(flood.end(), one.begin(), one.end());
    }
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(peer.send(flood));
    EXPECT_EQ(status_of(peer.ask(1, message(control_other, "version"))), Status::ok);
    expect_unharmed();
}

// Every acknowledgement of a packet brings the next one: whoever asks for the same again and again, and reads nothing,
// is not read any more.
TEST_F(Hostile, AcknowledgementsThatAskForMoreThanIsReadAreHeldUp) {
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, set_message("volatile", "g", "a", long_text(60000)));
    peer.send_message(2, get_message("volatile", "g", "a").encode());
    Bytes flood;
    for (int i = 0; i < 1000; ++i) {
        const Bytes one = acknowledgement(2, 1);
        flood.insert(flood.end(), one.begin(), one.end());
    }
    std::size_t sent = 0;
    for (std::size_t n = 1; n != 0 && sent < 100 * flood.size(); sent += n)
        n = peer.send_some(flood);
    EXPECT_LT(sent, 100 * flood.size());
    expect_unharmed();
}

TEST_F(Hostile, RepeatedPacketsCountOnce) {
    Peer peer = Peer::over_unix(daemon.socket);
    const Bytes request = set_message("volatile", "g", "a", long_text(1500)).encode();
    Bytes flood;
    for (int i = 0; i < 1000; ++i) {
        const Bytes one = encode(packet_of(1, request, 1));
        flood.insert(flood.end(), one.begin(), one.end());
    }
    for (int i = 0; i < 30; ++i)
        ASSERT_TRUE(peer.send(flood)); // 30 MB
    ASSERT_TRUE(peer.send(encode(packet_of(1, request, 2))));
    std::optional<Packet> packet = peer.receive();
    while (packet && packet->count == 0)
        packet = peer.receive();
    ASSERT_TRUE(packet);
    Bytes bytes = packet->payload;
    EXPECT_EQ(status_of(Received(bytes)), Status::ok);
    expect_unharmed();
}

TEST_F(Hostile, ConnectionsThatSayNothingKeepNobodyOut) {
    std::vector<Peer> silent;
    for (int i = 0; i < 200; ++i)
        silent.push_back(Peer::over_unix(daemon.socket));
    expect_unharmed();
    for (Peer &peer : silent)
        peer.finish_sending();
    for (Peer &peer : silent)
        EXPECT_TRUE(peer.is_closed());
    expect_unharmed();
}

// Requests without end from a client that never reads: the daemon stops reading from it, too.
TEST_F(Hostile, ClientThatNeverReadsIsNotReadEither) {
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, set_message("volatile", "g", "a", long_text(900)));
    Bytes flood;
    std::uint32_t id = 1;
    constexpr std::size_t kMost = 64 << 20;
    std::size_t sent = 0;
    Deadline quiet = Deadline::after(Milliseconds(500));
    while (!quiet.passed() && sent < kMost) {
        if (flood.empty()) {
            for (int i = 0; i < 100; ++i) {
                const Bytes one = encode(packet_of(++id, get_message("volatile", "g", "a").encode(), 1));
                flood.insert(flood.end(), one.begin(), one.end());
            }
        }
        const std::size_t n = peer.send_some(flood);
        flood.erase(flood.begin(), flood.begin() + static_cast<std::ptrdiff_t>(n));
        sent += n;
        if (n != 0)
            quiet = Deadline::after(Milliseconds(500));
        expect_unharmed();
    }
    EXPECT_LT(sent, kMost);
    expect_unharmed();
}

// The same for large answers: they wait up to the bound, then requests do, and then the connection ends.
TEST_F(Hostile, ClientThatAcknowledgesNothingIsClosed) {
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, set_message("volatile", "g", "a", long_text(60000)));
    for (std::uint32_t id = 2; id < 1100; ++id)
        peer.send(encode(packet_of(id, get_message("volatile", "g", "a").encode(), 1)));
    EXPECT_TRUE(peer.is_closed());
    EXPECT_EQ(daemon.log_lines("closed: it does not take its answers"), 1U);
    expect_unharmed();
}

TEST_F(Hostile, UnfinishedMessagesOfManyClientsStayBounded) {
    std::vector<Peer> peers;
    for (int i = 0; i < 50; ++i) {
        peers.push_back(Peer::over_unix(daemon.socket));
        for (std::uint32_t id = 1; id <= 4; ++id) // as many as are allowed, as large as they may be
            ASSERT_TRUE(peers.back().send(encode({id, 300, 1, Bytes(1002, 'x')})));
    }
    for (Peer &peer : peers)
        ASSERT_TRUE(peer.receive());
    expect_unharmed(96); // 200 messages of 300 packets, which are allocated when the first of them comes
    peers.clear();
    EXPECT_TRUE(eventually([this] {
        return texts_of(bystander.ask(++last_id, message(control_other, "statistics"))).find("connections 1 ") !=
               std::string::npos;
    }));
    expect_unharmed(96);
}

TEST_F(Hostile, ThousandsOfConnectionsOneAfterTheOtherLeaveNothing) {
    for (int i = 0; i < 3000; ++i) {
        Peer peer = Peer::over_unix(daemon.socket);
        peer.send(request_bytes(1));
    }
    expect_unharmed();
}

} // namespace

} // namespace varnel::test
