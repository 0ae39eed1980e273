// SPDX-License-Identifier: MIT
#include "scripted_calls.h"
#include "support/log_capture.h"
#include "udp.h"

#include <array>
#include <cstddef>
#include <sys/un.h>

extern "C" {
ssize_t read(int fd, void *buffer, size_t size) {
    if (CallScript *const script = CallScript::of(fd))
        return script->play_read(buffer, size);
    static auto *const next = next_function<decltype(read)>("read");
    return next(fd, buffer, size);
}

ssize_t recv(int fd, void *buffer, size_t size, int flags) {
    if (CallScript *const script = CallScript::of(fd))
        return script->play_read(buffer, size, flags);
    static auto *const next = next_function<decltype(recv)>("recv");
    return next(fd, buffer, size, flags);
}

ssize_t recvfrom(int fd, void *buffer, size_t size, int flags, sockaddr *from, socklen_t *from_size) {
    if (CallScript *const script = CallScript::of(fd)) {
        EXPECT_NE(from, nullptr);
        EXPECT_EQ(*from_size, 16U);
        return script->play_read(buffer, size, flags);
    }
    static auto *const next = next_function<decltype(recvfrom)>("recvfrom");
    return next(fd, buffer, size, flags, from, from_size);
}
}

namespace {

// A read function with its flags and source filled in.
struct Reader {
    const char *name;
    int32_t (*read)(int fd, void *buffer, uint32_t length);
    const char *error_format;
};

sockaddr_in g_source;

const Reader kReaders[] = {
    {"xread", xread, "xread error: %m\n"},
    {"xrecv", [](int fd, void *buffer, uint32_t length) { return xrecv(fd, buffer, length, 0); }, "recv error: %m\n"},
    {"xrecvfrom",
     [](int fd, void *buffer, uint32_t length) {
         return xrecvfrom(fd, buffer, length, 0, reinterpret_cast<sockaddr *>(&g_source));
     },
     "recv error: %m\n"},
};

// What a read function returned and left in a buffer of length bytes that was full of '#'.
struct Outcome {
    int32_t result;
    std::string buffer; // zero bytes as dots
    bool operator==(const Outcome &) const = default;
};

Outcome run(const Reader &reader, int fd, uint32_t length) {
    const std::unique_ptr<uint8_t[]> buffer(new uint8_t[length]);
    std::fill_n(buffer.get(), length, uint8_t{'#'});
    Outcome outcome{reader.read(fd, buffer.get(), length), {}};
    for (uint32_t i = 0; i < length; ++i)
        outcome.buffer += buffer[i] != 0 ? static_cast<char>(buffer[i]) : '.';
    return outcome;
}

} // namespace

TEST(SocketReaders, FillTheBufferFromAsManyCallsAsItTakes) {
    for (const Reader &reader : kReaders) {
        const CallScript script({{4}, {1}, {3}});
        EXPECT_EQ(run(reader, kFd, 8), (Outcome{8, "abcdefgh"})) << reader.name;
        EXPECT_EQ(script.calls[0].size, 8U);
        EXPECT_EQ(script.calls[1].size, 4U);
        EXPECT_EQ(script.calls[2].size, 3U);
    }
}

TEST(SocketReaders, NoBytesNeedNoCall) {
    for (const Reader &reader : kReaders) {
        const CallScript script({});
        const LogCapture log;
        EXPECT_EQ(reader.read(kFd, nullptr, 0), 0) << reader.name;
        uint8_t byte = '#';
        EXPECT_EQ(reader.read(-1, &byte, 0), 0);
        EXPECT_EQ(byte, '#');
        EXPECT_TRUE(log.lines().empty());
    }
}

TEST(SocketReaders, WouldBlockEndsThemQuietlyWithTheBytesUncounted) {
    for (const Reader &reader : kReaders) {
        const LogCapture log;
        {
            const CallScript script({{-1, EAGAIN}});
            EXPECT_EQ(run(reader, kFd, 4), (Outcome{0, "...."})) << reader.name;
        }
        {
            const CallScript script({{3}, {-1, EWOULDBLOCK}});
            EXPECT_EQ(run(reader, kFd, 10), (Outcome{0, "abc......."})) << reader.name;
        }
        EXPECT_TRUE(log.lines().empty());
    }
}

TEST(SocketReaders, OtherErrorsAreLogged) {
    for (const Reader &reader : kReaders) {
        for (const int error : {EINTR, EBADF, ECONNRESET, EIO}) {
            const CallScript script({{2}, {-1, error}});
            LogCapture log;
            EXPECT_EQ(run(reader, kFd, 5), (Outcome{-1, "ab..."})) << reader.name;
            EXPECT_EQ(log.texts(LogLine::error), std::vector<std::string>{with_errno(reader.error_format, error)});
            EXPECT_EQ(log.formats(LogLine::error), std::vector<std::string>{reader.error_format});
            EXPECT_EQ(log.lines().size(), 1U);
            EXPECT_EQ(log.lines()[0].prefix, "_varnel: ");
        }
    }
}

TEST(SocketReaders, ReportAClosedDescriptor) {
    for (const Reader &reader : kReaders) {
        const LogCapture log;
        EXPECT_EQ(run(reader, closed_descriptor(), 3), (Outcome{-1, "..."})) << reader.name;
        EXPECT_EQ(log.texts(LogLine::error), std::vector<std::string>{with_errno(reader.error_format, EBADF)});
    }
}

TEST(SocketReaders, ReadNoMoreThanAsked) {
    for (const Reader &reader : kReaders) {
        const Ends ends = Ends::make(SOCK_STREAM);
        write_all(ends.writer.get(), bytes_of("abcdef"));
        EXPECT_EQ(run(reader, ends.reader.get(), 4), (Outcome{4, "abcd"})) << reader.name;
        EXPECT_EQ(drain(ends.reader.get()), bytes_of("ef"));
    }
}

TEST(Xread, FourBytesOfTenLeaveTheRestZero) {
    const Ends ends = Ends::pipe();
    write_all(ends.writer.get(), bytes_of("wxyz"));
    EXPECT_EQ(run(kReaders[0], ends.reader.get(), 10), (Outcome{0, "wxyz......"}));
}

TEST(Xread, EndOfFileIsZeroAndSilent) {
    Ends ends = Ends::pipe();
    write_all(ends.writer.get(), bytes_of("wx"));
    ends.writer.close();
    const LogCapture log;
    EXPECT_EQ(run(kReaders[0], ends.reader.get(), 4), (Outcome{0, "wx.."}));
    EXPECT_EQ(run(kReaders[0], ends.reader.get(), 4), (Outcome{0, "...."}));
    EXPECT_TRUE(log.lines().empty());
}

TEST(Xrecv, APeerThatClosedIsZeroAndADebugLineWithTheSocket) {
    Ends ends = Ends::stream();
    write_all(ends.writer.get(), bytes_of("wx"));
    ends.writer.close();
    const LogCapture log;
    EXPECT_EQ(run(kReaders[1], ends.reader.get(), 4), (Outcome{0, "wx.."}));
    const std::string line = "log recv close in " + std::to_string(ends.reader.get()) + "\n";
    EXPECT_EQ(log.texts(LogLine::debug), std::vector<std::string>{line});
    EXPECT_EQ(log.formats(LogLine::debug), std::vector<std::string>{"log recv close in %d\n"});
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST(Xrecv, PassesItsFlagsToEveryCall) {
    const CallScript script({{1}, {1}});
    uint8_t buffer[2];
    EXPECT_EQ(xrecv(kFd, buffer, 2, MSG_PEEK | MSG_DONTWAIT), 2);
    for (const auto &call : script.calls)
        EXPECT_EQ(call.flags, MSG_PEEK | MSG_DONTWAIT);
}

TEST(Xrecv, PeeksWhenTold) {
    const Ends ends = Ends::stream();
    write_all(ends.writer.get(), bytes_of("wx"));
    uint8_t buffer[2];
    EXPECT_EQ(xrecv(ends.reader.get(), buffer, 2, MSG_PEEK), 2);
    EXPECT_EQ(drain(ends.reader.get()), bytes_of("wx"));
}

TEST(Xrecv, ReportsADescriptorThatIsNoSocket) {
    const Ends ends = Ends::pipe();
    const LogCapture log;
    EXPECT_EQ(run(kReaders[1], ends.reader.get(), 1), (Outcome{-1, "."}));
    EXPECT_EQ(run(kReaders[2], ends.reader.get(), 1), (Outcome{-1, "."}));
    EXPECT_EQ(log.texts(LogLine::error), std::vector<std::string>(2, with_errno("recv error: %m\n", ENOTSOCK)));
}

TEST(Xrecvfrom, TellsTheSenderAndFillsFromSeveralDatagrams) {
    const Udp receiver = Udp::bound_low("127.0.0.1");
    const Udp first = Udp::bound_low("127.0.0.1");
    const Udp second = Udp::bound_high("127.0.0.1");
    first.send(bytes_of("ab"), receiver.address());
    second.send(bytes_of("cd"), receiver.address());
    EXPECT_EQ(run(kReaders[2], receiver.fd(), 4), (Outcome{4, "abcd"}));
    EXPECT_EQ(g_source.sin_family, AF_INET);
    EXPECT_EQ(ntohs(g_source.sin_port), second.port());
    EXPECT_EQ(g_source.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
}

TEST(Xrecvfrom, GoesOnAfterEmptyDatagrams) {
    const Udp receiver = Udp::bound_low("127.0.0.1");
    const Udp sender = Udp::bound_low("127.0.0.1");
    for (const char *const text : {"", "ab", "", "", "c"})
        sender.send(bytes_of(text), receiver.address());
    EXPECT_EQ(run(kReaders[2], receiver.fd(), 3), (Outcome{3, "abc"}));
    sender.send({}, receiver.address());
    const LogCapture log;
    EXPECT_EQ(run(kReaders[2], receiver.fd(), 3), (Outcome{0, "..."})); // then it would block
    EXPECT_TRUE(log.lines().empty());
}

// An abstract address (Linux) of more than 16 bytes, whose length the first call hands back.
TEST(Xrecvfrom, LongAddressesOfOtherFamiliesAreCutInEveryCall) {
    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    const int unique = snprintf(name.sun_path + 1, sizeof name.sun_path - 1, "varnel-long-address-%d", getpid());
    const auto name_size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + static_cast<size_t>(unique));
    const int sock = socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_EQ(bind(sock, reinterpret_cast<const sockaddr *>(&name), name_size), 0);
    for (const char *const datagram : {"a", "b"})
        ASSERT_EQ(sendto(sock, datagram, 1, 0, reinterpret_cast<const sockaddr *>(&name), name_size), 1);
    struct {
        sockaddr_in address;
        std::array<uint8_t, 64> behind;
    } source = {};
    char bytes[2];
    EXPECT_EQ(xrecvfrom(sock, bytes, 2, 0, reinterpret_cast<sockaddr *>(&source.address)), 2);
    EXPECT_EQ(std::string(bytes, 2), "ab");
    EXPECT_EQ(source.behind, (std::array<uint8_t, 64>{}));
    close(sock);
}

TEST(Xrecvfrom, PassesItsFlagsToEveryCall) {
    const CallScript script({{1}, {0}, {1}});
    uint8_t buffer[2];
    EXPECT_EQ(xrecvfrom(kFd, buffer, 2, MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&g_source)), 2);
    for (const auto &call : script.calls)
        EXPECT_EQ(call.flags, MSG_DONTWAIT);
}

TEST(SetNonblock, AddsTheFlagAndKeepsTheOthers) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const Descriptor reader(fds[0]);
    const Descriptor writer(fds[1]);
    ASSERT_EQ(fcntl(writer.get(), F_SETFL, O_APPEND), 0);
    EXPECT_EQ(set_nonblock(writer.get()), 0);
    EXPECT_EQ(fcntl(writer.get(), F_GETFL) & (O_NONBLOCK | O_APPEND | O_ACCMODE), O_NONBLOCK | O_APPEND | O_WRONLY);
    EXPECT_EQ(set_nonblock(writer.get()), 0);
    EXPECT_NE(fcntl(writer.get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST(SetNonblock, ReportsAClosedDescriptor) {
    const LogCapture log;
    EXPECT_EQ(set_nonblock(closed_descriptor()), -1);
    EXPECT_EQ(set_nonblock(-1), -1);
    EXPECT_EQ(log.texts(LogLine::error), std::vector<std::string>(2, with_errno("Can't get sock flags: %m\n", EBADF)));
    EXPECT_EQ(log.formats(LogLine::error)[0], "Can't get sock flags: %m\n");
}

// A path-only descriptor tells its flags but lets nobody set them.
TEST(SetNonblock, ReportsFlagsThatCannotBeSet) {
    const Descriptor path(open("/", O_PATH));
    ASSERT_GE(path.get(), 0);
    const LogCapture log;
    EXPECT_EQ(set_nonblock(path.get()), -1);
    EXPECT_EQ(log.texts(LogLine::error),
              std::vector<std::string>{with_errno("Can't set sock nonblock flags: %m\n", EBADF)});
    EXPECT_EQ(log.formats(LogLine::error)[0], "Can't set sock nonblock flags: %m\n");
}
