// SPDX-License-Identifier: MIT
// Redis, spoken to with its own client library.
#include "bench/store/talk.h"

#include <hiredis/hiredis.h>

#include <string_view>

namespace varnel::bench {

namespace {

struct ReaderDeleter {
    void operator()(redisReader *reader) const { redisReaderFree(reader); }
};
struct ReplyDeleter {
    void operator()(redisReply *reply) const { freeReplyObject(reply); }
};
struct ContextDeleter {
    void operator()(redisContext *context) const { redisFree(context); }
};

// A value ends in front of the line end that ends the command.
constexpr std::size_t kLineEnd = 2;

Bytes command(const Job &job, std::size_t index) {
    const std::string key = std::string(kGroup) + ":" + key_name(job.value_bytes, index);
    const std::string value = first_value(job.value_bytes);
    char *text = nullptr;
    const int size = job.work == Work::get ? redisFormatCommand(&text, "GET %s", key.c_str())
                                           : redisFormatCommand(&text, "SET %s %s", key.c_str(), value.c_str());
    if (size < 0)
        throw Failure("hiredis makes no command");
    Bytes bytes(text, text + size);
    redisFreeCommand(text);
    return bytes;
}

std::vector<Bytes> commands(const Job &job) {
    std::vector<Bytes> all;
    for (std::size_t i = 0; i < kKeys; ++i)
        all.push_back(command(job, i));
    return all;
}

class RedisPeer : public Peer {
public:
    RedisPeer(const std::string &path, const Job &job, Requests &requests)
        : context_(redisConnectUnix(path.c_str())), reader_(redisReaderCreate()), job_(job), requests_(requests) {
        if (context_ == nullptr || reader_ == nullptr)
            throw Failure("hiredis has no memory");
        if (context_->err != 0)
            throw Failure(path + ": " + static_cast<const char *>(context_->errstr));
    }

    [[nodiscard]] int descriptor() const override { return context_->fd; }

    std::span<const std::uint8_t> request() override { return requests_.next(); }

    bool take(std::span<const std::uint8_t> bytes) override {
        redisReaderFeed(reader_.get(), reinterpret_cast<const char *>(bytes.data()), bytes.size());
        void *taken = nullptr;
        if (redisReaderGetReply(reader_.get(), &taken) != REDIS_OK)
            throw Failure("Redis answered with something that is no reply");
        const std::unique_ptr<redisReply, ReplyDeleter> reply(static_cast<redisReply *>(taken));
        if (reply != nullptr)
            check(*reply);
        return reply != nullptr;
    }

private:
    void check(const redisReply &reply) const {
        const auto *text = reinterpret_cast<const std::uint8_t *>(reply.str);
        const bool good = job_.work == Work::get
                              ? reply.type == REDIS_REPLY_STRING && is_value({text, reply.len}, job_.value_bytes)
                              : reply.type == REDIS_REPLY_STATUS && std::string_view(reply.str, reply.len) == "OK";
        if (!good)
            throw Failure("Redis answered: " + (reply.str == nullptr ? "nothing" : std::string(reply.str, reply.len)));
    }

    std::unique_ptr<redisContext, ContextDeleter> context_;
    std::unique_ptr<redisReader, ReaderDeleter> reader_;
    const Job job_;
    Requests &requests_;
};

class RedisTalk : public Talk {
public:
    RedisTalk(const Contender &contender, const Job &job)
        : path_(contender.socket), job_(job),
          requests_(commands(job), job.work == Work::set ? job.value_bytes + kLineEnd : 0) {}
    std::unique_ptr<Peer> connect() override { return std::make_unique<RedisPeer>(path_, job_, requests_); }

private:
    std::string path_;
    Job job_;
    Requests requests_;
};

} // namespace

std::unique_ptr<Talk> redis_talk(const Contender &contender, const Job &job) {
    return std::make_unique<RedisTalk>(contender, job);
}

} // namespace varnel::bench
