// SPDX-License-Identifier: MIT
#include "message.h"
#include "support/death.h"
#include "support/log_capture.h"

namespace {

sockaddr_in address(uint32_t host, uint16_t port) {
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(host);
    return result;
}

void put_message(hashmap *messages, uint32_t id) {
    auto *const key = static_cast<uint32_t *>(xmalloc(sizeof id));
    *key = id;
    ASSERT_EQ(hashmap_put(messages, key, msginfo_new_by_packet(2)), 1);
}

} // namespace

TEST(Client, OfAStreamKeepsTheDescriptorAsItsPeer) {
    for (const uint32_t type : {CLIENT_STREAM, CLIENT_STREAM_ALT}) {
        for (const int fd : {0, 5, INT_MAX, -1, INT_MIN}) {
            const Client c(client_new(type, fd, nullptr));
            ASSERT_NE(c, nullptr);
            EXPECT_EQ(c->type, type);
            EXPECT_EQ(c->peer, int64_t{fd});
            EXPECT_EQ(c->sock, -1);
        }
    }
}

TEST(Client, OfAStreamDoesNotLookAtTheAddress) {
    const sockaddr_in somewhere = address(0x7F000001, 80);
    const Client c(client_new(CLIENT_STREAM, 7, &somewhere));
    EXPECT_EQ(c->peer, 7);
}

TEST(Client, OfADatagramPeerKeepsTheSocketAndThePeerId) {
    const struct {
        uint32_t host;
        uint16_t port;
        int64_t peer;
    } rows[] = {
        {0xC0A80102, 54321, 0xC0A80101D431}, // the port counts as a signed number
        {0xC0A80102, 32767, 0xC0A801027FFF},
        {0xC0A80102, 32768, 0xC0A801018000},
        {0x7F000001, 80, 0x7F0000010050},
        {0xFFFFFFFF, 1, 0xFFFFFFFF0001}, // the address as an unsigned one
        {0xFFFFFFFF, 65535, 0xFFFFFFFEFFFF},
        {0x80000000, 0, 0x800000000000},
        {0, 1, 1},
        {0, 0, 0},
        {0, 65535, -1},
        {0, 32768, -32768},
    };
    for (const auto &row : rows) {
        const sockaddr_in peer = address(row.host, row.port);
        const Client c(client_new(CLIENT_DATAGRAM, 9, &peer));
        ASSERT_NE(c, nullptr);
        EXPECT_EQ(c->type, 3U);
        EXPECT_EQ(c->sock, 9);
        EXPECT_EQ(c->peer, row.peer) << std::hex << row.host << " " << row.port;
    }
}

TEST(Client, StartsWithEmptyPartsOfItsOwn) {
    const Client c = stream_client(0);
    ASSERT_NE(c->msgids, nullptr);
    EXPECT_EQ(msgid_get_send(c->msgids), 0U);
    ASSERT_NE(c->recv_buf, nullptr);
    EXPECT_EQ(c->recv_buf->capacity, 1024);
    EXPECT_EQ(unread(c), 0);
    for (const hashmap *const map : {c->recv_map, c->send_map}) {
        ASSERT_NE(map, nullptr);
        EXPECT_EQ(hashmap_size(map), 0U);
        EXPECT_EQ(map->hash_fn, uint32_hash_func);
        EXPECT_EQ(map->compare_fn, uint32_compare_func);
    }
    EXPECT_NE(c->recv_map, c->send_map);
}

TEST(Client, OtherTypesAreRefusedWithALine) {
    const sockaddr_in peer = address(0x7F000001, 80);
    for (const uint32_t type : {0U, 4U, 5U, 0x80000001U, UINT32_MAX}) {
        const CountingAllocator allocator;
        const LogCapture log;
        EXPECT_EQ(client_new(type, 0, &peer), nullptr);
        EXPECT_EQ(log.texts(LogLine::error), std::vector<std::string>{"add client faild: type is not right.\n"});
        EXPECT_EQ(log.lines().size(), 1U);
        EXPECT_EQ(log.lines()[0].prefix, "_varnel: ");
        EXPECT_EQ(allocator.allocations(), 0U);
    }
}

TEST(Client, OfADatagramPeerNeedsAnAddress) {
    EXPECT_EQ(client_new(CLIENT_DATAGRAM, 0, nullptr), nullptr);
}

TEST(Client, FreeTakesNull) {
    client_free(nullptr);
}

TEST(Client, FreeReleasesAllMessagesAndClosesNothing) {
    const Ends ends = Ends::stream();
    const CountingAllocator allocator;
    {
        const Client c = stream_client(ends.writer.get());
        for (uint32_t id = 1; id <= 50; ++id) {
            put_message(c->recv_map, id);
            put_message(c->send_map, id * 31);
        }
        feed(c, pattern(3000));
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
    EXPECT_GE(fcntl(ends.writer.get(), F_GETFD), 0);
    write_all(ends.writer.get(), bytes_of("still open"));
    EXPECT_EQ(drain(ends.reader.get()), bytes_of("still open"));
}

// Blocks, in order: record, ring, its storage, two maps, the id tracker and its map. The maps come from the
// zeroed-array function and may be refused; the others end the process.
TEST(Client, WithoutAMapThereIsNoClientAndNothingIsLeft) {
    size_t refused_maps = 0;
    int refused_trackers = 0;
    const size_t count = count_allocations([] { client_free(client_new(CLIENT_STREAM, 0, nullptr)); });
    EXPECT_EQ(count, 7U);
    for (size_t n = 1; n <= count; ++n) {
        CountingAllocator allocator;
        const Client c = stream_client(0);
        if (allocator.sizes()[n - 1] != sizeof(hashmap))
            continue;
        ++refused_maps;
        allocator.fail_at(n);
        const size_t before = allocator.live_blocks();
        const LogCapture log;
        EXPECT_EQ(client_new(CLIENT_STREAM, 0, nullptr), nullptr);
        EXPECT_EQ(allocator.live_blocks(), before);
        const bool of_tracker = log.lines().size() == 1;
        refused_trackers += of_tracker;
        EXPECT_EQ(log.texts(LogLine::error),
                  std::vector<std::string>(of_tracker ? 1 : 0, "hashmap new msg id error.\n"));
    }
    EXPECT_EQ(refused_trackers, 1);
    EXPECT_EQ(refused_maps, 3U);
}

TEST(ClientDeathTest, TheOtherBlocksCannotBeDoneWithout) {
    std::vector<size_t> sizes;
    {
        const CountingAllocator allocator;
        const Client c = stream_client(0);
        sizes = allocator.sizes();
    }
    for (size_t n = 1; n <= sizes.size(); ++n) {
        if (sizes[n - 1] == sizeof(hashmap))
            continue;
        EXPECT_ABORT(
            {
                CountingAllocator allocator;
                allocator.fail_at(n);
                client_new(CLIENT_STREAM, 0, nullptr);
            },
            "^$");
    }
}
