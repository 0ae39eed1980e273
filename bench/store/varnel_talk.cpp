// SPDX-License-Identifier: MIT
// The daemon. Packets are made by the library; answers are looked at where docs/formats.md and docs/protocol.md say
// that their fields are, as a decoder would cost the client more than the daemon's answer costs the daemon.
#include "bench/store/talk.h"

#include "protocol/message.h"
#include "protocol/protocol.h"

#include <varnel/transport.h>

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace varnel::bench {

namespace {

// Offsets in a packet with a message.
constexpr std::size_t kIdOffset = PACKET_MAGIC_SIZE;
constexpr std::size_t kCountOffset = kIdOffset + 4;
constexpr std::size_t kLengthOffset = kIdOffset + 12;
constexpr std::size_t kEntryHeader = 4;
constexpr std::size_t kStatusOffset = PACKET_HEADER_SIZE + 12 + kEntryHeader;
constexpr std::size_t kSecondOffset = kStatusOffset + 4; // the entry behind the status
constexpr std::size_t kLeastAnswer = kSecondOffset;

// An answer to set ends in "durability:u32 revision:u64 changed:u32": offsets from the end.
constexpr std::size_t kChangedBack = 4;
constexpr std::size_t kDurabilityBack = kChangedBack + kEntryHeader + 8 + kEntryHeader + 4;

std::uint32_t load_word(const std::uint8_t *bytes) {
    std::uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    return ntohl(word);
}

void store_word(std::uint8_t *bytes, std::uint32_t word) {
    word = htonl(word);
    std::memcpy(bytes, &word, sizeof word);
}

protocol::Message request_message(const Contender &contender, const Job &job, std::size_t index) {
    protocol::Message message(job.work == Work::get ? control_get : control_set);
    message.add(contender.layer);
    if (job.work == Work::set)
        message.add(contender.durability).add(std::uint32_t{0});
    message.add(kGroup).add(key_name(job.value_bytes, index));
    if (job.work == Work::set)
        message.add(first_value(job.value_bytes));
    return message;
}

// What the library sends for a message: it is sent into a pair of sockets of our own.
class PacketMaker {
public:
    PacketMaker() {
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_.data()) != 0)
            throw Failure("no pair of sockets");
        sender_ = client_new(CLIENT_STREAM, ends_[0], nullptr);
        if (sender_ == nullptr)
            throw Failure("no client record");
    }
    PacketMaker(const PacketMaker &) = delete;
    PacketMaker &operator=(const PacketMaker &) = delete;
    ~PacketMaker() {
        client_free(sender_);
        for (const int end : ends_)
            close(end);
    }

    Bytes make(const protocol::Bytes &message) {
        Bytes packet(PACKET_SIZE);
        if (message.size() > PACKET_PAYLOAD_MAX ||
            client_send_data(sender_, 0, message.data(), static_cast<std::uint32_t>(message.size())) != 1)
            throw Failure("a message that does not fit a packet");
        const ssize_t size = read(ends_[1], packet.data(), packet.size());
        packet.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
        if (packet.size() != message.size() + PACKET_HEADER_SIZE)
            throw Failure("a packet of an unexpected size");
        return packet;
    }

private:
    std::array<int, 2> ends_ = {-1, -1};
    client *sender_ = nullptr;
};

std::string refusal_text(const Bytes &answer) {
    protocol::Bytes message(answer.begin() + PACKET_HEADER_SIZE, answer.end());
    const protocol::Received received(message);
    return std::string("varneld answered: ") + protocol::status_name(received.uint32(0)) + ": " +
           std::string(received.text(1));
}

class VarnelPeer : public Peer {
public:
    VarnelPeer(const Contender &contender, const Job &job, Requests &requests)
        : socket_(contender.socket), job_(job), durability_(contender.durability), requests_(requests) {}

    [[nodiscard]] int descriptor() const override { return socket_.get(); }

    std::span<const std::uint8_t> request() override {
        const auto bytes = requests_.next();
        id_ = id_ + 1 == protocol::kFirstEventId ? 1 : id_ + 1;
        store_word(bytes.data() + kIdOffset, id_);
        answer_.clear();
        return bytes;
    }

    bool take(std::span<const std::uint8_t> bytes) override {
        answer_.insert(answer_.end(), bytes.begin(), bytes.end());
        if (answer_.size() < PACKET_HEADER_SIZE ||
            answer_.size() < PACKET_HEADER_SIZE + load_word(answer_.data() + kLengthOffset))
            return false;
        check();
        return true;
    }

private:
    void check() const {
        const std::uint8_t *bytes = answer_.data();
        if (std::memcmp(bytes, PACKET_MAGIC, PACKET_MAGIC_SIZE) != 0 || load_word(bytes + kIdOffset) != id_ ||
            load_word(bytes + kCountOffset) != 1 || answer_.size() < kLeastAnswer ||
            answer_.size() != PACKET_HEADER_SIZE + load_word(bytes + kLengthOffset))
            throw Failure("varneld answered with something else than the answer in one packet");
        if (load_word(bytes + kStatusOffset) != static_cast<std::uint32_t>(protocol::Status::ok))
            throw Failure(refusal_text(answer_));
        if (!(job_.work == Work::get ? has_value() : was_set()))
            throw Failure("varneld answered with another value, or less durability, than it was asked for");
    }

    [[nodiscard]] bool has_value() const {
        const std::size_t text = kSecondOffset + kEntryHeader;
        const auto header = static_cast<std::uint32_t>(XDATA_STRING << 16 | (job_.value_bytes + 1));
        return answer_.size() > text + job_.value_bytes && load_word(answer_.data() + kSecondOffset) == header &&
               is_value({answer_.data() + text, job_.value_bytes}, job_.value_bytes);
    }

    [[nodiscard]] bool was_set() const {
        const std::uint8_t *end = answer_.data() + answer_.size();
        return answer_.size() > kLeastAnswer + kDurabilityBack && load_word(end - kChangedBack) == 1 &&
               load_word(end - kDurabilityBack) >= durability_;
    }

    Socket socket_;
    const Job job_;
    const std::uint32_t durability_;
    Requests &requests_;
    std::uint32_t id_ = 0;
    Bytes answer_;
};

class VarnelTalk : public Talk {
public:
    // A value is the last parameter, and its zero byte the last byte.
    VarnelTalk(const Contender &contender, const Job &job)
        : contender_(contender), job_(job),
          requests_(varnel_packets(contender, job), job.work == Work::set ? job.value_bytes + 1 : 0) {}
    std::unique_ptr<Peer> connect() override { return std::make_unique<VarnelPeer>(contender_, job_, requests_); }

private:
    const Contender contender_;
    const Job job_;
    Requests requests_;
};

} // namespace

std::vector<Bytes> varnel_packets(const Contender &contender, const Job &job) {
    PacketMaker maker;
    std::vector<Bytes> all;
    for (std::size_t i = 0; i < kKeys; ++i)
        all.push_back(maker.make(request_message(contender, job, i).encode()));
    return all;
}

std::unique_ptr<Talk> varnel_talk(const Contender &contender, const Job &job) {
    return std::make_unique<VarnelTalk>(contender, job);
}

} // namespace varnel::bench
