// SPDX-License-Identifier: MIT
// list, keys, explain, status, check.
#include "ctl/fake_store.h"
#include "ctl/run.h"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

using namespace ctl_tests;
using varnel::make_int32;
using varnel::make_string;

namespace {

class Reading : public testing::Test {
protected:
    void SetUp() override {
        store_.put("user", "net", "mtu", make_int32(1400));
        store_.put("user", "net", "host", make_string("a\nb\033[1m"), "defaults");
        store_.layers["user"].try_emplace({"empty", ""}, make_string(""), "sqlite");
    }
    Result varnelctl(const Arguments &arguments) { return run(daemon_, arguments); }
    std::string output(const Arguments &arguments) { return varnelctl(arguments).output; }

    FakeStore store_;
    FakeDaemon daemon_{store_.handler()};
};

} // namespace

TEST_F(Reading, ListsKeysTypesValuesAndBackends) {
    EXPECT_EQ(output({"list"}), "user:empty:    group   -              sqlite\n"
                                "user:net:host  string  a\\x0ab\\x1b[1m  defaults\n"
                                "user:net:mtu   int32   1400           sqlite\n");
    EXPECT_EQ(output({"list", "user:net:mtu"}), "user:net:mtu  int32  1400  sqlite\n");
    EXPECT_EQ(output({"list", "volatile"}), "");
}

TEST_F(Reading, ListsHoweverManyAnswersItTakes) {
    const std::string whole = output({"list", "--json"});
    store_.page = 1;
    EXPECT_EQ(output({"list", "--json"}), whole);
}

TEST_F(Reading, ListsAsJson) {
    EXPECT_EQ(
        varnelctl({"list", ":net", "--json"}).json().dump(),
        R"([{"key":"user:net:host","layer":"user","group":"net","name":"host","type":"string","value":"a\nb\u001b[1m",)"
        R"("backend":"defaults"},{"key":"user:net:mtu","layer":"user","group":"net","name":"mtu","type":"int32",)"
        R"("value":1400,"backend":"sqlite"}])");
}

TEST_F(Reading, ListsKeysAlone) {
    EXPECT_EQ(output({"keys"}), "user:empty:\nuser:net:host\nuser:net:mtu\n");
    EXPECT_EQ(output({"keys", "user:net"}), "user:net:host\nuser:net:mtu\n");
    EXPECT_EQ(output({"keys", "--groups"}), "user:empty\nuser:net\n");
    EXPECT_EQ(output({"keys", "--layers"}), "user\nvolatile\n");
    EXPECT_EQ(varnelctl({"keys", "--layers", "--groups"}).code, 2);
    EXPECT_EQ(varnelctl({"keys", ":net", "--json"}).json().dump(),
              R"([{"key":"user:net:host","layer":"user","group":"net","name":"host"},)"
              R"({"key":"user:net:mtu","layer":"user","group":"net","name":"mtu"}])");
}

TEST_F(Reading, ExplainsWhichValueWins) {
    EXPECT_EQ(output({"explain", "net:mtu"}), "LAYER  BACKEND   STATE                 TYPE   VALUE\n"
                                              "user   sqlite    WINS, writes go here  int32  1400\n"
                                              "user   defaults  hidden, read-only     int32  1500\n"
                                              "user:net:mtu has the value of sqlite\n"
                                              "lock: connection 7 (pid 1, user 0)\n");
}

TEST_F(Reading, ExplainsAsJson) {
    const auto json = varnelctl({"explain", "net:mtu", "--json"}).json();
    EXPECT_EQ(json["key"], "user:net:mtu");
    EXPECT_EQ(json["lock_holder"], "connection 7 (pid 1, user 0)");
    ASSERT_EQ(json["backends"].size(), 2U);
    EXPECT_EQ(json["backends"][0].dump(),
              R"({"layer":"user","backend":"sqlite","has_value":true,"type":"int32","value":1400,"wins":true,)"
              R"("hidden":false,"writes_go_here":true,"readonly":false,"failing":false})");
    EXPECT_EQ(json["backends"][1]["hidden"], true);
}

TEST_F(Reading, ShowsTheLayersWithTheirBackends) {
    store_.revision = 12;
    EXPECT_EQ(
        output({"status"}),
        "LAYER     BACKEND   LIBRARY      PRIORITY  DURABILITY  STATE\n"
        "user      sqlite    sqlite.so    10        file        default layer, writes go here\n"
        "user      defaults  defaults.so  0         file        default layer, read-only, FAILING: no \\x1b[31mfile\n"
        "volatile  sqlite    sqlite.so    10        file        writes go here\n"
        "volatile  defaults  defaults.so  0         file        read-only, FAILING: no \\x1b[31mfile\n"
        "revision 12\n");
}

TEST_F(Reading, ShowsTheStatusAsJson) {
    const auto json = varnelctl({"status", "--json"}).json();
    EXPECT_EQ(json["default_layer"], "user");
    EXPECT_EQ(json["backends"][1].dump(),
              R"({"layer":"user","backend":"defaults","library":"defaults.so","priority":0,"durability":"file",)"
              R"("default_layer":true,"layer_readonly":false,"readonly":true,"writes_go_here":false,"failing":true,)"
              R"("message":"no \u001b[31mfile"})");
}

TEST_F(Reading, ShowsLimitsAndVersion) {
    EXPECT_EQ(output({"status", "--limits"}), "message_bytes  1048576\nparameters     4096\n");
    EXPECT_EQ(varnelctl({"status", "--limits", "--json"}).json().dump(),
              R"({"message_bytes":1048576,"parameters":4096})");
    EXPECT_EQ(output({"status", "--version"}), "varneld 1.2.3, protocol 1\n");
    EXPECT_EQ(varnelctl({"status", "--version", "--limits"}).code, 2);
}

TEST(Check, IsContentWithAGoodFile) {
    const std::string path =
        file_with("backends = {\n    memory = {\n    }\n}\n"
                  "layers = {\n    default = user\n    user = {\n        memory = {\n        }\n    }\n}\n");
    const Result result = run_alone({"check", path});
    EXPECT_EQ(result.output, path + ": 0 errors, 0 warnings\n");
    EXPECT_EQ(result.code, 0);
}

TEST(Check, ReportsEveryErrorWithItsPlace) {
    const std::string path = file_with("backends = {\nthis is nothing\n}\n}\n");
    const Result result = run_alone({"check", path, "--syntax"});
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.output.find(path + ":2:1: error: "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(path + ":4:1: error: "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(path + ": 2 errors, 0 warnings\n"), std::string::npos) << result.output;
    const auto json = run_alone({"check", path, "--syntax", "--json"}).json();
    EXPECT_EQ(json["errors"], 2);
    EXPECT_EQ(json["findings"][0]["line"], 2);
    EXPECT_EQ(json["findings"][0]["severity"], "error");
}

// Under a name in lower case, to which paths in a configuration are folded.
class DefaultsText {
public:
    DefaultsText(const std::string &name, const std::string &text)
        : path_("/tmp/varnelctl_" + std::to_string(getpid()) + "_" + name) {
        std::ofstream(path_) << text;
    }
    DefaultsText(const DefaultsText &) = delete;
    DefaultsText &operator=(const DefaultsText &) = delete;
    ~DefaultsText() { unlink(path_.c_str()); }
    [[nodiscard]] const std::string &path() const { return path_; }

private:
    std::string path_;
};

// Where the first layer has the backend's own file, and the second one of its own.
std::string config_with_defaults(const std::string &first, const std::string &second) {
    return file_with("backends = {\n    factory = {\n        library = defaults.so\n        file = " + first +
                     "\n    }\n}\nlayers = {\n    default = a\n    a = {\n        readonly = yes\n"
                     "        factory = {\n        }\n    }\n    b = {\n        readonly = yes\n"
                     "        factory = {\n            file = " +
                     second + "\n            required = no\n        }\n    }\n}\n");
}

TEST(Check, LooksAtTheDefaultsThatItNames) {
    const DefaultsText good_file("good", "g = {\n    n = 1\n}\n");
    const DefaultsText broken_file("broken", "g = {\n    n:int32 = many\n}\n");
    const std::string &good = good_file.path();
    const std::string &broken = broken_file.path();
    const std::string path = config_with_defaults(good, broken);
    const Result result = run_alone({"check", path});
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.output.find(path + ": 0 errors, 0 warnings\n" + good + ": 0 errors, 0 warnings\n" + broken +
                                 ":2:15: error: "),
              std::string::npos)
        << result.output;
    EXPECT_NE(result.output.find(broken + ": 1 error, 0 warnings\n"), std::string::npos) << result.output;
    const auto json = run_alone({"check", path, "--json"}).json();
    EXPECT_EQ(json["file"], path);
    EXPECT_EQ(json["errors"], 1);
    EXPECT_EQ(json["warnings"], 0);
    EXPECT_EQ(json["findings"][0]["file"], broken);
    EXPECT_EQ(run_alone({"check", path, "--syntax"}).code, 0);
    EXPECT_EQ(run_alone({"check", config_with_defaults(good, good)}).code, 0);
}

TEST(Check, WarnsOfRequiredDefaultsThatAreNotThere) {
    const std::string path = config_with_defaults("/nowhere/a.conf", "/nowhere/b.conf");
    const Result result = run_alone({"check", path});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, path +
                                 ": 0 errors, 0 warnings\n/nowhere/a.conf: warning: is not there (expected a file, or "
                                 "required = no in " +
                                 path + ")\n/nowhere/a.conf: 0 errors, 1 warning\n");
}

TEST(Check, ReportsAFileThatIsNotThere) {
    EXPECT_EQ(run_alone({"check", "/nowhere/varneld.conf"}).code, 1);
}
