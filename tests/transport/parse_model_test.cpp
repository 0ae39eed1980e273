// SPDX-License-Identifier: MIT
// Whatever arrives, in whatever pieces, the parser does what the model does, call by call, and touches no byte outside
// its buffers.
#include "endpoint.h"
#include "parser_model.h"

#include <random>

namespace {

constexpr uint32_t kOwnId = 0x51;

// A client and the model of it, both in the middle of sending a message.
class Pair {
public:
    Pair() {
        static const Bytes message = pattern(2100, 5);
        end_.start_sending(kOwnId, message);
        model_.start_sending(kOwnId, message);
        model_.sent();
    }

    // Moves the positions of the ring on, so that what follows wraps around its end.
    void advance_ring(int32_t count) const {
        Bytes bytes(static_cast<size_t>(count), 0xEE);
        ::feed(end_.client, bytes);
        circle_buf_get(end_.client->recv_buf, bytes.data(), count);
    }

    // Feeds the bytes to both and parses until nothing more happens.
    void receive(const Bytes &bytes) {
        ::feed(end_.client, bytes);
        model_.feed(bytes);
        for (bool idle = false; !idle;) {
            const size_t before = model_.unread();
            const Parsed expected = model_.parse();
            ASSERT_EQ(parse(end_.client), expected);
            ASSERT_EQ(static_cast<size_t>(unread(end_.client)), model_.unread());
            ASSERT_EQ(end_.sent(), model_.sent());
            ASSERT_EQ(hashmap_size(end_.client->recv_map), model_.messages_received());
            ASSERT_EQ(hashmap_size(end_.client->send_map), model_.messages_sending());
            if (expected.result > 0)
                messages_.push_back(expected);
            idle = model_.unread() == before;
        }
    }

    // Bytes that the ring takes without growing.
    [[nodiscard]] size_t room() const {
        return static_cast<size_t>(end_.client->recv_buf->capacity - unread(end_.client));
    }

    [[nodiscard]] const std::vector<Parsed> &messages() const { return messages_; }

private:
    Endpoint end_;
    ParserModel model_;
    std::vector<Parsed> messages_;
};

// Messages of one, two and three packets, acknowledgements of the client's own message, nothing else.
std::vector<Bytes> clean_stream() {
    return {packet(5, 2, 1, bytes_of("first")),  ack(kOwnId, 1),
            packet(6, 1, 1, bytes_of("single")), packet(7, 3, 2, bytes_of("middle")),
            packet(5, 2, 2, bytes_of("second")), ack(kOwnId, 2),
            packet(7, 3, 3, bytes_of("end")),    packet(7, 3, 1, bytes_of("start"))};
}

Bytes flat(const std::vector<Bytes> &parts) {
    Bytes all;
    for (const Bytes &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::vector<Parsed> clean_messages() {
    return {message_parsed(6, bytes_of("single")), message_parsed(5, bytes_of("firstsecond")),
            message_parsed(7, bytes_of("startmiddleend"))};
}

Bytes slice(const Bytes &bytes, size_t begin, size_t end) {
    return {bytes.begin() + static_cast<ptrdiff_t>(begin), bytes.begin() + static_cast<ptrdiff_t>(end)};
}

} // namespace

TEST(ParseModel, ACleanStreamYieldsItsMessagesWhereverItIsCutInTwo) {
    const Bytes stream = flat(clean_stream());
    for (size_t cut = 0; cut <= stream.size(); ++cut) {
        Pair pair;
        ASSERT_NO_FATAL_FAILURE(pair.receive(slice(stream, 0, cut))) << cut;
        ASSERT_NO_FATAL_FAILURE(pair.receive(slice(stream, cut, stream.size()))) << cut;
        ASSERT_EQ(pair.messages(), clean_messages()) << cut;
    }
}

TEST(ParseModel, ACleanStreamYieldsItsMessagesInPiecesOfAnySize) {
    const Bytes stream = flat(clean_stream());
    for (size_t size = 1; size <= stream.size(); ++size) {
        Pair pair;
        for (size_t at = 0; at < stream.size(); at += size)
            ASSERT_NO_FATAL_FAILURE(pair.receive(slice(stream, at, std::min(at + size, stream.size())))) << size;
        ASSERT_EQ(pair.messages(), clean_messages()) << size;
    }
}

TEST(ParseModel, ACleanStreamYieldsItsMessagesWhereverTheRingWraps) {
    const Bytes stream = flat(clean_stream());
    for (int32_t offset = 1024 - static_cast<int32_t>(stream.size()); offset < 1024; ++offset) {
        Pair pair;
        pair.advance_ring(offset);
        ASSERT_NO_FATAL_FAILURE(pair.receive(stream)) << offset;
        ASSERT_EQ(pair.messages(), clean_messages()) << offset;
    }
}

TEST(ParseModel, EveryTruncation) {
    const Bytes stream = flat(clean_stream());
    const BoundedMemory bounded;
    for (size_t size = 1; size <= stream.size(); ++size) {
        Pair pair;
        ASSERT_NO_FATAL_FAILURE(pair.receive(slice(stream, 0, size))) << size;
        Pair beheaded;
        ASSERT_NO_FATAL_FAILURE(beheaded.receive(slice(stream, size - 1, stream.size()))) << size;
    }
}

// One test a packet of the stream: each of its bytes takes each other value.
class ParseModelChange : public testing::TestWithParam<size_t> {};

TEST_P(ParseModelChange, EveryChangeOfOneByte) {
    const std::vector<Bytes> parts = clean_stream();
    const Bytes stream = flat(parts);
    const auto changed = parts.begin() + static_cast<ptrdiff_t>(GetParam());
    const size_t begin = flat({parts.begin(), changed}).size();
    const BoundedMemory bounded;
    for (size_t at = begin; at < begin + changed->size(); ++at) {
        Bytes bytes = stream;
        for (int change = 1; change < 256; ++change) {
            bytes[at] = static_cast<uint8_t>(stream[at] + change);
            Pair pair;
            if (change % 2 == 0) // the changed byte is the first behind the ring's end
                pair.advance_ring(static_cast<int32_t>(1024 - at));
            ASSERT_NO_FATAL_FAILURE(pair.receive(bytes)) << "byte " << at << " = " << int{bytes[at]};
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Packet, ParseModelChange, testing::Range(size_t{0}, clean_stream().size()));

TEST(ParseModel, EveryByteLeftOutOrDoubled) {
    const Bytes stream = flat(clean_stream());
    const BoundedMemory bounded;
    for (size_t at = 0; at < stream.size(); ++at) {
        Pair shorter;
        ASSERT_NO_FATAL_FAILURE(shorter.receive(join({slice(stream, 0, at), slice(stream, at + 1, stream.size())})));
        Pair longer;
        ASSERT_NO_FATAL_FAILURE(longer.receive(join({slice(stream, 0, at + 1), slice(stream, at, stream.size())})));
    }
}

TEST(ParseModel, RandomStreamsInRandomPieces) {
    const BoundedMemory bounded;
    std::mt19937 random(20240608);
    const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
    const uint32_t counts[] = {0, 1, 2, 2, 3, 4, 1021, 0x7FFFFFFF, 0x80000000, UINT32_MAX};
    for (int round = 0; round < 600; ++round) {
        std::vector<Bytes> parts;
        for (uint32_t i = 0; i < 30; ++i) {
            switch (below(8)) {
            case 0:
                parts.push_back(ack(below(2) == 0 ? kOwnId : below(4), below(4)));
                break;
            case 1:
                parts.push_back(pattern(below(60), below(99)));
                break;
            case 2:
                parts.push_back(slice(bytes_of("VARNELVARNEVARNEL"), 0, below(18)));
                break;
            case 3:
                parts.push_back(header(below(4), counts[below(10)], below(4), below(1200)));
                break;
            default:
                parts.push_back(
                    packet(below(4), counts[below(10)], below(5), pattern(below(20) == 0 ? 1020 : below(30))));
            }
        }
        const Bytes stream = flat(parts);
        Pair pair;
        pair.advance_ring(2000); // room for the largest packet that the parser waits for, and more
        for (size_t at = 0; at < stream.size();) {
            // A ring that grows loses the order where it wraps.
            const size_t size = std::min({size_t{1} + below(400), pair.room(), stream.size() - at});
            ASSERT_NO_FATAL_FAILURE(pair.receive(slice(stream, at, at + size))) << round;
            at += size;
        }
    }
}
