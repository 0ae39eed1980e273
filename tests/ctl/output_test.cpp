// SPDX-License-Identifier: MIT
// Standard output that is a terminal, and one that takes nothing.
#include "ctl/fake_store.h"
#include "ctl/run.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ctl_tests;
using varnel::make_string;

namespace {

class Output : public testing::Test {
protected:
    // What a terminal gets to show.
    std::string shown(const Arguments &arguments) {
        const varnel::Fd terminal(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        EXPECT_EQ(grantpt(terminal.get()), 0);
        EXPECT_EQ(unlockpt(terminal.get()), 0);
        const varnel::Fd other_end(open(ptsname(terminal.get()), O_RDWR | O_NOCTTY | O_CLOEXEC)); // keeps the text
        EXPECT_EQ(run_into(ptsname(terminal.get()), daemon_, arguments).code, 0);
        std::array<char, 4096> buffer{};
        const ssize_t count = read(terminal.get(), buffer.data(), buffer.size());
        return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

    FakeStore store_;
    FakeDaemon daemon_{store_.handler()};
};

} // namespace

TEST_F(Output, OnATerminalHasNoControlCharactersOfValues) {
    store_.put("user", "net", "host", make_string("a\033]0;title\a\\"));
    EXPECT_EQ(shown({"get", "net:host"}), "a\\x1b]0;title\\x07\\\\\r\n");
}

TEST_F(Output, OnATerminalHasHarmlessValuesAsTheyAre) {
    store_.put("user", "net", "path", make_string("C:\\größe"));
    EXPECT_EQ(shown({"get", "net:path"}), "C:\\größe\r\n");
}

TEST_F(Output, OnATerminalHasNoControlCharactersOfKeys) {
    store_.put("user", "net", "a\033[2J", make_string(""));
    EXPECT_EQ(shown({"keys", "user:net"}), "user:net:a\\x1b[2J\r\n");
}

TEST_F(Output, ThatCannotBeWrittenIsAFailure) {
    store_.put("user", "net", "host", make_string("a"));
    const Result result = run_into("/dev/full", daemon_, {"get", "net:host"});
    EXPECT_EQ(result.code, 4);
    EXPECT_EQ(result.errors, "varnelctl: cannot write the output: No space left on device\n");
}

// As in varnelctl list | head: nothing is said, and nothing is read to its end in vain.
TEST_F(Output, ThatNobodyReadsAnyMoreEndsQuietly) {
    for (int i = 0; i < 100; ++i)
        store_.put("user", "net", "n" + std::to_string(i), make_string(std::string(1000, 'x')));
    const std::string pipe = new_folder() + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    varnel::Fd reader(open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    Program program({"list"}, "", daemon_.path(), pipe);
    while (daemon_.requests.empty() && !program.ended())
        daemon_.serve();
    reader = varnel::Fd();
    while (!program.ended())
        daemon_.serve();
    EXPECT_EQ(program.result().code, 4);
    EXPECT_EQ(program.result().errors, "");
    unlink(pipe.c_str());
    rmdir(pipe.substr(0, pipe.rfind('/')).c_str());
}
