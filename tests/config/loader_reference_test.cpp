// SPDX-License-Identifier: MIT
// configurator_load on random files, compared with the reference loader: trees, log lines, and how it ends.
#include "random_source.h"
#include "reference_loader.h"
#include "settings_file.h"
#include "support/counting_allocator.h"
#include "support/death.h"
#include "support/log_capture.h"
#include "tree_text.h"

#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

namespace {

constexpr int kFiles = 4000;
constexpr int kMostForks = 250;
constexpr int kLinesPerFile = 40;

class FileWriter {
public:
    explicit FileWriter(RandomSource &random) : random_(random) {}

    std::string file() {
        text_.clear();
        depth_ = 0;
        for (size_t n = random_.below(kLinesPerFile); n > 0; --n)
            add_line();
        while (depth_-- > 0 && random_.percent(99))
            text_ += "}" + line_end();
        if (random_.percent(3))
            text_ += "a = unfinished";
        return text_;
    }

private:
    std::string key() {
        static const char *const keys[] = {"a", "b", "c", "Key", "a b", "\xc4", "x.y", "\"q\"", "{", "}x", "a;b"};
        return keys[random_.below(std::size(keys))];
    }

    std::string spaces() { return random_.text(" \t", random_.below(3)); }

    std::string value() {
        constexpr std::string_view plain = "ab C1\\/.,\"'=\xe4";
        static const char *const special[] = {
            "\"\"", "''", "'''",       "\"''\"",   "'\"\"'", "\" \"",         "\"{\"",     "'}'",
            "\"",   "'",  "{ b = 1 }", "\"\" ; x", "=",      "\"x;y#z\" ; w", "'x;y' # z", "''=;"};
        switch (random_.below(4)) {
        case 0:
            return special[random_.below(std::size(special))];
        case 1:
            return '"' + random_.text(plain, random_.below(6)) + '"';
        case 2:
            return '\'' + random_.text(plain, random_.below(6)) + '\'';
        default:
            return random_.text(plain, 1 + random_.below(6));
        }
    }

    std::string line_end() {
        static const char *const ends[] = {"\n",  "\n",     "\n",   "\n",   "\r\n",
                                           " \n", "\t\r\n", "\n\n", "\v\n", " ; note\n"};
        return ends[random_.below(std::size(ends))];
    }

    void open_group() {
        text_ += spaces() + key() + spaces() + "=" + spaces();
        if (random_.percent(40))
            text_ += line_end() + (random_.percent(20) ? "# between\n" : "") + spaces();
        text_ += "{" + line_end();
        ++depth_;
    }

    void close_group() {
        if (depth_ == 0 && !random_.percent(6))
            return;
        --depth_;
        text_ += spaces() + "}" + line_end();
    }

    // A value of about the longest length that a physical or logical line may have.
    void add_long_line() {
        const size_t length = random_.percent(50) ? 1010 + random_.below(20) : 500 + random_.below(40);
        text_ += "l=" + random_.text("xyz =", length) + (random_.percent(60) ? " \\\n" : "\n");
        text_ += "m=" + random_.text("xyz =", random_.percent(70) ? random_.below(100) : 500) + "\n";
    }

    void add_line() {
        const size_t kind = random_.below(1000);
        if (kind < 450)
            text_ += spaces() + key() + spaces() + "=" + spaces() + value() + line_end();
        else if (kind < 550)
            text_ +=
                key() + " = 1 " + random_.text("\\ ", 1 + random_.below(2)) + "\n" + line_end() + value() + line_end();
        else if (kind < 700)
            open_group();
        else if (kind < 830)
            close_group();
        else if (kind < 900)
            text_ += spaces() + key() + spaces() + "=" + line_end();
        else if (kind < 960)
            text_ += spaces() + random_.text("#;", 1) + random_.text("ab =\"{}\\", random_.below(8)) + line_end();
        else if (kind < 970)
            text_ += "//" + random_.text("ab =\"{}", random_.below(8)) + line_end();
        else if (kind < 980)
            text_ += key() + " = 2" + std::string(1, '\0') + value() + line_end();
        else if (kind < 992)
            add_long_line();
        else
            text_ += random_.text("ab=\"';#{} \\", random_.below(10)) + line_end();
    }

    RandomSource &random_;
    std::string text_;
    int depth_ = 0;
};

// What the library writes to standard error in a child of ours, which must end with abort.
std::string log_of_aborting_child(const char *path) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        configurator_load(path);
        _exit(0);
    }
    close(ends[1]);
    std::string log;
    char buffer[4096];
    for (ssize_t length; (length = read(ends[0], buffer, sizeof buffer)) > 0;)
        log.append(buffer, static_cast<size_t>(length));
    close(ends[0]);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << "status " << status;
    return without_emulators_line(log);
}

std::string joined(const LogCapture &capture) {
    std::string log;
    for (const LogLine &line : capture.lines())
        log += line.prefix + line.text;
    return log;
}

// Groups that are defined twice outlive the tree: the allocator releases them.
void expect_same_result(const char *path, const ReferenceLoader &reference) {
    CountingAllocator allocator;
    const LogCapture capture;
    xdictionary *const tree = configurator_load(path);
    EXPECT_EQ(tree_text(tree), reference.text());
    EXPECT_EQ(joined(capture), reference.log());
    xdictionary_del(tree);
    EXPECT_TRUE(allocator.live_blocks() == 0 || reference.defined_group_twice());
    allocator.release_live();
}

TEST(LoaderAgainstReference, RandomFiles) {
    RandomSource random;
    SCOPED_TRACE(random.seed());
    FileWriter writer(random);
    SettingsFile file("");
    int outcomes[4] = {};
    int forks = 0;
    for (int i = 0; i < kFiles && !HasFailure(); ++i) {
        const std::string content = writer.file();
        file.rewrite(content);
        const ReferenceLoader reference(file.path());
        ++outcomes[reference.outcome()];
        SCOPED_TRACE("file " + testing::PrintToString(content));
        const bool returns =
            reference.outcome() == ReferenceLoader::loaded || reference.outcome() == ReferenceLoader::too_long;
        if (returns) {
            expect_same_result(file.path(), reference);
        } else if (++forks <= kMostForks) {
            EXPECT_EQ(log_of_aborting_child(file.path()), reference.log());
        }
    }
    if (HasFailure())
        return;
    EXPECT_GT(outcomes[ReferenceLoader::loaded], kFiles / 10) << "too few files that load to prove anything";
    EXPECT_GT(outcomes[ReferenceLoader::too_long], 0);
    EXPECT_GT(outcomes[ReferenceLoader::syntax_error], 0);
    EXPECT_GT(outcomes[ReferenceLoader::open_braces], 0);
}

} // namespace
