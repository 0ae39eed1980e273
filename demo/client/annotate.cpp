// SPDX-License-Identifier: MIT
#include "client/annotate.h"

#include "common/failure.h"

#include <varnel/transport.h>

#include <cstdio>

namespace demo {

namespace {

constexpr std::size_t kBytesPerLine = 16;

// Walks the packet from its start and prints a field a line.
class Walk {
public:
    explicit Walk(const Bytes &packet) : packet_(packet) {}

    [[nodiscard]] std::size_t left() const { return packet_.size() - position_; }

    std::uint32_t number(std::size_t width, const char *name) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < width && i < left(); ++i)
            value = value << 8 | packet_[position_ + i];
        field(width, std::string(name) + " " + std::to_string(value));
        return value;
    }

    void field(std::size_t width, const std::string &meaning) {
        if (width > left())
            throw Failure("the packet ends inside: " + meaning);
        for (std::size_t shown = 0; shown < width || shown == 0; shown += kBytesPerLine) {
            std::printf("    %4zu ", position_ + shown);
            for (std::size_t i = shown; i < shown + kBytesPerLine; ++i) {
                if (i < width)
                    std::printf(" %02x", packet_[position_ + i]);
                else
                    std::printf("   ");
            }
            std::printf("  %s\n", shown == 0 ? meaning.c_str() : "");
        }
        position_ += width;
    }

private:
    const Bytes &packet_;
    std::size_t position_ = 0;
};

} // namespace

void print_packet(const Bytes &packet) {
    Walk walk(packet);
    walk.field(PACKET_MAGIC_SIZE, "packet: magic \"" PACKET_MAGIC "\"");
    walk.number(4, "packet: message id");
    walk.number(4, "packet: packets of the message");
    walk.number(4, "packet: index of this one");
    walk.number(4, "packet: bytes that follow");
    const Received message(Bytes(packet.begin() + PACKET_HEADER_SIZE, packet.end()));
    walk.number(2, "message: magic");
    walk.field(2, std::string("message: code ") + control_string(message.code()));
    walk.number(4, "message: total length");
    walk.number(4, "message: parameters");
    for (std::size_t i = 0; i < message.size(); ++i) {
        const xdata &value = message.at(i);
        walk.field(2, std::string("parameter: type ") + xdata_type_as_char(value.type));
        const std::uint32_t size = walk.number(2, "parameter: size");
        walk.field(size, "parameter: " + describe(value));
    }
    if (walk.left() != 0)
        throw Failure("the packet goes on behind its message");
}

} // namespace demo
