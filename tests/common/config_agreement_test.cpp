// SPDX-License-Identifier: MIT
// check_config_syntax finds errors in exactly those files that the loader does not take.
#include "common/config_syntax.h"
#include "config/random_source.h"
#include "findings.h"

#include <varnel/config.h>
#include <varnel/memory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <set>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t kFiles = 4000;
constexpr std::size_t kMostLines = 14;

// Files of pieces that the loader treats in special ways, of which about half load.
class FileWriter {
public:
    explicit FileWriter(RandomSource &random) : random_(random) {}

    std::string file() {
        text_.clear();
        depth_ = 0;
        careless_ = random_.percent(50);
        for (std::size_t n = random_.below(kMostLines); n > 0; --n)
            add_line();
        while (depth_-- > 0 && !(careless_ && random_.percent(20)))
            add("}", 100);
        if (random_.percent(5))
            text_ += any({"a = 1", "a = 1 \\", "\\", "x\\", "}\\"});
        return text_;
    }

private:
    std::string any(const std::vector<std::string> &choices) { return choices[random_.below(choices.size())]; }

    std::string spaces() { return random_.text(" \t\v\f\r", random_.below(3)); }

    // One line, perhaps broken by a continuation, with an end of some kind.
    void add(std::string line, std::size_t unbroken) {
        if (!random_.percent(unbroken))
            line.insert(random_.below(line.size() + 1), any({"\\\n", " \\\n", "\\ \t\n  ", "\\\n\n \n", "\\\r\n"}));
        text_ += spaces() + line + spaces();
        text_ += any({"\n", "\n", "\n", "\n", "\r\n", "\n\n", " ; note\n", "# note\n"});
    }

    std::string key() { return any({"a", "b", "Key", "a b", "\xc4", "\"q\"", "}x", "{ a", "a;b", "a#"}); }

    std::string value() {
        if (random_.percent(30))
            return random_.text("ab1 =\"';#{}/\\,", random_.below(10));
        return any({"1",         "\"\"", "''",      "\"x;y\"", "'x#y'",  "\"",  "'",    "\"{\"",
                    "{ b = 1 }", "{}",   "}",       "\"}\"",   "= 1",    "",    " ",    "\" \"",
                    "'=",        "''=",  "\"a\" b", "\"''\"",  "'\"\"'", "{ ;", "a \\", std::string("a\0b", 3)});
    }

    void add_long() {
        const std::size_t length = random_.percent(60) ? 1015 + random_.below(15) : 480 + random_.below(60);
        const std::string start = any({"l=", "#", "l", "l=\"", "}"});
        text_ += start + random_.text("xyz =", length) + any({"\n", "\\\n", " \\\n", "\\\r\n"});
        text_ += any({"", "m="}) + random_.text("xy =", random_.percent(60) ? random_.below(40) : 520) + "\n";
    }

    void add_group() {
        ++depth_;
        if (random_.percent(60)) {
            add(key() + spaces() + "=" + spaces() + "{", 85);
            return;
        }
        add(key() + spaces() + "=", 85);
        if (random_.percent(30))
            add(any({"# between", "a = 1", ""}), 100);
        add("{", 90);
    }

    void add_bad() {
        add(any({"x", "x y", "name {", "{", "}", "}}", "} x", "{ x", "= 1", "=", "/ x", "\"a\"", "= {", "}{", "{}",
                 "a {}"}),
            80);
    }

    void add_line() {
        const std::size_t kind = random_.below(100);
        if (careless_ && kind < 6)
            add_bad();
        else if (kind < 45)
            add(key() + spaces() + "=" + spaces() + value(), 80);
        else if (kind < 60)
            add_group();
        else if (kind < 75) {
            if (depth_ > 0 || (careless_ && random_.percent(15))) {
                --depth_;
                add("}", 90);
            }
        } else if (kind < 85)
            add(any({"#", ";", "//"}) + random_.text("ab ={}\\\"", random_.below(8)), 90);
        else if (kind < 95)
            add(key() + " =" + any({"", " ; x", " #"}), 90);
        else
            add_long();
    }

    RandomSource &random_;
    std::string text_;
    int depth_ = 0;
    bool careless_ = false;
};

enum class Outcome : char { loaded = 'l', refused = 'r', aborted = 'a' };

// Loads the files from first on and writes an outcome for each to a pipe, until one ends the process.
[[noreturn]] void load_in_child(const std::vector<std::string> &files, std::size_t first, SettingsFile &file,
                                int pipe) {
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    const int silence = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(silence, STDERR_FILENO);
    for (std::size_t i = first; i < files.size(); ++i) {
        file.rewrite(files[i]);
        xdictionary *const tree = configurator_load(file.path());
        const auto outcome = static_cast<char>(tree != nullptr ? Outcome::loaded : Outcome::refused);
        xdictionary_del(tree);
        if (write(pipe, &outcome, 1) != 1)
            break;
    }
    _exit(0);
}

// Adds the outcomes of one child; the last one is a file that ended it.
void add_outcomes(const std::vector<std::string> &files, SettingsFile &file, std::string &outcomes) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0)
        load_in_child(files, outcomes.size(), file, ends[1]);
    close(ends[1]);
    char buffer[4096];
    for (ssize_t length; (length = read(ends[0], buffer, sizeof buffer)) > 0;)
        outcomes.append(buffer, static_cast<std::size_t>(length));
    close(ends[0]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (outcomes.size() == files.size()) {
        EXPECT_EQ(status, 0);
        return;
    }
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << "status " << status;
    outcomes += static_cast<char>(Outcome::aborted);
}

// How configurator_load ends for each file.
std::string outcomes_of(const std::vector<std::string> &files) {
    SettingsFile file("");
    std::string outcomes;
    while (outcomes.size() < files.size() && !testing::Test::HasFatalFailure())
        add_outcomes(files, file, outcomes);
    return outcomes;
}

// As tree_text shows the loader's, but for extra owners.
std::string text_of(const varnel::ConfigTree &tree, const varnel::ConfigGroup &group) {
    std::string text;
    for (const varnel::ConfigEntry &entry : group.entries())
        text +=
            entry.key + (entry.is_group() ? "{" + text_of(tree, tree.group_of(entry)) + "}" : "=" + entry.value + ";");
    return text;
}

std::string text_of(const xdictionary *d) {
    std::string text;
    for (uint32_t i = 0; i < d->size; ++i) {
        if (d->keys[i] == nullptr)
            continue;
        text += d->keys[i];
        text += d->types[i] == XDICTIONARY_STRING ? "=" + std::string(static_cast<const char *>(d->values[i])) + ";"
                                                  : "{" + text_of(static_cast<const xdictionary *>(d->values[i])) + "}";
    }
    return text;
}

// The library's blocks of memory: a group that takes the place of another entry outlives the loader's tree, so what is
// left goes with this.
class Blocks {
public:
    Blocks() { x_replace_allocator(allocate, reallocate, allocate_zeroed, release); }
    Blocks(const Blocks &) = delete;
    Blocks &operator=(const Blocks &) = delete;
    ~Blocks() {
        x_replace_allocator(malloc, realloc, calloc, free);
        std::for_each(live_.begin(), live_.end(), free);
        live_.clear();
    }

private:
    static void *listed(void *block) { return *live_.insert(block).first; }
    static void *allocate(std::size_t size) { return listed(malloc(size)); }
    static void *allocate_zeroed(std::size_t count, std::size_t size) { return listed(calloc(count, size)); }
    static void *reallocate(void *block, std::size_t size) {
        live_.erase(block);
        return listed(realloc(block, size));
    }
    static void release(void *block) {
        live_.erase(block);
        free(block);
    }

    inline static std::set<void *> live_;
};

void expect_same_tree(const SettingsFile &file) {
    const Blocks blocks;
    const varnel::ConfigSyntax syntax = varnel::read_config(file.path());
    EXPECT_TRUE(syntax.complete);
    EXPECT_EQ(text_of(syntax.tree, syntax.tree.root()), text_of(configurator_load(file.path())));
}

TEST(ConfigAgreement, OnRandomFiles) {
    RandomSource random;
    SCOPED_TRACE(random.seed());
    FileWriter writer(random);
    std::vector<std::string> files(kFiles);
    std::generate(files.begin(), files.end(), [&] { return writer.file(); });
    const std::string outcomes = outcomes_of(files);
    ASSERT_EQ(outcomes.size(), files.size());
    for (std::size_t i = 0; i < files.size() && !HasFailure(); ++i) {
        const SettingsFile file(files[i]);
        const bool loads = outcomes[i] == static_cast<char>(Outcome::loaded);
        const auto findings = varnel::check_config_syntax(file.path());
        EXPECT_EQ(has_errors(findings), !loads) << outcomes[i] << "\n"
                                                << testing::PrintToString(files[i]) << "\n"
                                                << findings_text(findings);
        if (loads && !HasFailure())
            expect_same_tree(file);
    }
    for (const Outcome outcome : {Outcome::loaded, Outcome::aborted})
        EXPECT_GT(std::count(outcomes.begin(), outcomes.end(), static_cast<char>(outcome)), int{kFiles} / 5)
            << "too few of one kind to prove anything";
    EXPECT_GT(std::count(outcomes.begin(), outcomes.end(), static_cast<char>(Outcome::refused)), int{kFiles} / 100);
}

} // namespace
