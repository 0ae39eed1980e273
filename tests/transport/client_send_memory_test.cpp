// SPDX-License-Identifier: MIT
#include "message.h"
#include "support/death.h"
#include "support/log_capture.h"
#include "udp.h"

namespace {

// Releases what is lost on purpose, and says how many blocks that were.
size_t release_lost(CountingAllocator &allocator, Client &c) {
    c.reset();
    return allocator.release_live();
}

} // namespace

TEST(ClientSendMemory, AMessageTakesFiveBlocksUntilItIsSent) {
    const Ends ends = Ends::stream();
    const CountingAllocator allocator;
    const Client c = stream_client(ends.writer.get());
    const size_t before = allocator.live_blocks();
    const Bytes message = pattern(1003);
    EXPECT_EQ(client_send_data(c.get(), 0, message.data(), 1003), 1);
    EXPECT_EQ(allocator.live_blocks(), before + 5); // message, flags, slots, key, map entry
    EXPECT_EQ(client_send_msg(c.get(), 1, 2), 1);
    EXPECT_EQ(allocator.live_blocks(), before);
}

TEST(ClientSendMemory, AnIdThatIsBeingSentIsRefusedAndItsCopyLost) {
    const Ends ends = Ends::stream();
    CountingAllocator allocator;
    Client c = stream_client(ends.writer.get());
    const Bytes message = pattern(1003);
    EXPECT_EQ(client_send_data(c.get(), 7, message.data(), 1003), 1);
    drain(ends.reader.get());
    const msginfo *const info = find_message(c->send_map, 7);
    const LogCapture log;
    EXPECT_EQ(client_send_data(c.get(), 7, "abc", 3), 0);
    EXPECT_EQ(log.texts(LogLine::error), std::vector<std::string>{"put the data to send_map error.\n"});
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(find_message(c->send_map, 7), info);
    EXPECT_EQ(drain(ends.reader.get()), Bytes{});
    EXPECT_EQ(release_lost(allocator, c), 4U); // message, flags, slots, key
}

TEST(ClientSendMemory, AMapThatTakesNoEntryLosesTheCopyToo) {
    const Ends ends = Ends::stream();
    CountingAllocator allocator;
    Client c = stream_client(ends.writer.get());
    const LogCapture log;
    allocator.fail_at(5); // after message, flags, slots and key
    EXPECT_EQ(client_send_data(c.get(), 0, "abc", 3), 0);
    EXPECT_EQ(log.texts(LogLine::error), std::vector<std::string>{"put the data to send_map error.\n"});
    EXPECT_EQ(hashmap_size(c->send_map), 0U);
    EXPECT_EQ(drain(ends.reader.get()), Bytes{});
    EXPECT_EQ(release_lost(allocator, c), 4U);
}

TEST(ClientSendMemory, AMessageThatCannotBeCopiedIsNotSentAndLeavesNothing) {
    const Ends ends = Ends::stream();
    for (size_t n = 1; n <= 3; ++n) {
        CountingAllocator allocator;
        {
            const Client c = stream_client(ends.writer.get());
            const size_t before = allocator.live_blocks();
            const LogCapture log;
            allocator.fail_at(n);
            EXPECT_EQ(client_send_data(c.get(), 0, "abc", 3), 0);
            EXPECT_EQ(allocator.live_blocks(), before);
            EXPECT_TRUE(log.lines().empty());
            EXPECT_EQ(client_send_data(c.get(), 0, "abc", 3), 1); // the next one goes, under the next id
        }
        EXPECT_EQ(drain(ends.reader.get()), packet(2, 1, 1, bytes_of("abc")));
        EXPECT_EQ(allocator.live_blocks(), 0U);
    }
}

TEST(ClientSendMemory, ADatagramTakesOneAddressAndReleasesIt) {
    const Udp receiver = Udp::bound_low("127.0.0.1");
    const Udp sender = Udp::unbound();
    const sockaddr_in address = receiver.address();
    const Client c(client_new(CLIENT_DATAGRAM, sender.fd(), &address));
    const CountingAllocator allocator;
    EXPECT_EQ(client_send(c.get(), "abc", 3), 1);
    EXPECT_EQ(allocator.sizes(), std::vector<size_t>{sizeof(sockaddr_in)});
    EXPECT_EQ(allocator.live_blocks(), 0U);
    c->sock = closed_descriptor();
    EXPECT_EQ(client_send(c.get(), "abc", 3), 0);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(ClientSendMemoryDeathTest, TheKeyCannotBeDoneWithout) {
    const Client c = stream_client(closed_descriptor());
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(4);
            client_send_data(c.get(), 0, "abc", 3);
        },
        "^$");
}

TEST(ClientSendMemoryDeathTest, TheAddressCannotBeDoneWithout) {
    const sockaddr_in somewhere = loopback(9);
    const Client c(client_new(CLIENT_DATAGRAM, 0, &somewhere));
    EXPECT_ABORT(
        {
            CountingAllocator allocator;
            allocator.fail_at(1);
            client_send(c.get(), "abc", 3);
        },
        "^$");
}
