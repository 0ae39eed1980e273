// SPDX-License-Identifier: MIT
#include "bench/store/load.h"

#include "common/fd.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace varnel::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPatience = 10000;         // milliseconds without any answer
constexpr double kWarmUp = 0.2;          // of the duration
constexpr std::size_t kReserve = 300000; // latencies a second; more only cost a reallocation

std::string system_failure(const std::string &what) {
    return what + ": " + std::strerror(errno);
}

double own_processor_time() {
    rusage used = {};
    getrusage(RUSAGE_SELF, &used);
    return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
           static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec) / 1e6;
}

pid_t listener_of(int fd) {
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        throw Failure(system_failure("SO_PEERCRED"));
    return credentials.pid;
}

// All threads of a process, in clock ticks: the 14th and 15th field; the second ends at the last parenthesis (proc(5)).
double processor_time_of(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    file.ignore(4096, '(');
    std::string field;
    while (file >> field && field.back() != ')') {
    }
    for (int number = 3; number < 14; ++number)
        file >> field;
    double user = 0;
    double system = 0;
    file >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

struct Line {
    std::unique_ptr<Peer> peer;
    Clock::time_point sent;
};

class Load {
public:
    Load(Talk &talk, std::size_t connections) : poll_(epoll_create1(EPOLL_CLOEXEC)) {
        for (std::size_t i = 0; i < connections; ++i)
            lines_.push_back({talk.connect(), {}});
        for (Line &line : lines_) {
            epoll_event event = {};
            event.events = EPOLLIN;
            event.data.ptr = &line;
            if (epoll_ctl(poll_.get(), EPOLL_CTL_ADD, line.peer->descriptor(), &event) != 0)
                throw Failure(system_failure("epoll_ctl"));
        }
        server_ = listener_of(lines_.front().peer->descriptor());
    }

    Measurement measure(Seconds duration) {
        for (Line &line : lines_)
            send(line, Clock::now());
        turn_until(Clock::now() + std::chrono::duration_cast<Clock::duration>(kWarmUp * duration));
        latencies_.clear();
        latencies_.reserve(static_cast<std::size_t>(duration.count() * static_cast<double>(kReserve)));
        const double client = own_processor_time();
        const double server = processor_time_of(server_);
        const auto start = Clock::now();
        const auto end = turn_until(start + std::chrono::duration_cast<Clock::duration>(duration));
        Measurement result = summary(end - start, own_processor_time() - client, processor_time_of(server_) - server);
        drain();
        return result;
    }

    void ask(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            send(lines_.front(), Clock::now());
            for (outstanding_ = 1; outstanding_ != 0;)
                turn(false);
        }
    }

private:
    static void send(Line &line, Clock::time_point now) {
        const auto bytes = line.peer->request();
        line.sent = now;
        const ssize_t size = ::send(line.peer->descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (size != static_cast<ssize_t>(bytes.size()))
            throw Failure(size < 0 ? system_failure("sending a request") : "a request was sent in part");
    }

    // Answers that are there; each is followed by the next request, unless no more are wanted.
    void turn(bool go_on) {
        std::array<epoll_event, 64> events;
        const int count = epoll_wait(poll_.get(), events.data(), static_cast<int>(events.size()), kPatience);
        if (count < 0 && errno == EINTR)
            return;
        if (count <= 0)
            throw Failure(count < 0 ? system_failure("epoll_wait") : "no answer for ten seconds");
        for (int i = 0; i < count; ++i)
            receive(*static_cast<Line *>(events[static_cast<std::size_t>(i)].data.ptr), go_on);
    }

    void receive(Line &line, bool go_on) {
        const ssize_t size = recv(line.peer->descriptor(), buffer_.data(), buffer_.size(), 0);
        if (size <= 0)
            throw Failure(size < 0 ? system_failure("reading an answer") : "the server has hung up");
        if (!line.peer->take({buffer_.data(), static_cast<std::size_t>(size)}))
            return;
        last_ = Clock::now();
        latencies_.push_back(static_cast<float>(std::chrono::duration<double, std::micro>(last_ - line.sent).count()));
        if (go_on)
            send(line, last_);
        else
            --outstanding_;
    }

    Clock::time_point turn_until(Clock::time_point end) {
        do {
            turn(true);
        } while (last_ < end);
        return last_;
    }

    // The server is idle before another one is measured.
    void drain() {
        for (outstanding_ = lines_.size(); outstanding_ != 0;)
            turn(false);
    }

    double percentile(double part) {
        const auto place = static_cast<std::ptrdiff_t>(part * static_cast<double>(latencies_.size() - 1));
        std::nth_element(latencies_.begin(), latencies_.begin() + place, latencies_.end());
        return static_cast<double>(latencies_[static_cast<std::size_t>(place)]);
    }

    Measurement summary(Seconds duration, double client, double server) {
        const auto count = static_cast<double>(latencies_.size());
        return {count / duration.count(), percentile(0.5), percentile(0.99), client / count * 1e6,
                server / count * 1e6};
    }

    Fd poll_;
    std::vector<Line> lines_;
    pid_t server_ = 0;
    std::vector<float> latencies_; // microseconds
    Clock::time_point last_;
    std::size_t outstanding_ = 0;
    std::array<std::uint8_t, 65536> buffer_;
};

} // namespace

Measurement run_load(Talk &talk, std::size_t connections, Seconds duration) {
    return std::make_unique<Load>(talk, connections)->measure(duration);
}

void run_requests(Talk &talk, std::size_t count) {
    std::make_unique<Load>(talk, 1)->ask(count);
}

} // namespace varnel::bench
