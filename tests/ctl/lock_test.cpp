// SPDX-License-Identifier: MIT
#include "ctl/run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>

using namespace ctl_tests;

namespace {

// A daemon that knows locks, one at a time.
class Lock : public testing::Test {
protected:
    std::unique_ptr<Message> answer(const Received &request) {
        key_ = std::string(request.text(0)) + "|" + std::string(request.text(1)) + "|" + std::string(request.text(2));
        if (request.code() == control_lock)
            wait_ = request.uint32(3);
        if (request.code() != control_unlock && busy_)
            return refusal(request.code(), request.code() == control_lock ? Status::timed_out : Status::busy, "held");
        held_ = request.code() != control_unlock;
        auto message = ok(request.code());
        message->add("user");
        return message;
    }

    Result varnelctl(const Arguments &arguments) { return run(daemon_, arguments); }

    bool busy_ = false;
    bool held_ = false;
    std::uint32_t wait_ = 0;
    std::string key_;
    FakeDaemon daemon_{[this](const Received &request) { return answer(request); }};
};

// Until the program has printed text, or ended.
void serve_until(FakeDaemon &daemon, Program &program, const std::string &text) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (program.output().find(text) == std::string::npos && !program.ended() &&
           std::chrono::steady_clock::now() < end)
        daemon.serve();
}

Result end(FakeDaemon &daemon, Program &program) {
    serve_until(daemon, program, "what is never printed");
    EXPECT_TRUE(program.ended());
    return program.result();
}

} // namespace

TEST_F(Lock, IsHeldWhileACommandRuns) {
    const Result result = varnelctl({"lock", "user:net", "--", "sh", "-c", "echo out; echo err >&2; exit 7"});
    EXPECT_EQ(result.code, 7);
    EXPECT_EQ(result.output, "out\n");
    EXPECT_EQ(result.errors, "err\n");
    EXPECT_EQ(key_, "user|net|");
    EXPECT_FALSE(held_);
    EXPECT_EQ(daemon_.requests, (std::vector<std::string>{"control_trylock", "control_unlock"}));
}

TEST_F(Lock, PassesTheCommandsWordsOnAsTheyAre) {
    EXPECT_EQ(varnelctl({"lock", ":net:mtu", "--", "printf", "%s|", "--json", "-5", "a b", "--", ""}).output,
              "--json|-5|a b|--||");
}

TEST_F(Lock, WaitsWhenAsked) {
    EXPECT_EQ(varnelctl({"lock", "user:net", "--wait", "1.5", "--", "true"}).code, 0);
    EXPECT_EQ(wait_, 1500U);
}

TEST_F(Lock, ThatIsNotToBeHadEndsWithFourAndRunsNothing) {
    busy_ = true;
    const Result busy = varnelctl({"lock", "user:net", "--", "echo", "ran"});
    EXPECT_EQ(busy.code, 4);
    EXPECT_EQ(busy.output, "");
    EXPECT_EQ(busy.errors.rfind("varnelctl: busy: held\n", 0), 0U);
    const Result late = varnelctl({"lock", "user:net", "--wait", "0.1", "--", "echo", "ran"});
    EXPECT_EQ(late.code, 4);
    EXPECT_EQ(late.errors, "varnelctl: timed_out: held\n");
}

TEST_F(Lock, TellsThatACommandCannotBeRun) {
    EXPECT_EQ(varnelctl({"lock", "user:net", "--", "/nowhere/command"}).code, 127);
    EXPECT_EQ(varnelctl({"lock", "user:net", "--", "/etc"}).code, 126);
}

TEST_F(Lock, EndsAsTheSignalThatEndedTheCommandSays) {
    EXPECT_EQ(varnelctl({"lock", "user:net", "--", "sh", "-c", "kill -9 $$"}).code, 128 + SIGKILL);
}

TEST_F(Lock, GivesTheCommandTheSignalsOfAnyProgram) {
    const Result result = varnelctl({"lock", "user:net", "--", "sh", "-c", "kill -PIPE $$; echo survived"});
    EXPECT_EQ(result.code, 128 + SIGPIPE);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(varnelctl({"lock", "user:net", "--", "sh", "-c", "kill -TERM $$; echo survived"}).code, 128 + SIGTERM);
}

TEST_F(Lock, PassesATerminationOnToTheCommand) {
    Program program(
        {"lock", "user:net", "--", "sh", "-c", "trap 'exit 9' TERM; echo ready; while :; do sleep 0.05; done"}, "",
        daemon_.path());
    serve_until(daemon_, program, "ready");
    program.signal(SIGTERM);
    EXPECT_EQ(end(daemon_, program).code, 9);
}

TEST_F(Lock, IsHeldUntilInterruptedWithoutACommand) {
    for (const int number : {SIGINT, SIGTERM}) {
        Program program({"lock", ":net:mtu"}, "", daemon_.path());
        serve_until(daemon_, program, "locked");
        EXPECT_EQ(program.output(), "locked user:net:mtu\n");
        EXPECT_TRUE(held_);
        program.signal(number);
        EXPECT_EQ(end(daemon_, program).code, 0);
        EXPECT_FALSE(held_);
    }
}

TEST_F(Lock, EndsWithThreeWhenTheDaemonGoes) {
    Program program({"lock", "user:net"}, "", daemon_.path());
    serve_until(daemon_, program, "locked");
    daemon_.close_connections();
    EXPECT_EQ(end(daemon_, program).code, 3);
}

TEST_F(Lock, LetsTheCommandEndWhenTheDaemonGoesAndTellsOfIt) {
    Program program({"lock", "user:net", "--", "sh", "-c", "echo ready; sleep 0.3; echo done"}, "", daemon_.path());
    serve_until(daemon_, program, "ready");
    daemon_.close_connections();
    const Result result = end(daemon_, program);
    EXPECT_EQ(result.code, 3);
    EXPECT_EQ(result.output, "ready\ndone\n");
    EXPECT_NE(result.errors.find("the lock is lost"), std::string::npos);
}
