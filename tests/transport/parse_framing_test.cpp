// SPDX-License-Identifier: MIT
// Finding packets among other bytes.
#include "endpoint.h"
#include "support/log_capture.h"

namespace {

const std::vector<std::string> kTooLong = {"recv packet len error.\n"};

} // namespace

TEST(ParseFraming, SkipsWhatLiesBeforeAPacket) {
    const Bytes message = pattern(40);
    for (const Bytes &garbage :
         {Bytes{'x'}, bytes_of("VARNE"), bytes_of("VVARNE"), bytes_of("VAVARVARN"), bytes_of("varnel"), zeros(22),
          zeros(23), pattern(2000), bytes_of("VARNEVARNEVARNEVARNEVARNEVARNE"), Bytes(500, 'V')}) {
        const Endpoint end;
        end.feed_all({garbage, packet(3, 1, 1, message)});
        EXPECT_EQ(parse(end.client), message_parsed(3, message)) << garbage.size();
        EXPECT_EQ(unread(end.client), 0);
    }
}

TEST(ParseFraming, SkipsWhatLiesBetweenPackets) {
    const Endpoint end;
    end.feed_all({zeros(7),
                  packet(1, 1, 1, {'a'}),
                  bytes_of("VARN"),
                  packet(2, 2, 1, {'b'}),
                  zeros(100),
                  packet(2, 2, 2, {'c'}),
                  {'V'},
                  packet(3, 1, 1, {'d'})});
    EXPECT_EQ(parse_all(end.client),
              (std::vector<Parsed>{message_parsed(1, {'a'}), message_parsed(2, {'b', 'c'}), message_parsed(3, {'d'})}));
}

TEST(ParseFraming, FindsThePacketAcrossTheEndOfTheRing) {
    for (int32_t offset = 1024 - 60; offset < 1024; ++offset) {
        const Endpoint end;
        const Bytes garbage(static_cast<size_t>(offset), 0xEE);
        feed(end.client, garbage);
        Bytes scratch(garbage.size());
        circle_buf_get(end.client->recv_buf, scratch.data(), offset);
        end.feed_all({bytes_of("VARNEVAR"), packet(3, 1, 1, pattern(20)), {'x'}});
        EXPECT_EQ(parse(end.client), message_parsed(3, pattern(20))) << offset;
        EXPECT_EQ(unread(end.client), 1);
    }
}

// 22 bytes are never searched, but taken as a header, whatever they are.
TEST(ParseFraming, Exactly22BytesAreAHeader) {
    const Endpoint end;
    const Bytes message = pattern(1003);
    end.start_sending(7, message);
    Bytes no_magic = ack(7, 1);
    std::fill(no_magic.begin(), no_magic.begin() + 6, uint8_t{'x'});
    feed(end.client, no_magic);
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(unread(end.client), 0);
    EXPECT_EQ(end.sent(), packets_of(7, message)[1]);
}

TEST(ParseFraming, GarbageLeaves22BytesAndThenWaits) {
    const Endpoint end;
    feed(end.client, Bytes(300, 0)); // the last 22 read as an acknowledgement
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(unread(end.client), 0);
    feed(end.client, join({Bytes(300, 0), {0, 0, 2, 0}})); // as the start of a packet of 512 bytes
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(unread(end.client), 22);
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(unread(end.client), 22);
}

TEST(ParseFraming, GarbageWhoseLast22BytesAnnounceTooMuchLosesOneMore) {
    const Endpoint end;
    feed(end.client, Bytes(300, 0xFF));
    const LogCapture log;
    EXPECT_EQ(parse(end.client), (Parsed{-1, std::nullopt, std::nullopt}));
    EXPECT_EQ(unread(end.client), 21);
    EXPECT_EQ(log.texts(LogLine::error), kTooLong);
}

TEST(ParseFraming, AHeaderThatAnnouncesMoreThan1024BytesLosesOneByte) {
    for (const uint32_t length : {1025U, 1026U, 65536U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFEAU, UINT32_MAX}) {
        for (const uint32_t count : {0U, 1U, 2U}) {
            const Endpoint end;
            end.feed_all({header(1, count, 1, length), packet(2, 1, 1, {'x'})});
            LogCapture log;
            uint32_t id = 77;
            uint8_t untouched = 0;
            uint8_t *data = &untouched;
            EXPECT_EQ(parse_circle_data(end.client.get(), &id, &data), -1) << length;
            EXPECT_EQ(id, 77U);
            EXPECT_EQ(data, &untouched);
            EXPECT_EQ(log.texts(LogLine::error), kTooLong);
            EXPECT_EQ(log.lines().size(), 1U);
            EXPECT_EQ(log.lines()[0].prefix, "_varnel: ");
            EXPECT_EQ(unread(end.client), 44);
            EXPECT_EQ(parse(end.client), message_parsed(2, {'x'})); // and the next call finds the next packet
        }
    }
}

TEST(ParseFraming, TheLengthIsCheckedBeforeAnyMoreBytesAreAwaited) {
    const Endpoint end;
    feed(end.client, header(1, 1, 1, 1025));
    EXPECT_EQ(parse(end.client).result, -1);
    EXPECT_EQ(unread(end.client), 21);
    EXPECT_EQ(parse(end.client), kNothing);
    EXPECT_EQ(unread(end.client), 21);
}

TEST(ParseFraming, APacketInsideTheDataOfAnotherIsData) {
    const Endpoint end;
    const Bytes inner = packet(9, 1, 1, {'x'});
    end.feed_all({packet(1, 1, 1, inner), packet(2, 1, 1, {'y'})});
    EXPECT_EQ(parse(end.client), message_parsed(1, inner));
    EXPECT_EQ(parse(end.client), message_parsed(2, {'y'}));
}

TEST(ParseFraming, ATruncatedPacketSwallowsTheStartOfTheNext) {
    const Endpoint end;
    const Bytes whole = packet(1, 1, 1, pattern(30));
    const Bytes cut(whole.begin(), whole.begin() + 42);
    end.feed_all({cut, packet(2, 1, 1, pattern(5)), packet(3, 1, 1, pattern(6))});
    const Parsed first = parse(end.client);
    EXPECT_EQ(first.result, 30);
    EXPECT_EQ(first.id, 1U);
    EXPECT_EQ(parse(end.client), message_parsed(3, pattern(6)));
}
