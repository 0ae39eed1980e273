// SPDX-License-Identifier: MIT
#include <varnel/transport.h>

#include "base/log.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

using namespace varnel;

static_assert(EAGAIN == EWOULDBLOCK, "the loops below test one would-block name");

static constexpr socklen_t kAddressSize = sizeof(sockaddr_in);
static_assert(kAddressSize == 16);

int set_nonblock(int fd) {
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0) {
        log_errno("Can't get sock flags: %m\n");
        return -1;
    }
    if (fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) {
        log_errno("Can't set sock nonblock flags: %m\n");
        return -1;
    }
    return 0;
}

int xsendto(int sock, const void *buffer, uint32_t length, const struct sockaddr *destination) {
    const auto *const bytes = static_cast<const uint8_t *>(buffer);
    uint32_t sent = 0;
    while (sent < length) {
        const ssize_t result = sendto(sock, bytes + sent, length - sent, 0, destination, kAddressSize);
        if (result >= 0) {
            sent += static_cast<uint32_t>(result);
        } else if (errno != EAGAIN) {
            log_errno("sendto error: %m\n");
            return 0;
        }
    }
    return 1;
}

// An error of write is added to the count like any other result: after some progress the last byte goes out again, and
// before any the count wraps to its largest value, which ends the loop as if all were written. Peers rely on the bytes
// being just so.
int xwrite(int fd, const void *buffer, uint32_t length) {
    const auto *const bytes = static_cast<const uint8_t *>(buffer);
    uint32_t written = 0;
    while (written < length) {
        const ssize_t result = write(fd, bytes + written, length - written);
        if (result == 0) {
            if (errno != EAGAIN)
                log_errno("write error: %m\n");
            return 0;
        }
        written += static_cast<uint32_t>(result);
    }
    return 1;
}

namespace {

// The result of a read function after a failed call: 0 when nothing is there for now, otherwise -1,
// logged with the format.
int32_t failed_read(const char *format) {
    if (errno == EAGAIN)
        return 0;
    log_errno(format);
    return -1;
}

// Zeroes the buffer and calls read_some(rest, size) until it is full. read_some returns a positive count, or sets
// *result and returns a count below 0 to end the loop; 0 goes on.
template <class ReadSome> int32_t fill(void *buffer, uint32_t length, ReadSome read_some) {
    if (length == 0)
        return 0;
    auto *const bytes = static_cast<uint8_t *>(memset(buffer, 0, length));
    int32_t result = 0;
    for (uint32_t count = 0; count < length;) {
        const ssize_t got = read_some(bytes + count, length - count, &result);
        if (got < 0)
            return result;
        count += static_cast<uint32_t>(got);
    }
    return static_cast<int32_t>(length);
}

constexpr ssize_t kEnd = -1;

} // namespace

int32_t xread(int fd, void *buffer, uint32_t length) {
    return fill(buffer, length, [fd](uint8_t *rest, size_t size, int32_t *result) {
        const ssize_t got = read(fd, rest, size);
        if (got < 0)
            *result = failed_read("xread error: %m\n");
        return got > 0 ? got : kEnd;
    });
}

int32_t xrecv(int sock, void *buffer, uint32_t length, int flags) {
    return fill(buffer, length, [sock, flags](uint8_t *rest, size_t size, int32_t *result) {
        const ssize_t got = recv(sock, rest, size, flags);
        if (got < 0)
            *result = failed_read("recv error: %m\n");
        else if (got == 0)
            log_debug("log recv close in %d\n", sock);
        return got > 0 ? got : kEnd;
    });
}

// Empty datagrams add nothing and the loop goes on. On a socket of another family the length comes back larger than the
// caller's address is; no later call may use that.
int32_t xrecvfrom(int sock, void *buffer, uint32_t length, int flags, struct sockaddr *source) {
    socklen_t address_size = kAddressSize;
    return fill(buffer, length, [=, &address_size](uint8_t *rest, size_t size, int32_t *result) {
        if (address_size > kAddressSize)
            address_size = kAddressSize;
        const ssize_t got = recvfrom(sock, rest, size, flags, source, &address_size);
        if (got < 0)
            *result = failed_read("recv error: %m\n");
        return got;
    });
}
