// SPDX-License-Identifier: MIT
// Every command of varnelctl against the real daemon.
#include "daemon.h"
#include "messages.h"

#include <csignal>

namespace varnel::test {

namespace {

class Verbs : public testing::Test {
protected:
    // Runs what must succeed; its standard output.
    std::string run(const std::vector<std::string> &arguments, const std::string &input = "") {
        const Outcome outcome = daemon.control(arguments, input);
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }

    // Runs what must end with that code; its standard error.
    std::string fail(int code, const std::vector<std::string> &arguments, const std::string &input = "") {
        const Outcome outcome = daemon.control(arguments, input);
        EXPECT_EQ(outcome.code, code) << outcome.out << outcome.err;
        return outcome.err;
    }

    StartedDaemon daemon;
};

TEST_F(Verbs, SetKeepsTypesAndGetPrintsPlainly) {
    EXPECT_EQ(run({"set", "g:a", "5"}), "");
    EXPECT_EQ(run({"get", "g:a"}), "5\n");
    run({"set", "g:f", "1", "--type", "float"});
    run({"set", "g:f", "2"});
    EXPECT_EQ(run({"get", "user:g:f", "--json"}),
              "{\n  \"key\": \"user:g:f\",\n  \"layer\": \"user\",\n  \"group\": \"g\",\n  \"name\": \"f\",\n"
              "  \"type\": \"float\",\n  \"value\": 2.0,\n  \"backend\": \"sqlite\"\n}\n");
    EXPECT_NE(fail(2, {"set", "g:f", "much"}).find("--type"), std::string::npos);
    run({"set", "g:n", "-5"});
    EXPECT_EQ(run({"get", "g:n"}), "-5\n");
    run({"set", "g:s", "-"}, "from input\n");
    EXPECT_EQ(run({"get", "g:s"}), "from input\n");
}

TEST_F(Verbs, SetTellsHowSafeTheChangeIs) {
    EXPECT_EQ(run({"set", "g:a", "5", "-v"}), "layer user, backend sqlite, durability file, revision 2, 1 changed\n");
    EXPECT_EQ(run({"set", "g:a", "6", "-v", "--durability", "folder"}),
              "layer user, backend sqlite, durability folder, revision 3, 1 changed\n");
    EXPECT_EQ(run({"set", "volatile:g:a", "6", "-v", "--durability", "folder"}),
              "layer volatile, backend memory, durability memory, revision 5, 1 changed\n");
}

TEST_F(Verbs, UnsetRemovesAllOrNone) {
    run({"set", "g:a", "1"});
    run({"set", "g:b", "2"});
    EXPECT_EQ(fail(1, {"unset", "g:a", "g:missing"}).substr(0, 21), "varnelctl: not_found:");
    EXPECT_EQ(run({"get", "g:a"}), "1\n");
    run({"unset", "g:a", "g:b"});
    EXPECT_EQ(fail(1, {"get", "g:a"}).substr(0, 21), "varnelctl: not_found:");
    EXPECT_EQ(run({"keys"}), "user:g:\n");
}

TEST_F(Verbs, ListAndKeysShowWhatGetWouldAnswer) {
    daemon.stop();
    write_file(daemon.folder() / "defaults.conf", "g = {\n    a = 1\n    b = x\n}\n");
    daemon.start();
    run({"set", "g:a", "7"});
    EXPECT_EQ(run({"list"}), "user:g:a  int32   7  sqlite\nuser:g:b  string  x  defaults\n");
    EXPECT_EQ(run({"list", "user:g:b"}), "user:g:b  string  x  defaults\n");
    EXPECT_EQ(run({"keys", "user:g"}), "user:g:a\nuser:g:b\n");
    EXPECT_EQ(run({"keys", "--groups"}), "user:g\n");
    EXPECT_EQ(run({"keys", "--layers"}).substr(0, 5), "user\n");
    fail(1, {"list", "user:nothing"});
}

TEST_F(Verbs, ExplainShowsEveryBackendInOrder) {
    daemon.stop();
    write_file(daemon.folder() / "defaults.conf", "g = {\n    a = 1\n}\n");
    daemon.start();
    run({"set", "g:a", "7"});
    const std::string table = run({"explain", "g:a"});
    EXPECT_LT(table.find("WINS, writes go here"), table.find("hidden, read-only")) << table;
    EXPECT_NE(table.find("hidden, read-only"), std::string::npos) << table;
    EXPECT_NE(table.find("\nlock: nobody\n"), std::string::npos) << table;
    Process holder(daemon.control_arguments({"lock", "user:g"}));
    EXPECT_EQ(holder.read_line(), "locked user:g");
    EXPECT_NE(run({"explain", "g:a"}).find("lock: connection "), std::string::npos);
    holder.signal(SIGINT);
    EXPECT_EQ(holder.wait(), 0);
}

TEST_F(Verbs, MkgroupAndRmgroupMakeAndRemoveGroups) {
    run({"mkgroup", "volatile:empty"});
    EXPECT_EQ(fail(4, {"mkgroup", "volatile:empty"}).substr(0, 18), "varnelctl: exists:");
    EXPECT_EQ(run({"keys", "volatile"}), "volatile:empty:\n");
    run({"set", "volatile:empty:a", "1"});
    run({"rmgroup", "volatile:empty"});
    EXPECT_EQ(run({"keys", "volatile"}), "");
    fail(1, {"rmgroup", "volatile:empty"});
}

TEST_F(Verbs, DumpAndLoadMoveALayer) {
    run({"set", "g:text", "a \"b\" \\ c"});
    run({"set", "g:nan", "nan(0x7ff8000000000123)", "--type", "double"});
    run({"set", "g:big", "18446744073709551615"});
    run({"mkgroup", "empty"});
    const std::string dump = run({"dump"});
    run({"set", "volatile:old:a", "1"});
    run({"load", "volatile", "-", "--replace"}, dump);
    EXPECT_EQ(run({"keys", "volatile"}), "volatile:empty:\nvolatile:g:big\nvolatile:g:nan\nvolatile:g:text\n");
    EXPECT_EQ(run({"get", "volatile:g:nan"}), "nan(0x7ff8000000000123)\n");
    EXPECT_EQ(run({"get", "volatile:g:big"}), "18446744073709551615\n");
    fail(2, {"load", "volatile", "-"}, "{\"varnel\": 1, \"groups\": {\"g\": {\"a\": 1, \"b\": [1]}}}");
    fail(1, {"get", "volatile:g:a"});
}

// More rows than one message takes: they are kept by the daemon until the last of them is there.
TEST_F(Verbs, LoadOfThousandsOfValuesIsOneWrite) {
    std::string rows;
    for (int i = 0; i < 3000; ++i)
        rows += (i != 0 ? ", \"n" : "\"n") + std::to_string(i) + "\": " + std::to_string(i);
    const std::string answer = run({"load", "-", "-v"}, "{\"varnel\": 1, \"groups\": {\"g\": {" + rows + "}}}");
    EXPECT_NE(answer.find("revision 3001, 3000 changed"), std::string::npos) << answer;
    EXPECT_EQ(run({"get", "g:n2999"}), "2999\n");
}

// What the client counts is what the daemon counts, to the byte.
TEST_F(Verbs, LoadIsRefusedBeforeItIsSentWhenTheDaemonWouldNotKeepIt) {
    constexpr std::size_t kRow = 80 + 1 + 2 + 4 + 400 + 1;
    daemon.stop();
    daemon.options = {"--limits", "message_bytes=1024,staged_bytes=" + std::to_string(4 * kRow)};
    daemon.start();
    const auto dump = [](std::size_t last) {
        std::string rows;
        for (int i = 0; i < 4; ++i)
            rows +=
                "\"n" + std::to_string(i) + "\": \"" + std::string(i == 3 ? last : 400, 'x') + (i == 3 ? "\"" : "\", ");
        return R"({"groups": {"g": {)" + rows + "}}}";
    };
    run({"load", "-", "--dry-run"}, dump(400));
    run({"load", "-"}, dump(400));
    EXPECT_NE(fail(4, {"load", "volatile", "-"}, dump(401)).find("the daemon's limit staged_bytes is"),
              std::string::npos);
    EXPECT_NE(fail(4, {"load", "-", "--dry-run"}, dump(401)).find("the daemon's limit staged_bytes is"),
              std::string::npos);
    EXPECT_EQ(run({"keys", "volatile"}), "");
}

TEST_F(Verbs, WatchPrintsALineForEachChange) {
    Process watch(daemon.control_arguments({"watch", "volatile:g", "--count", "3"}));
    const auto subscribed = [this] {
        return run({"status", "--statistics"}).find("subscriptions  1") != std::string::npos;
    };
    ASSERT_TRUE(eventually(subscribed));
    Peer writer = Peer::over_unix(daemon.socket);
    std::uint32_t id = 0;
    while (!watch.has_ended() && ++id < 10000)
        writer.ask(id, set_message("volatile", "g", "a", make_uint32(id)));
    EXPECT_EQ(watch.wait(), 0) << watch.err();
    EXPECT_NE(watch.out().find(" changed volatile:g:a "), std::string::npos) << watch.out();
}

TEST_F(Verbs, WatchEndsWithZeroWhenInterrupted) {
    run({"set", "volatile:g:a", "1"});
    Process watch(daemon.control_arguments({"watch", "volatile", "--from", "0"}));
    EXPECT_EQ(watch.read_line(), "1 group-created volatile:g");
    EXPECT_EQ(watch.read_line(), "2 added volatile:g:a 1");
    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(), 0) << watch.err();
}

TEST_F(Verbs, LockRunsACommandAndPassesItsCode) {
    EXPECT_EQ(daemon.control({"lock", "volatile:g", "--", "/bin/sh", "-c", "exit 7"}).code, 7);
    EXPECT_EQ(daemon.control({"lock", "volatile:g", "--", "/nowhere/at/all"}).code, 127);
}

TEST_F(Verbs, StatusShowsLayersLimitsCountersAndVersion) {
    const std::string status = run({"status"});
    EXPECT_NE(status.find("default layer, writes go here"), std::string::npos) << status;
    EXPECT_NE(status.find("layer read-only"), std::string::npos) << status;
    EXPECT_NE(run({"status", "--limits"}).find("clients         256\n"), std::string::npos);
    EXPECT_NE(run({"status", "--statistics"}).find("requests     "), std::string::npos);
    EXPECT_EQ(run({"status", "--version"}), std::string("varneld ") + VARNEL_VERSION + ", protocol 1\n");
}

TEST_F(Verbs, SyncTellsTheClassReached) {
    EXPECT_EQ(run({"sync"}), "");
    EXPECT_EQ(run({"sync", "user", "-v"}), "durability folder\n");
    EXPECT_EQ(run({"sync", "volatile", "-v"}), "durability memory\n");
    EXPECT_EQ(fail(4, {"sync", "nowhere"}).substr(0, 25), "varnelctl: unknown_layer:");
}

TEST_F(Verbs, CheckFindsErrorsWithoutADaemon) {
    const std::string path = daemon.folder() / "wrong.conf";
    write_file(path, "backends = {\n    memory {\n    }\n}\n");
    const Outcome wrong = run_control({"check", path});
    EXPECT_EQ(wrong.code, 1);
    EXPECT_NE(wrong.out.find(path + ":2:"), std::string::npos) << wrong.out << wrong.err;
    EXPECT_EQ(run_control({"check", daemon.folder() / "varneld.conf"}).code, 0);
}

TEST_F(Verbs, WithoutADaemonEndWithThree) {
    daemon.stop();
    EXPECT_NE(fail(3, {"get", "g:a"}).find("is varneld running?"), std::string::npos);
    daemon.start();
}

TEST_F(Verbs, ThatAreNoneEndWithTwo) {
    fail(2, {"fetch"});
    fail(2, {"get"});
    fail(2, {"get", "a:b:c:d"});
    fail(2, {"set", "g:a", "1", "--durability", "diamond"});
}

} // namespace

} // namespace varnel::test
