// SPDX-License-Identifier: MIT
// How the daemon begins and ends: sockets that are there already, folders that take nothing, wrong settings, signals.
#include "daemon.h"
#include "messages.h"
#include "modules/support/own_mount.h"

#include <csignal>
#include <filesystem>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>

namespace varnel::test {

namespace {

// What must not start: code, and a text that its message has.
void expect_refusal(Daemon &daemon, int code, const std::string &text) {
    const Outcome outcome = daemon.run_to_its_end();
    EXPECT_EQ(outcome.code, code) << outcome.err;
    EXPECT_NE(outcome.err.find(text), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.out, "");
}

// Root may write everywhere; a program that it starts without this capability may not.
void obey_permissions() {
    prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
}

std::string value(const Daemon &daemon, const char *key) {
    const Outcome outcome = daemon.control({"get", key});
    return outcome.code == 0 ? outcome.out : outcome.err;
}

TEST(Start, KeepsValuesAcrossRestarts) {
    StartedDaemon daemon;
    for (const char *const type : {"int32", "uint32", "int64", "uint64", "float", "double"})
        EXPECT_EQ(daemon.control({"set", std::string("g:") + type, "7", "--type", type}).code, 0);
    EXPECT_EQ(daemon.control({"set", "g:string", "text"}).code, 0);
    EXPECT_EQ(daemon.control({"set", "g:boolean", "true"}).code, 0);
    EXPECT_EQ(daemon.control({"mkgroup", "empty"}).code, 0);
    const std::string before = daemon.control({"dump"}).out;
    daemon.stop();
    daemon.start();
    EXPECT_EQ(daemon.control({"dump"}).out, before);
    EXPECT_NE(before.find("\"type\": \"uint64\""), std::string::npos) << before;
}

TEST(Start, KeepsWhatWasInMemoryOnlyAfterACleanEnd) {
    Daemon daemon;
    daemon.config.replace(daemon.config.find("durability = file"), 17, "durability = memory");
    daemon.options = {"--flush-interval", "3600000"};
    daemon.start();
    const Outcome set = daemon.control({"set", "g:a", "1", "-v"});
    EXPECT_NE(set.out.find("durability memory"), std::string::npos) << set.out;
    daemon.stop();
    daemon.start();
    EXPECT_EQ(value(daemon, "g:a"), "1\n");
    EXPECT_EQ(daemon.control({"set", "g:a", "2"}).code, 0);
    daemon.kill();
    daemon.start();
    EXPECT_EQ(value(daemon, "g:a"), "1\n");
}

TEST(Start, FlushesWhatIsInMemoryByItself) {
    Daemon daemon;
    daemon.config.replace(daemon.config.find("durability = file"), 17, "durability = memory");
    daemon.options = {"--flush-interval", "10"};
    daemon.start();
    EXPECT_EQ(daemon.control({"set", "g:a", "1"}).code, 0);
    const auto syncs = [&] {
        Peer peer = Peer::over_unix(daemon.socket);
        const std::string all = texts_of(peer.ask(1, message(control_other, "statistics")));
        return all.find("syncs 0") == std::string::npos;
    };
    EXPECT_TRUE(eventually(syncs));
    daemon.kill();
    daemon.start();
    EXPECT_EQ(value(daemon, "g:a"), "1\n");
}

TEST(Start, WorksWithoutAConfiguration) {
    Daemon daemon;
    daemon.config.clear();
    daemon.start();
    EXPECT_EQ(daemon.control({"set", "network:hostname", "router-7"}).code, 0);
    daemon.stop();
    daemon.start();
    EXPECT_EQ(value(daemon, "network:hostname"), "router-7\n");
    EXPECT_EQ(daemon.control({"keys", "--layers"}).out, "user\nvolatile\n");
}

TEST(Start, ReplacesTheSocketOfADaemonThatWasKilled) {
    StartedDaemon daemon;
    daemon.kill();
    EXPECT_TRUE(std::filesystem::exists(daemon.socket));
    daemon.start();
    EXPECT_EQ(daemon.log_lines("removing the socket"), 1U);
    EXPECT_EQ(daemon.control({"status"}).code, 0);
}

TEST(Start, OfASecondDaemonOnOneSocketIsRefusedAndTheFirstGoesOn) {
    StartedDaemon first;
    Daemon second;
    second.socket = first.socket;
    expect_refusal(second, 1, "another daemon serves " + first.socket);
    EXPECT_EQ(first.control({"set", "g:a", "1"}).code, 0);
}

TEST(Start, OfASecondDaemonOnOneStateIsRefusedAndTheFirstGoesOn) {
    StartedDaemon first;
    EXPECT_EQ(first.control({"set", "g:a", "1"}).code, 0);
    Daemon second;
    second.state = first.state;
    expect_refusal(second, 1, "another daemon keeps its state in " + first.state);
    EXPECT_FALSE(std::filesystem::exists(second.socket));
    EXPECT_EQ(value(first, "g:a"), "1\n");
    EXPECT_EQ(first.control({"set", "g:a", "3"}).code, 0);
}

TEST(Start, LeavesWhatIsNoSocketAlone) {
    Daemon daemon;
    write_file(daemon.socket, "precious");
    expect_refusal(daemon, 1, "is there and is no socket");
    EXPECT_EQ(read_file(daemon.socket), "precious");
}

TEST(Start, NeedsAPathThatFitsASocket) {
    Daemon daemon;
    daemon.socket = daemon.folder() / std::string(200, 'x');
    expect_refusal(daemon, 2, "is not a path of at most 107 bytes");
    EXPECT_FALSE(std::filesystem::exists(daemon.state));
}

TEST(Start, NeedsAFolderForItsSocket) {
    Daemon daemon;
    const std::string closed = daemon.folder() / "closed";
    ASSERT_EQ(mkdir(closed.c_str(), 0500), 0);
    daemon.socket = closed + "/socket";
    daemon.process.before_exec = obey_permissions;
    expect_refusal(daemon, 1, "cannot open " + closed + "/socket.lock: Permission denied");
}

TEST(Start, NeedsAFolderForItsState) {
    Daemon daemon;
    write_file(daemon.folder() / "file", "");
    daemon.state = daemon.folder() / "file";
    expect_refusal(daemon, 1, daemon.folder() / "file");
}

TEST(Start, WithAStateFolderThatTakesNothingServesOtherLayers) {
    Daemon daemon;
    ASSERT_EQ(mkdir(daemon.state.c_str(), 0500), 0);
    daemon.process.before_exec = obey_permissions;
    daemon.start();
    EXPECT_TRUE(daemon.logs("Permission denied"));
    EXPECT_EQ(daemon.log_lines("revision file"), 0U);
    EXPECT_EQ(daemon.control({"set", "g:a", "1"}).code, 4);
    EXPECT_EQ(daemon.control({"set", "volatile:g:a", "1"}).code, 0);
    EXPECT_EQ(value(daemon, "volatile:g:a"), "1\n");
    EXPECT_TRUE(daemon.logs("revision file cannot be written: Permission denied: revisions may come again"));
}

TEST(Start, WithoutAStateFolderOnAReadOnlyFileSystemServesAnEmptyLayer) {
    Daemon daemon;
    const std::string place = daemon.folder() / "read_only";
    ASSERT_EQ(mkdir(place.c_str(), 0700), 0);
    daemon.state = place + "/state";
    daemon.process.before_exec = [place] {
        static const OwnMount mount(place); // as long as the daemon runs
        mount.make_read_only();
    };
    daemon.start();
    EXPECT_EQ(daemon.log_lines("there is no state folder " + daemon.state + ", and its file system is read-only"), 1U);
    EXPECT_EQ(daemon.control({"dump"}).code, 0);
    const Outcome set = daemon.control({"set", "g:a", "1"});
    EXPECT_NE(set.code, 0);
    EXPECT_NE(set.err.find("Read-only file system"), std::string::npos) << set.err;
    EXPECT_EQ(daemon.control({"set", "volatile:g:a", "1"}).code, 0);
    EXPECT_EQ(value(daemon, "volatile:g:a"), "1\n");
}

TEST(Start, OnAStateThatADaemonOfAnotherUserMayKeepIsRefused) {
    Daemon daemon;
    ASSERT_EQ(mkdir(daemon.state.c_str(), 0700), 0);
    const std::string lock = daemon.state + "/varneld.lock";
    write_file(lock, "");
    ASSERT_EQ(chmod(lock.c_str(), 0), 0);
    daemon.process.before_exec = obey_permissions;
    expect_refusal(daemon, 1, "cannot tell whether another daemon keeps its state in " + daemon.state + ": " + lock);
}

TEST(Start, RefusesARevisionFileThatIsNone) {
    Daemon daemon;
    ASSERT_EQ(mkdir(daemon.state.c_str(), 0700), 0);
    write_file(daemon.state + "/revision", "many\n");
    expect_refusal(daemon, 1, "revision does not hold a revision number");
}

TEST(Start, PrintsEveryFindingOfAWrongConfiguration) {
    Daemon daemon;
    daemon.config = "backends = {\n    memory {\n    }\n    other = {\n}\nlayers = {\n    a = {\n        nothing = {\n"
                    "        }\n    }\n}\n= 5\n";
    const Outcome outcome = daemon.run_to_its_end();
    const std::string path = daemon.folder() / "varneld.conf";
    EXPECT_EQ(outcome.code, 2);
    EXPECT_NE(outcome.err.find(path + ":2:"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(path + ":12:"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("cannot be used"), std::string::npos) << outcome.err;
}

TEST(Start, RefusesSettingsThatCannotBeMeant) {
    const struct {
        std::string setting;
        std::string message;
    } cases[] = {
        {"mode = 0999", "mode"},
        {"flush_interval = 5", "flush_interval"},
        {"udp = nowhere", "udp"},
        {"limits = {\n        clients = 0\n    }", "clients"},
        {"limits = {\n        clients = many\n    }", "clients"},
    };
    for (const auto &[setting, text] : cases) {
        Daemon daemon;
        daemon.config += "varneld = {\n    " + setting + "\n}\n";
        expect_refusal(daemon, 2, text);
    }
}

TEST(Start, RefusesWrongUse) {
    const std::vector<std::vector<std::string>> cases = {
        {"--nonsense"},
        {"argument"},
        {"--limits", "clients"},
        {"--limits", "clients=0"},
        {"--limits", "x=1"},
        {"--mode", "rw"},
        {"--mode", "1777"},
        {"--flush-interval", "soon"},
        {"--config", "/nowhere/at/all.conf"},
        {"--owner", ""},
        {"--udp", ""},
        {"--limits", ""},
    };
    for (const auto &options : cases) {
        Daemon daemon;
        daemon.config.clear();
        daemon.options = options;
        expect_refusal(daemon, 2, "varneld: ");
    }
}

TEST(Start, SaysPlainlyWhatIsWrongBeforeAnythingIsMade) {
    const struct {
        std::vector<std::string> options;
        std::string message;
    } cases[] = {
        {{"--nonsense"}, "there is no option \"--nonsense\"; --help lists those there are"},
        {{"argument", "--mode", "0600"}, "there is no option \"argument\"; --help lists those there are"},
        {{"--owner"}, "--owner: 1 required TEXT missing"},
        {{"--limits", "clients"}, "--limits: \"clients\" is no NAME=NUMBER"},
        {{"--udp", "99999"}, "udp: \"99999\" is not ADDRESS:PORT or PORT, an IPv4 address and a port from 1 to 32767"},
        {{"--owner", "a b"}, "owner: \"a b\" is not the name or number of a user"},
        {{"--group", "4294967296"}, "group: \"4294967296\" is not the name or number of a group"},
    };
    for (const auto &[options, message] : cases) {
        Daemon daemon;
        daemon.config.clear();
        daemon.options = options;
        const Outcome outcome = daemon.run_to_its_end();
        EXPECT_EQ(outcome.code, 2);
        EXPECT_EQ(outcome.err, "varneld: " + message + "\n");
        EXPECT_FALSE(std::filesystem::exists(daemon.state));
        EXPECT_FALSE(std::filesystem::exists(daemon.socket + ".lock"));
    }
}

// Nothing given is not the same as an empty text given: the default path is not what was asked for.
TEST(Start, RefusesAnEmptyPath) {
    Daemon daemon;
    daemon.socket.clear();
    expect_refusal(daemon, 2, "varneld: --socket: is empty");
    EXPECT_FALSE(std::filesystem::exists(daemon.state));
}

TEST(Start, HelpAndVersionAreNoErrors) {
    Daemon daemon;
    daemon.options = {"--help"};
    const Outcome help = daemon.run_to_its_end();
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("--flush-interval"), std::string::npos);
    daemon.options = {"--version"};
    EXPECT_EQ(daemon.run_to_its_end().out, std::string("varneld ") + VARNEL_VERSION + "\n");
}

TEST(Start, SaysWhichModuleIsMissing) {
    Daemon daemon;
    daemon.modules = daemon.folder() / "nothing";
    const Outcome outcome = daemon.run_to_its_end();
    EXPECT_NE(outcome.code, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find(daemon.folder() / "nothing"), std::string::npos) << outcome.err;
    EXPECT_FALSE(std::filesystem::exists(daemon.socket));
}

// Each of them, and before anything is made.
TEST(Start, SaysWhatIsWrongWithEveryModule) {
    Daemon daemon;
    daemon.modules = daemon.folder() / "modules";
    ASSERT_EQ(mkdir(daemon.modules.c_str(), 0700), 0);
    std::filesystem::create_symlink(std::string(MODULE_DIR) + "/memory.so", daemon.modules + "/memory.so");
    write_file(daemon.modules + "/sqlite.so", "no shared object at all, but long enough for a header of one\n");
    daemon.config.insert(daemon.config.find("memory = {\n") + 11, "\nfunction = {\nsync = no_such_function\n}\n");
    const Outcome outcome = daemon.run_to_its_end();
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.out, "");
    for (const char *const text :
         {"varneld: backend defaults: module ", "/defaults.so: No such file or directory",
          "/sqlite.so: ", "no function no_such_function for \"sync\"", "varneld: not started: "})
        EXPECT_NE(outcome.err.find(text), std::string::npos) << text << "\n" << outcome.err;
    for (const std::string &path : {daemon.socket, daemon.socket + ".lock", daemon.state})
        EXPECT_FALSE(std::filesystem::exists(path)) << path;
}

TEST(Start, RefusesNamesOfLayersThatNoKeyCouldHave) {
    Daemon daemon;
    const std::string config = daemon.config;
    for (const char *const name : {"a:b", "a/b"}) {
        daemon.config = config;
        daemon.config.replace(daemon.config.find("locked"), 6, name);
        expect_refusal(daemon, 2, std::string("\"") + name + "\" cannot be the name of a layer");
        EXPECT_EQ(daemon.control({"check", daemon.folder() / "varneld.conf"}).code, 1);
    }
}

TEST(Start, GivesTheSocketItsMode) {
    Daemon daemon;
    daemon.options = {"--mode", "0600"};
    daemon.start();
    struct stat status {};
    ASSERT_EQ(lstat(daemon.socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    daemon.stop();
    daemon.options = {};
    daemon.start();
    ASSERT_EQ(lstat(daemon.socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0660U);
}

TEST(Start, RefusesOwnersThatAreNone) {
    Daemon daemon;
    daemon.options = {"--owner", "nobody-of-this-name"};
    expect_refusal(daemon, 1, "there is no user nobody-of-this-name");
    EXPECT_FALSE(std::filesystem::exists(daemon.socket));
    daemon.options = {"--group", "no-such-group"};
    expect_refusal(daemon, 1, "there is no group no-such-group");
}

TEST(End, ByEitherSignalIsClean) {
    StartedDaemon daemon;
    daemon.running().signal(SIGINT);
    EXPECT_EQ(daemon.running().wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(daemon.socket));
    daemon.start();
}

// Whoever is being answered gets all of it, however many packets it takes.
TEST(End, SendsPendingAnswersFirst) {
    StartedDaemon daemon;
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, set_message("volatile", "g", "a", long_text(60000)));
    peer.send_message(2, get_message("volatile", "g", "a").encode());
    std::optional<Packet> packet = peer.receive();
    ASSERT_TRUE(packet);
    daemon.running().signal(SIGTERM);
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(daemon.socket); })); // it has begun to end
    std::size_t bytes = packet->payload.size();
    while (packet->index < packet->count) {
        ASSERT_TRUE(peer.send(acknowledgement(2, packet->index)));
        packet = peer.receive();
        ASSERT_TRUE(packet);
        bytes += packet->payload.size();
    }
    EXPECT_GT(bytes, 60000U);
    EXPECT_TRUE(peer.is_closed());
    EXPECT_EQ(daemon.running().wait(), 0);
    daemon.start();
}

TEST(End, WaitsForNobodyWhoDoesNotRead) {
    StartedDaemon daemon;
    Peer peer = Peer::over_unix(daemon.socket);
    peer.ask(1, set_message("volatile", "g", "a", long_text(60000)));
    peer.send_message(2, get_message("volatile", "g", "a").encode());
    ASSERT_TRUE(peer.receive()); // never acknowledged
    daemon.stop();
    daemon.start();
}

TEST(End, ReleasesEverythingOfConnectedClients) {
    StartedDaemon daemon;
    std::vector<Peer> peers;
    for (std::uint32_t i = 0; i < 20; ++i) {
        peers.push_back(Peer::over_unix(daemon.socket));
        peers.back().ask(1, message(control_notify, "volatile", "", "", protocol::kFromNow));
        peers.back().send_message(2, message(control_lock, "volatile", "g", "", std::uint32_t{60000}).encode());
    }
    daemon.stop(); // built with the address sanitizer, it would tell of what it has lost
    for (Peer &peer : peers)
        EXPECT_TRUE(peer.is_closed());
    daemon.start();
}

} // namespace

} // namespace varnel::test
