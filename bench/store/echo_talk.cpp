// SPDX-License-Identifier: MIT
// The bare echo server: what a get request to the daemon costs when it is only sent to and fro.
#include "bench/store/talk.h"

namespace varnel::bench {

namespace {

class EchoPeer : public Peer {
public:
    EchoPeer(const std::string &path, Requests &requests) : socket_(path), requests_(requests) {}

    [[nodiscard]] int descriptor() const override { return socket_.get(); }

    std::span<const std::uint8_t> request() override {
        const auto bytes = requests_.next();
        left_ = bytes.size();
        return bytes;
    }

    bool take(std::span<const std::uint8_t> bytes) override {
        if (bytes.size() > left_)
            throw Failure("the echo server sent more than it was sent");
        left_ -= bytes.size();
        return left_ == 0;
    }

private:
    Socket socket_;
    Requests &requests_;
    std::size_t left_ = 0;
};

class EchoTalk : public Talk {
public:
    EchoTalk(const Contender &contender, const Job &job)
        : path_(contender.socket), requests_(varnel_packets(contender, job), 0) {}
    std::unique_ptr<Peer> connect() override { return std::make_unique<EchoPeer>(path_, requests_); }

private:
    std::string path_;
    Requests requests_;
};

} // namespace

std::unique_ptr<Talk> echo_talk(const Contender &contender, const Job &job) {
    return std::make_unique<EchoTalk>(contender, job);
}

} // namespace varnel::bench
