// SPDX-License-Identifier: MIT
// What is said to a contender. Requests are made beforehand, one for each key; sending one patches a few bytes of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace varnel::bench {

using Bytes = std::vector<std::uint8_t>;

enum class Kind : std::uint8_t { echo, varnel, redis };
enum class Work : std::uint8_t { get, set };

struct Contender {
    Kind kind;
    std::string name; // in results
    std::string socket;
    std::string layer = {};       // of the daemon
    std::uint32_t durability = 0; // that sets ask for
};

struct Job {
    Work work;
    std::size_t value_bytes; // characters of a value, at least kCounterDigits
};

class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

constexpr std::size_t kKeys = 1000;
constexpr const char *kGroup = "bench";

// Values begin with a counter in hexadecimal, so that no set stores what is there already; the rest is kFiller.
constexpr std::size_t kCounterDigits = 8;
constexpr std::uint8_t kFiller = 'v';

// Each size of values has keys of its own.
std::string key_name(std::size_t value_bytes, std::size_t index);
std::string first_value(std::size_t value_bytes);
bool is_value(std::span<const std::uint8_t> text, std::size_t value_bytes);

// The requests of a job, taken in turn by all connections.
class Requests {
public:
    // counter_offset: where a value begins, counted from the end of a request; 0 when there is none.
    Requests(std::vector<Bytes> all, std::size_t counter_offset);
    std::span<std::uint8_t> next();

private:
    std::vector<Bytes> all_;
    std::size_t counter_offset_;
    std::size_t next_ = 0;
    std::uint32_t counter_;
};

// A connection with one request at a time.
class Peer {
public:
    Peer() = default;
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;
    virtual ~Peer() = default;

    [[nodiscard]] virtual int descriptor() const = 0;

    // The next request, good until any connection asks for one.
    virtual std::span<const std::uint8_t> request() = 0;

    // Bytes of its answer: true when it is complete. Failure when it is another than it should be.
    virtual bool take(std::span<const std::uint8_t> bytes) = 0;
};

class Talk {
public:
    Talk() = default;
    Talk(const Talk &) = delete;
    Talk &operator=(const Talk &) = delete;
    virtual ~Talk() = default;
    virtual std::unique_ptr<Peer> connect() = 0;
};

std::unique_ptr<Talk> echo_talk(const Contender &contender, const Job &job);
std::unique_ptr<Talk> varnel_talk(const Contender &contender, const Job &job);
std::unique_ptr<Talk> redis_talk(const Contender &contender, const Job &job);
std::unique_ptr<Talk> start_talk(const Contender &contender, const Job &job);

// The packets of the job's requests to the daemon, whose first message id is patched in later.
std::vector<Bytes> varnel_packets(const Contender &contender, const Job &job);

// A blocking stream socket connected to that path, close-on-exec.
class Socket {
public:
    explicit Socket(const std::string &path);
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    ~Socket();
    [[nodiscard]] int get() const { return fd_; }

private:
    int fd_;
};

} // namespace varnel::bench
