// SPDX-License-Identifier: MIT
#include "bench/store/talk.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace varnel::bench {

namespace {

// Values of an earlier run must not come again: a clock of microseconds is faster than any run.
std::uint32_t first_counter() {
    using std::chrono::microseconds;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<microseconds>(now).count());
}

void write_counter(std::uint8_t *text, std::uint32_t counter) {
    for (std::size_t i = kCounterDigits; i-- != 0; counter >>= 4)
        text[i] = static_cast<std::uint8_t>("0123456789abcdef"[counter & 15]);
}

} // namespace

std::string key_name(std::size_t value_bytes, std::size_t index) {
    return "size" + std::to_string(value_bytes) + "-" + std::to_string(1000 + index);
}

std::string first_value(std::size_t value_bytes) {
    return std::string(kCounterDigits, '0') + std::string(value_bytes - kCounterDigits, static_cast<char>(kFiller));
}

bool is_value(std::span<const std::uint8_t> text, std::size_t value_bytes) {
    if (text.size() != value_bytes)
        return false;
    // All bytes are equal when the first is kFiller and each equals its neighbour.
    const auto rest = text.subspan(kCounterDigits);
    return rest.empty() || (rest[0] == kFiller && std::memcmp(rest.data(), rest.data() + 1, rest.size() - 1) == 0);
}

Requests::Requests(std::vector<Bytes> all, std::size_t counter_offset)
    : all_(std::move(all)), counter_offset_(counter_offset), counter_(first_counter()) {}

std::span<std::uint8_t> Requests::next() {
    const std::span<std::uint8_t> request = all_[next_];
    next_ = next_ + 1 == all_.size() ? 0 : next_ + 1;
    if (counter_offset_ != 0)
        write_counter(request.data() + request.size() - counter_offset_, counter_++);
    return request;
}

std::unique_ptr<Talk> start_talk(const Contender &contender, const Job &job) {
    switch (contender.kind) {
    case Kind::echo:
        return echo_talk(contender, job);
    case Kind::varnel:
        return varnel_talk(contender, job);
    case Kind::redis:
        return redis_talk(contender, job);
    }
    throw Failure("a contender of no kind");
}

Socket::Socket(const std::string &path) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw Failure(path + ": too long for the path of a socket");
    path.copy(address.sun_path, path.size());
    if (fd_ < 0 || ::connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        const int error = errno;
        close(fd_);
        throw Failure(path + ": " + std::strerror(error));
    }
}

Socket::~Socket() {
    close(fd_);
}

} // namespace varnel::bench
