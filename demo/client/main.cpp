// SPDX-License-Identifier: MIT
// The demo's client: three conversations with the server, each value checked when it comes back.
#include "client/scenes.h"
#include "common/failure.h"

#include <cstdio>
#include <cstdlib>

namespace {

using namespace demo;

constexpr unsigned kMostSeconds = 50;

int body(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: varnel_demo_client SOCKET UDP_PORT\n"
                             "  SOCKET    the server's UNIX socket\n"
                             "  UDP_PORT  the port that the server wrote when it was ready\n");
        return 2;
    }
    const int port = parse_number(argv[2], 1, 32767, "UDP_PORT");

    std::printf("\n--- First conversation, UNIX stream socket: values of all eight types ---\n");
    std::printf(
        "  what was asked, and how long it was -> layer/backend that answered: result, length of the answer\n\n");
    {
        Session session = Session::over_unix(argv[1]);
        show_layers(session);
        all_types(session);
        layers_of_values(session);
    }
    std::printf("\n--- Second conversation, UNIX stream socket: one message of more than 100 packets ---\n");
    Session session = Session::over_unix(argv[1]);
    long_message(session);

    std::printf("\n--- Third conversation, UDP on loopback ---\n");
    Session datagrams = Session::over_udp(static_cast<std::uint16_t>(port));
    over_datagrams(datagrams);

    stop_server(session);
    std::printf("\nEverything came back as it was sent\n");
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char **argv) {
    return run_program("varnel_demo_client", kMostSeconds, body, argc, argv);
}
