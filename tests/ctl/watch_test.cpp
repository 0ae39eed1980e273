// SPDX-License-Identifier: MIT
#include "ctl/run.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <map>
#include <thread>

using namespace ctl_tests;
using varnel::copy_of;
using varnel::make_int32;
using varnel::make_string;
using varnel::Value;
using namespace varnel::protocol;

namespace {

struct Row {
    std::uint64_t revision;
    std::uint32_t flags;
    std::string name;
    std::int32_t before;
    std::int32_t after;
};

void add_row(Message &message, const Row &row) {
    const auto value = [&](std::uint32_t flag, std::int32_t number) {
        return (row.flags & flag) != 0 ? make_int32(number) : make_string("");
    };
    message.add(row.revision).add(row.flags).add("user").add("net").add(row.name);
    message.add(value(kEventHadValue, row.before)).add(value(kEventHasValue, row.after));
}

Message event(const Row &row) {
    Message message(control_changed);
    add_row(message, row);
    return message;
}

constexpr std::uint32_t kBoth = kEventHadValue | kEventHasValue;

// A daemon that remembers rows, and counts subscriptions.
class Watch : public testing::Test {
protected:
    std::unique_ptr<Message> answer(const Received &request) {
        auto message = ok(request.code());
        if (request.code() == control_notify) {
            ++subscriptions_;
            from_ = request.uint64(3);
            message->add("user").add(revision_).add(std::uint32_t{0});
        } else if (request.code() == control_changed) {
            add_history(*message, request.uint64(3));
        } else {
            return refusal(request.code(), Status::unsupported, "not here");
        }
        return message;
    }

    // Two rows an answer.
    void add_history(Message &message, std::uint64_t from) {
        std::vector<Row> rows;
        for (const Row &row : history_) {
            if (row.revision > from)
                rows.push_back(row);
        }
        const bool more = rows.size() > 2;
        rows.resize(std::min<std::size_t>(rows.size(), 2));
        message.add("user").add(revision_).add(std::uint32_t{from < forgotten_}).add(std::uint32_t{more});
        for (const Row &row : rows)
            add_row(message, row);
    }

    template <class Condition> void serve_until(Condition condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition() && std::chrono::steady_clock::now() < end)
            daemon_.serve();
        EXPECT_TRUE(condition());
    }

    void start(const Arguments &arguments) {
        program_ = std::make_unique<Program>(arguments, "", daemon_.path());
        serve_until([&] { return subscriptions_ > 0; });
    }

    void expect_output(const std::string &text) {
        serve_until([&] { return program_->output() == text || program_->ended(); });
        EXPECT_EQ(program_->output(), text);
    }

    Result end() {
        serve_until([&] { return program_->ended(); });
        return program_->result();
    }

    int subscriptions_ = 0;
    std::uint64_t from_ = 0;
    std::uint64_t revision_ = 10;
    std::uint64_t forgotten_ = 0;
    std::vector<Row> history_;
    FakeDaemon daemon_{[this](const Received &request) { return answer(request); }};
    std::unique_ptr<Program> program_;
};

} // namespace

TEST_F(Watch, PrintsALineForEveryChangeUntilInterrupted) {
    start({"watch"});
    EXPECT_EQ(from_, kFromNow);
    daemon_.send_event(event({11, kEventHasValue, "mtu", 0, 1400}));
    expect_output("11 added user:net:mtu 1400\n");
    daemon_.send_event(event({12, kBoth, "mtu", 1400, 1500}));
    daemon_.send_event(event({13, kEventHadValue, "mtu", 1500, 0}));
    daemon_.send_event(event({14, kEventGroupCreated, "", 0, 0}));
    daemon_.send_event(event({15, kEventGroupRemoved, "", 0, 0}));
    expect_output("11 added user:net:mtu 1400\n"
                  "12 changed user:net:mtu 1400 -> 1500\n"
                  "13 removed user:net:mtu 1500\n"
                  "14 group-created user:net\n"
                  "15 group-removed user:net\n");
    program_->signal(SIGINT);
    const Result result = end();
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
}

TEST_F(Watch, EndsWhenItIsToldTo) {
    start({"watch"});
    program_->signal(SIGTERM);
    EXPECT_EQ(end().code, 0);
}

TEST_F(Watch, EndsAfterSoManyChanges) {
    start({"watch", "--count", "2"});
    for (std::uint64_t revision = 11; revision < 15; ++revision)
        daemon_.send_event(event({revision, kEventHasValue, "mtu", 0, 1}));
    const Result result = end();
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, "11 added user:net:mtu 1\n12 added user:net:mtu 1\n");
}

TEST_F(Watch, PrintsOneJsonObjectALine) {
    start({"watch", "--json", "--count", "1"});
    daemon_.send_event(event({11, kBoth, "mtu", 1, 2}));
    EXPECT_EQ(end().output, R"({"revision":11,"change":"changed","key":"user:net:mtu","layer":"user","group":"net",)"
                            R"("name":"mtu","old":{"type":"int32","value":1},"new":{"type":"int32","value":2}})"
                            "\n");
}

TEST_F(Watch, PrintsStringsSoThatTheyStayOnTheirLine) {
    start({"watch", "--count", "1"});
    Message message(control_changed);
    message.add(std::uint64_t{11}).add(std::uint32_t{kBoth}).add("user").add("net").add("host");
    message.add("a\nb").add("\033[1m");
    daemon_.send_event(message);
    EXPECT_EQ(end().output, "11 changed user:net:host \"a\\x0ab\" -> \"\\x1b[1m\"\n");
}

TEST_F(Watch, SubscribesToEveryKey) {
    start({"watch", "user:net", "volatile", "--count", "1"});
    serve_until([&] { return subscriptions_ == 2; });
    daemon_.send_event(event({11, kEventHasValue, "mtu", 0, 1}));
    EXPECT_EQ(end().code, 0);
}

TEST_F(Watch, PrintsFirstWhatHappenedSinceARevision) {
    for (std::uint64_t revision = 6; revision <= 10; ++revision)
        history_.push_back({revision, kEventHasValue, "mtu", 0, 1});
    start({"watch", "--from", "7", "--count", "4"});
    serve_until([&] { return program_->output().find("10 added") != std::string::npos; });
    daemon_.send_event(event({11, kEventHasValue, "mtu", 0, 1}));
    EXPECT_EQ(end().output, "8 added user:net:mtu 1\n9 added user:net:mtu 1\n10 added user:net:mtu 1\n"
                            "11 added user:net:mtu 1\n");
}

// Two keys may include the same change, and a change may happen after the subscription and before the question.
TEST_F(Watch, PrintsAChangeOnce) {
    history_ = {{9, kEventHasValue, "mtu", 0, 1}, {10, kEventHasValue, "mtu", 0, 1}};
    start({"watch", "user", "user:net", "--from", "8", "--count", "3"});
    daemon_.send_event(event({10, kEventHasValue, "mtu", 0, 1}));
    daemon_.send_event(event({11, kEventHasValue, "mtu", 0, 1}));
    EXPECT_EQ(end().output, "9 added user:net:mtu 1\n10 added user:net:mtu 1\n11 added user:net:mtu 1\n");
}

TEST_F(Watch, TellsThatTheDaemonDoesNotRememberAll) {
    forgotten_ = 9;
    history_ = {{10, kEventHasValue, "mtu", 0, 1}};
    start({"watch", "--from", "3", "--count", "1"});
    const Result result = end();
    EXPECT_EQ(result.output, "10 added user:net:mtu 1\n");
    EXPECT_NE(result.errors.find("were lost"), std::string::npos);
}

TEST_F(Watch, TellsThatEventsWereLost) {
    start({"watch", "--count", "1", "--json"});
    Message lost(control_changed);
    lost.add(std::uint64_t{20}).add(std::uint32_t{kEventLost}).add("").add("").add("").add("").add("");
    daemon_.send_event(lost);
    daemon_.send_event(event({21, kEventHasValue, "mtu", 0, 1}));
    const Result result = end();
    EXPECT_EQ(result.output.rfind("{\"lost\":true,\"revision\":20}\n{\"revision\":21,", 0), 0U) << result.output;
    EXPECT_NE(result.errors.find("revision 20"), std::string::npos);
}

TEST_F(Watch, EndsWithThreeWhenTheDaemonGoes) {
    start({"watch"});
    serve_until([&] { return daemon_.connections() == 1; });
    daemon_.close_connections();
    EXPECT_EQ(end().code, 3);
}

TEST_F(Watch, ReconnectsAndGoesOnAfterTheLastRevisionSeen) {
    start({"watch", "--reconnect", "--count", "3"});
    daemon_.send_event(event({11, kEventHasValue, "mtu", 0, 1}));
    expect_output("11 added user:net:mtu 1\n");
    daemon_.stop_listening();
    daemon_.close_connections();
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // it tries at least once, and finds nobody
    history_ = {{11, kEventHasValue, "mtu", 0, 1}, {12, kBoth, "mtu", 1, 2}};
    revision_ = 12;
    daemon_.listen_again();
    expect_output("11 added user:net:mtu 1\n12 changed user:net:mtu 1 -> 2\n");
    daemon_.send_event(event({13, kBoth, "mtu", 2, 3}));
    const Result result = end();
    EXPECT_EQ(result.output,
              "11 added user:net:mtu 1\n12 changed user:net:mtu 1 -> 2\n13 changed user:net:mtu 2 -> 3\n");
    EXPECT_NE(result.errors.find("connected again"), std::string::npos);
}

TEST_F(Watch, CanBeInterruptedWhileItWaitsForTheDaemon) {
    start({"watch", "--reconnect"});
    serve_until([&] { return daemon_.connections() == 1; });
    daemon_.stop_listening();
    daemon_.close_connections();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    program_->signal(SIGINT);
    EXPECT_EQ(end().code, 0);
}
