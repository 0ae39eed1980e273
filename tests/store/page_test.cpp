// SPDX-License-Identifier: MIT
// docs/protocol.md against the daemon: the bytes of its worked example, and its tables of limits and status codes.
#include "daemon.h"
#include "messages.h"

#include "protocol/limits.h"

#include <sstream>

namespace varnel::test {

namespace {

// The lines of the section with that heading.
std::vector<std::string> section(const std::string &heading) {
    std::istringstream page(read_file(PROTOCOL_PAGE));
    std::vector<std::string> lines;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("## ", 0) == 0)
            inside = line == "## " + heading;
        else if (inside)
            lines.push_back(line);
    }
    return lines;
}

// The indented blocks of a section; of each line, the bytes that it begins with.
std::vector<Bytes> blocks_of_bytes(const std::string &heading) {
    std::vector<Bytes> blocks;
    bool inside = false;
    for (const std::string &line : section(heading)) {
        const bool indented = line.rfind("    ", 0) == 0;
        if (indented && !inside)
            blocks.emplace_back();
        inside = indented;
        std::istringstream words(indented ? line : "");
        for (std::string word;
             words >> word && word.size() == 2 && word.find_first_not_of("0123456789abcdef") == std::string::npos;)
            blocks.back().push_back(static_cast<std::uint8_t>(std::stoul(word, nullptr, 16)));
    }
    return blocks;
}

std::string trimmed(const std::string &text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

// The rows of the table in a section, without its head.
std::vector<std::vector<std::string>> table(const std::string &heading) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string &line : section(heading)) {
        if (line.rfind("| ", 0) != 0)
            continue;
        rows.emplace_back();
        std::istringstream cells(line.substr(1));
        for (std::string cell; std::getline(cells, cell, '|');)
            rows.back().push_back(trimmed(cell));
    }
    if (rows.size() >= 2)
        rows.erase(rows.begin(), rows.begin() + 2);
    return rows;
}

const std::vector<Bytes> kExample = blocks_of_bytes("A worked example");

TEST(Page, WorkedRequestIsWhatTheLibraryWrites) {
    ASSERT_EQ(kExample.size(), 3U);
    EXPECT_EQ(encode(packet_of(1, get_message("user", "network", "mtu").encode(), 1)), kExample[0]);
}

TEST(Page, WorkedAnswerAndEventAreWhatTheDaemonSends) {
    ASSERT_EQ(kExample.size(), 3U);
    StartedDaemon daemon;
    Peer writer = Peer::over_unix(daemon.socket);
    EXPECT_EQ(texts_of(writer.ask(1, set_message("user", "network", "mtu", make_int32(1400)))), "0 user sqlite 1 2 1");
    Peer peer = Peer::over_unix(daemon.socket);
    ASSERT_TRUE(peer.send(kExample[0]));
    std::optional<Packet> packet = peer.receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(encode(*packet), kExample[1]);
    peer.ask(2, message(control_notify, "user", "network", "", protocol::kFromNow));
    writer.ask(2, set_message("user", "network", "mtu", make_int32(1500)));
    packet = peer.receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(encode(*packet), kExample[2]);
}

TEST(Page, LimitsAreThoseOfTheDaemon) {
    const auto rows = table("Limits");
    ASSERT_EQ(rows.size(), std::size(protocol::kLimits));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const protocol::LimitRow &row = protocol::kLimits[i];
        const std::vector<std::string> expected = {
            row.name,  std::to_string(row.fallback), std::to_string(row.least), std::to_string(row.most), row.unit,
            row.reason};
        ASSERT_EQ(rows[i].size(), expected.size() + 1);
        EXPECT_EQ(std::vector<std::string>(rows[i].begin(), rows[i].end() - 1), expected);
        EXPECT_NE(rows[i].back(), "");
    }
}

TEST(Page, StatusCodesAreThoseOfTheDaemon) {
    const auto rows = table("Status codes");
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(Status::count));
    for (std::uint32_t number = 0; number < rows.size(); ++number) {
        EXPECT_EQ(rows[number].at(0), std::to_string(number));
        EXPECT_EQ(rows[number].at(1), protocol::status_name(number));
    }
}

} // namespace

} // namespace varnel::test
