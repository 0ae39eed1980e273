// SPDX-License-Identifier: MIT
// Exit codes, and what is said with them.
#include "ctl/fake_store.h"
#include "ctl/run.h"

#include <gtest/gtest.h>

using namespace ctl_tests;

namespace {

Result refused_with(Status status, const std::string &text = "because") {
    FakeDaemon daemon([&](const Received &request) { return refusal(request.code(), status, text); });
    return run(daemon, {"get", "net:mtu"});
}

} // namespace

TEST(ExitCodes, OfWrongUseAreTwo) {
    for (const Arguments &arguments :
         {Arguments{}, Arguments{"fly"}, Arguments{"get"}, Arguments{"get", "a"}, Arguments{"get", "a:b", "c"},
          Arguments{"get", "a:b", "--fast"}, Arguments{"set", "a:b"}, Arguments{"lock", "a"},
          Arguments{"watch", "a:b:c:d"}, Arguments{"--timeout", "0", "get", "a:b"},
          Arguments{"--timeout", "x", "get", "a:b"}, Arguments{"--udp", "host:0", "get", "a:b"},
          Arguments{"--udp", "host:32768", "get", "a:b"}, Arguments{"--udp", "host", "get", "a:b"}, Arguments{"load"},
          Arguments{"load", "/nowhere/file"}, Arguments{"watch", "--count", "0"},
          Arguments{"lock", "a:b", "--wait", "-1"}}) {
        const Result result = run_alone(arguments);
        EXPECT_EQ(result.code, 2) << testing::PrintToString(arguments) << result.errors;
        EXPECT_EQ(result.errors.rfind("varnelctl: ", 0), 0U) << result.errors;
        EXPECT_EQ(result.output, "");
    }
}

TEST(ExitCodes, OfHelpAndVersionAreZero) {
    const Result help = run_alone({"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.output.find("Exit codes"), std::string::npos);
    const Result of_command = run_alone({"set", "--help"});
    EXPECT_EQ(of_command.code, 0);
    EXPECT_NE(of_command.output.find("Examples:"), std::string::npos);
    EXPECT_EQ(run_alone({"--version"}).output.rfind("varnelctl ", 0), 0U);
}

TEST(ExitCodes, WithoutADaemonAreThree) {
    const Result nothing = run_alone({"get", "net:mtu"});
    EXPECT_EQ(nothing.code, 3);
    EXPECT_NE(nothing.errors.find("is varneld running?"), std::string::npos);

    FakeDaemon daemon([](const Received &) { return nullptr; });
    const Result silent = run(daemon, {"--timeout", "0.1", "get", "net:mtu"});
    EXPECT_EQ(silent.code, 3);
    EXPECT_NE(silent.errors.find("no answer"), std::string::npos);
}

TEST(ExitCodes, WithADaemonThatHasEndedAreThree) {
    const std::string path = file_with("");
    const Result result = run_alone({"--socket", path, "get", "net:mtu"});
    EXPECT_EQ(result.code, 3);
    EXPECT_NE(result.errors.find("start it again"), std::string::npos) << result.errors;
}

TEST(ExitCodes, OfAnAnswerThatMakesNoSenseAreThree) {
    FakeDaemon daemon([](const Received &request) { return ok(request.code()); });
    EXPECT_EQ(run(daemon, {"get", "net:mtu"}).code, 3);
}

TEST(ExitCodes, OfWhatIsNotThereAreOne) {
    EXPECT_EQ(refused_with(Status::not_found).code, 1);
}

TEST(ExitCodes, OfEveryOtherStatusAreFour) {
    for (std::uint32_t status = 2; status <= static_cast<std::uint32_t>(Status::count); ++status) {
        const Result result = refused_with(static_cast<Status>(status));
        EXPECT_EQ(result.code, 4);
        const std::string name = varnel::protocol::status_name(status);
        EXPECT_EQ(result.errors.rfind("varnelctl: " + name + ": because", 0), 0U) << result.errors;
    }
}

TEST(Messages, TellWhatToDoNext) {
    EXPECT_NE(refused_with(Status::unknown_layer).errors.find("'varnelctl status' lists the layers"),
              std::string::npos);
    EXPECT_NE(refused_with(Status::busy).errors.find("'varnelctl explain KEY'"), std::string::npos);
}

TEST(Messages, TellWhichWordIsUnknownAndWhatItMayMean) {
    const std::string help = "\n('varnelctl --help' shows how it is used)\n";
    const std::pair<Arguments, std::string> cases[] = {
        {{"stauts"}, "there is no command \"stauts\"; perhaps status is meant"},
        {{"lst", "user"}, "there is no command \"lst\"; perhaps list is meant"},
        {{"--timeout", "1", "sett", "a:b", "1"}, "there is no command \"sett\"; perhaps set is meant"},
        {{"fly"}, "there is no command \"fly\""},
        {{"--fast"}, "there is no option \"--fast\""},
    };
    for (const auto &[arguments, message] : cases) {
        const Result result = run_alone(arguments);
        EXPECT_EQ(result.code, 2);
        EXPECT_EQ(result.errors, "varnelctl: " + message + help);
    }
    EXPECT_NE(run_alone({"get", "a:b", "--fast"}).errors.find("--fast"), std::string::npos);
}

TEST(Messages, DoNotLetTheDaemonActOnTheTerminal) {
    const std::string errors = refused_with(Status::io_error, "disk\033[2J\nvarnelctl: all is well").errors;
    EXPECT_EQ(errors, "varnelctl: io_error: disk\\x1b[2J varnelctl: all is well\n");
}
