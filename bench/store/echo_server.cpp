// SPDX-License-Identifier: MIT
// The least that a server on libuv does for a request: one uv_poll_t a connection, read(2), write(2) of the same bytes.
// varnel_bench_echo SOCKET; SIGTERM and SIGINT end it.
#include <uv.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int kBacklog = 128;

struct Connection {
    uv_poll_t poll = {};
    int fd = -1;
};

void close_connection(Connection *connection) {
    uv_close(reinterpret_cast<uv_handle_t *>(&connection->poll), [](uv_handle_t *handle) {
        auto *closed = static_cast<Connection *>(handle->data);
        close(closed->fd);
        delete closed;
    });
}

// A client that does not take its bytes is disconnected: one request at a time always fits into the socket.
bool echo(int fd) {
    char bytes[65536];
    const ssize_t size = read(fd, bytes, sizeof bytes);
    if (size < 0)
        return errno == EAGAIN || errno == EINTR;
    return size > 0 && send(fd, bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL) == size;
}

void on_readable(uv_poll_t *poll, int status, int) {
    auto *connection = static_cast<Connection *>(poll->data);
    if (status < 0 || !echo(connection->fd))
        close_connection(connection);
}

void on_connection(uv_poll_t *listener, int status, int) {
    const int fd = status < 0 ? -1 : accept4(*static_cast<int *>(listener->data), nullptr, nullptr, SOCK_NONBLOCK);
    if (fd < 0)
        return;
    auto *connection = new Connection;
    connection->fd = fd;
    if (uv_poll_init(listener->loop, &connection->poll, fd) != 0) {
        close(fd);
        delete connection;
        return;
    }
    connection->poll.data = connection;
    if (uv_poll_start(&connection->poll, UV_READABLE, on_readable) != 0)
        close_connection(connection);
}

int listen_at(const char *path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(address.sun_path, path, std::strlen(path));
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(fd, kBacklog) != 0)
        return -1;
    return fd;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        static_cast<void>(std::fprintf(stderr, "usage: varnel_bench_echo SOCKET\n"));
        return 2;
    }
    int fd = listen_at(argv[1]);
    if (fd < 0) {
        static_cast<void>(std::fprintf(stderr, "varnel_bench_echo: %s: %s\n", argv[1], std::strerror(errno)));
        return 1;
    }
    uv_loop_t *loop = uv_default_loop();
    uv_poll_t listener = {};
    listener.data = &fd;
    if (uv_poll_init(loop, &listener, fd) != 0 || uv_poll_start(&listener, UV_READABLE, on_connection) != 0) {
        static_cast<void>(std::fprintf(stderr, "varnel_bench_echo: no event loop\n"));
        return 1;
    }
    std::puts("ready");
    static_cast<void>(std::fflush(stdout));
    return uv_run(loop, UV_RUN_DEFAULT);
}
