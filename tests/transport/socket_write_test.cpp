// SPDX-License-Identifier: MIT
#include "scripted_calls.h"
#include "support/log_capture.h"
#include "udp.h"

extern "C" {
ssize_t write(int fd, const void *buffer, size_t size) {
    if (CallScript *const script = CallScript::of(fd))
        return script->play_write(buffer, size);
    static auto *const next = next_function<decltype(write)>("write");
    return next(fd, buffer, size);
}

ssize_t sendto(int fd, const void *buffer, size_t size, int flags, const sockaddr *to, socklen_t to_size) {
    if (CallScript *const script = CallScript::of(fd)) {
        EXPECT_NE(to, nullptr);
        EXPECT_EQ(to_size, 16U);
        return script->play_write(buffer, size, flags);
    }
    static auto *const next = next_function<decltype(sendto)>("sendto");
    return next(fd, buffer, size, flags, to, to_size);
}
}

namespace {

std::vector<Bytes> offered(const CallScript &script) {
    std::vector<Bytes> all;
    for (const auto &call : script.calls)
        all.push_back(call.bytes);
    return all;
}

const sockaddr_in kSomewhere = loopback(9);
const auto *const kDestination = reinterpret_cast<const sockaddr *>(&kSomewhere);

} // namespace

TEST(Xwrite, WritesAll) {
    const Ends ends = Ends::stream();
    const Bytes bytes = pattern(5000);
    const ExactBlock block(bytes);
    EXPECT_EQ(xwrite(ends.writer.get(), block.data(), 5000), 1);
    EXPECT_EQ(drain(ends.reader.get()), bytes);
}

TEST(Xwrite, GoesOnWithTheRestAfterAShortWrite) {
    const CallScript script({{2}, {1}, {3}});
    EXPECT_EQ(xwrite(kFd, "abcdef", 6), 1);
    EXPECT_EQ(offered(script), (std::vector<Bytes>{bytes_of("abcdef"), bytes_of("cdef"), bytes_of("def")}));
}

TEST(Xwrite, NoBytesNeedNoCall) {
    const CallScript script({});
    const LogCapture log;
    EXPECT_EQ(xwrite(kFd, "a", 0), 1);
    EXPECT_EQ(xwrite(kFd, nullptr, 0), 1);
    EXPECT_EQ(xwrite(-1, nullptr, 0), 1);
    EXPECT_TRUE(log.lines().empty());
}

TEST(Xwrite, AResultOf0EndsItSilentlyWithEAGAIN) {
    const CallScript script({{4}, {0, EAGAIN}});
    const LogCapture log;
    EXPECT_EQ(xwrite(kFd, "abcdef", 6), 0);
    EXPECT_TRUE(log.lines().empty());
}

TEST(Xwrite, AResultOf0EndsItWithALineOtherwise) {
    for (const int error : {EIO, ENOSPC, EPIPE}) {
        const CallScript script({{0, error}});
        const LogCapture log;
        EXPECT_EQ(xwrite(kFd, "abcdef", 6), 0);
        EXPECT_EQ(log.texts(LogLine::error), std::vector<std::string>{with_errno("write error: %m\n", error)});
        EXPECT_EQ(log.formats(LogLine::error), std::vector<std::string>{"write error: %m\n"});
        EXPECT_EQ(log.lines()[0].prefix, "_varnel: ");
    }
}

TEST(Xwrite, AnErrorAfterSomeProgressGoesBackOneByte) {
    for (const int error : {EAGAIN, EINTR, EPIPE, EIO}) {
        const CallScript script({{3}, {-1, error}, {2}, {2}});
        const LogCapture log;
        EXPECT_EQ(xwrite(kFd, "abcdef", 6), 1);
        EXPECT_EQ(offered(script),
                  (std::vector<Bytes>{bytes_of("abcdef"), bytes_of("def"), bytes_of("cdef"), bytes_of("ef")}));
        EXPECT_TRUE(log.lines().empty());
    }
}

TEST(Xwrite, ErrorsGoBackUntilTheCountWraps) {
    const CallScript script({{2}, {-1, EAGAIN}, {-1, EAGAIN}, {-1, EAGAIN}});
    EXPECT_EQ(xwrite(kFd, "abc", 3), 1);
    EXPECT_EQ(offered(script), (std::vector<Bytes>{bytes_of("abc"), bytes_of("c"), bytes_of("bc"), bytes_of("abc")}));
}

TEST(Xwrite, AnErrorAtTheStartCountsAsDone) {
    const LogCapture log;
    for (const int error : {EAGAIN, EBADF, EPIPE}) {
        const CallScript script({{-1, error}});
        EXPECT_EQ(xwrite(kFd, "a", 1), 1);
    }
    EXPECT_EQ(xwrite(closed_descriptor(), "abc", 3), 1);
    EXPECT_EQ(xwrite(-1, "abc", 3), 1);
    EXPECT_TRUE(log.lines().empty());
}

TEST(Xwrite, AFullPipeTakesNothingAndCountsAsDone) {
    const Ends ends = Ends::pipe();
    const Bytes chunk(4096, 'x');
    size_t filled = 0;
    for (ssize_t got; (got = write(ends.writer.get(), chunk.data(), chunk.size())) > 0;)
        filled += static_cast<size_t>(got);
    EXPECT_EQ(xwrite(ends.writer.get(), "abc", 3), 1);
    EXPECT_EQ(drain(ends.reader.get()), Bytes(filled, 'x'));
}

TEST(Xsendto, SendsADatagram) {
    const Udp receiver = Udp::bound_low("127.0.0.1");
    const Udp sender = Udp::unbound();
    const sockaddr_in address = receiver.address();
    const Bytes bytes = pattern(1024);
    const ExactBlock block(bytes);
    EXPECT_EQ(xsendto(sender.fd(), block.data(), 1024, reinterpret_cast<const sockaddr *>(&address)), 1);
    EXPECT_EQ(receiver.receive(), bytes);
}

TEST(Xsendto, GoesOnWithTheRestAfterAShortOne) {
    const CallScript script({{2}, {0}, {4}});
    EXPECT_EQ(xsendto(kFd, "abcdef", 6, kDestination), 1);
    EXPECT_EQ(offered(script), (std::vector<Bytes>{bytes_of("abcdef"), bytes_of("cdef"), bytes_of("cdef")}));
    for (const auto &call : script.calls)
        EXPECT_EQ(call.flags, 0);
}

TEST(Xsendto, NoBytesNeedNoCall) {
    const CallScript script({});
    EXPECT_EQ(xsendto(kFd, "a", 0, kDestination), 1);
    EXPECT_EQ(xsendto(-1, nullptr, 0, nullptr), 1);
}

TEST(Xsendto, TriesAgainWhileTheSocketWouldBlock) {
    std::vector<CallScript::Step> steps(1000, {-1, EAGAIN});
    steps.push_back({4});
    steps.push_back({-1, EWOULDBLOCK});
    steps.push_back({2});
    const CallScript script(steps);
    const LogCapture log;
    EXPECT_EQ(xsendto(kFd, "abcdef", 6, kDestination), 1);
    EXPECT_EQ(script.calls[1000].bytes, bytes_of("abcdef"));
    EXPECT_EQ(script.calls.back().bytes, bytes_of("ef"));
    EXPECT_TRUE(log.lines().empty());
}

TEST(Xsendto, GivesUpAfterAnyOtherError) {
    for (const int error : {EINTR, EMSGSIZE, ENETUNREACH, EPERM}) {
        const CallScript script({{3}, {-1, EAGAIN}, {-1, error}});
        const LogCapture log;
        EXPECT_EQ(xsendto(kFd, "abcdef", 6, kDestination), 0);
        EXPECT_EQ(log.texts(LogLine::error), std::vector<std::string>{with_errno("sendto error: %m\n", error)});
        EXPECT_EQ(log.formats(LogLine::error), std::vector<std::string>{"sendto error: %m\n"});
    }
}

TEST(Xsendto, ReportsAClosedDescriptorAndADatagramTooLong) {
    const LogCapture log;
    EXPECT_EQ(xsendto(closed_descriptor(), "a", 1, kDestination), 0);
    const Udp sender = Udp::unbound();
    const Bytes bytes(70000);
    EXPECT_EQ(xsendto(sender.fd(), bytes.data(), 70000, kDestination), 0);
    EXPECT_EQ(log.texts(LogLine::error), (std::vector<std::string>{with_errno("sendto error: %m\n", EBADF),
                                                                   with_errno("sendto error: %m\n", EMSGSIZE)}));
}
