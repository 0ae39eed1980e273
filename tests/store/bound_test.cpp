// SPDX-License-Identifier: MIT
// Stores that hold as much as their setting max_bytes allows.
#include "daemon.h"
#include "messages.h"

namespace varnel::test {

namespace {

const std::string kFull = "it holds as much as its settings allow";

// Both modules hold 4096 bytes: the layer "user" in a file, "volatile" in memory.
class Bound : public testing::TestWithParam<const char *> {
protected:
    Bound() {
        for (const std::string opening : {"sqlite = {\n", "memory = {\n"})
            daemon.config.insert(daemon.config.find(opening) + opening.size(), "        max_bytes = 4096\n");
        daemon.start();
    }

    [[nodiscard]] std::string key(const std::string &rest) const { return std::string(GetParam()) + ":" + rest; }
    [[nodiscard]] Status set(const std::string &name, std::size_t bytes) {
        return status_of(peer_().ask(++id_, set_message(GetParam(), "g", name, long_text(bytes))));
    }
    [[nodiscard]] std::size_t size_of(const std::string &name) {
        const Received answer = peer_().ask(++id_, get_message(GetParam(), "g", name));
        return status_of(answer) == Status::ok ? answer.at(1).value.s.len : 0;
    }
    [[nodiscard]] std::string dump() const { return daemon.control({"dump", GetParam()}).out; }
    [[nodiscard]] std::string backend() const { return std::string(GetParam()) == "user" ? "sqlite" : "memory"; }

    Daemon daemon;

private:
    Peer &peer_() {
        if (!connected_)
            connected_.emplace(Peer::over_unix(daemon.socket));
        return *connected_;
    }
    std::optional<Peer> connected_;
    std::uint32_t id_ = 0;
};

} // namespace

TEST_P(Bound, AValueTooManyIsRefusedAndTheOldOneStays) {
    ASSERT_EQ(set("a", 3000), Status::ok);
    EXPECT_EQ(set("a", 4000), Status::no_space);
    EXPECT_EQ(set("b", 3000), Status::no_space);
    EXPECT_EQ(size_of("a"), 3000U);
    EXPECT_EQ(size_of("b"), 0U);
    EXPECT_EQ(set("a", 2000), Status::ok);
    EXPECT_EQ(set("b", 1000), Status::ok);
    EXPECT_EQ(size_of("b"), 1000U);
}

TEST_P(Bound, TheClientIsToldWhy) {
    const Outcome refused = daemon.control({"set", key("g:a"), std::string(4000, 'v')});
    EXPECT_EQ(refused.code, 4);
    EXPECT_EQ(refused.err, "varnelctl: no_space: backend " + backend() + ": " + kFull + "\n");
    EXPECT_EQ(daemon.control({"get", key("g:a")}).code, 1);
    EXPECT_EQ(daemon.control({"keys", GetParam()}).out, "") << "the group would have come with the value";
}

TEST_P(Bound, UnsettingMakesRoom) {
    ASSERT_EQ(set("a", 3000), Status::ok);
    ASSERT_EQ(set("b", 1500), Status::no_space);
    ASSERT_EQ(daemon.control({"unset", key("g:a")}).code, 0);
    EXPECT_EQ(set("b", 1500), Status::ok);
}

TEST_P(Bound, GroupsCountToo) {
    ASSERT_EQ(set("a", 3750), Status::ok);
    const Outcome refused = daemon.control({"mkgroup", key("h")});
    EXPECT_EQ(refused.code, 4);
    EXPECT_NE(refused.err.find(kFull), std::string::npos) << refused.err;
}

TEST_P(Bound, ALoadThatGoesOverIsTakenBackWhole) {
    ASSERT_EQ(set("a", 1000), Status::ok);
    ASSERT_EQ(set("b", 1000), Status::ok);
    const std::string before = dump();
    const std::string large = "\"" + std::string(1500, 'v') + "\"";
    const std::string rows =
        R"({"groups": {"empty": {}, "g": {"a": )" + large + R"(}, "h": {"c": )" + large + R"(, "d": )" + large + "}}}";
    for (const std::vector<std::string> &options : {std::vector<std::string>{}, {"--replace"}}) {
        std::vector<std::string> arguments = {"load", GetParam(), "-"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome refused = daemon.control(arguments, rows);
        EXPECT_EQ(refused.code, 4);
        EXPECT_NE(refused.err.find(kFull), std::string::npos) << refused.err;
        EXPECT_EQ(dump(), before);
    }
    EXPECT_FALSE(daemon.log_lines("does not take changes back"));
}

INSTANTIATE_TEST_SUITE_P(Layers, Bound, testing::Values("user", "volatile"),
                         [](const auto &layer) { return std::string(layer.param); });

TEST(LoweredBound, KeepsWhatIsThereAndTakesNoMore) {
    Daemon daemon;
    daemon.start();
    ASSERT_EQ(daemon.control({"set", "g:a", std::string(3000, 'v')}).code, 0);
    ASSERT_EQ(daemon.control({"set", "g:b", std::string(3000, 'v')}).code, 0);
    daemon.stop();
    const std::string opening = "sqlite = {\n";
    daemon.config.insert(daemon.config.find(opening) + opening.size(), "        max_bytes = 4096\n");
    daemon.start();
    EXPECT_EQ(daemon.log_lines("more than the 4096 of \"max_bytes\""), 1U) << daemon.log();
    EXPECT_EQ(daemon.control({"get", "g:b"}).out, std::string(3000, 'v') + "\n");
    EXPECT_EQ(daemon.control({"set", "g:c", "1"}).code, 4);
    EXPECT_EQ(daemon.control({"set", "g:a", "1"}).code, 0);
    EXPECT_EQ(daemon.control({"set", "g:c", "1"}).code, 0);
}

} // namespace varnel::test
