// SPDX-License-Identifier: MIT
// The proof that the hand-written scanner gives exactly what the sscanf patterns give.
#include "config/line_scanner.h"
#include "random_source.h"
#include "scanf_patterns.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace varnel;

constexpr int kRandomLines = 250000;
constexpr int kLongLines = 2000;

std::string text_of(Slice slice) {
    return slice.length != 0 ? std::string(slice.text, slice.length) : "";
}

std::string shown(const ScanfResult &result) {
    return std::to_string(result.kind) + " [" + result.key + "] [" + result.value + "]";
}

ScanfResult scanned(std::string &line) {
    const ScannedLine result = scan_line(line.data());
    switch (result.kind) {
    case ScanKind::key_value:
        return {ScanfResult::key_value, text_of(result.key), text_of(result.value)};
    case ScanKind::group_name:
        return {ScanfResult::group_name, text_of(result.key), ""};
    case ScanKind::none:
        break;
    }
    return {};
}

// Compares the results for one line, given without NUL bytes.
bool agree(const std::string &line) {
    std::string ours = line;
    const std::string expected = shown(scanf_line(line.c_str()));
    EXPECT_EQ(shown(scanned(ours)), expected) << "line [" << line << "]";
    EXPECT_EQ(text_of(scan_bare(ours.data())), scanf_bare(line.c_str())) << "line [" << line << "]";
    EXPECT_EQ(ours, line);
    return !testing::Test::HasFailure();
}

// Every line of up to the given length that starts with prefix.
bool all_agree(std::string &prefix, std::string_view alphabet, size_t longest) {
    if (!agree(prefix))
        return false;
    if (prefix.size() == longest)
        return true;
    for (const char c : alphabet) {
        prefix += c;
        const bool good = all_agree(prefix, alphabet, longest);
        prefix.pop_back();
        if (!good)
            return false;
    }
    return true;
}

TEST(ScanLineAgainstSscanf, EveryShortLine) {
    std::string line;
    EXPECT_TRUE(all_agree(line, "a=\"' ;#{", 5));
    EXPECT_TRUE(all_agree(line, "=\"' a", 7));
    EXPECT_TRUE(all_agree(line, "b=\t}\\\x80", 5));
}

TEST(ScanLineAgainstSscanf, EveryByteInEveryPlace) {
    const std::string frames[] = {"a=b", "a = \"b\"", "a = 'b'", "a = ''", "a =", "{ ;", " = "};
    for (const std::string &frame : frames)
        for (size_t at = 0; at <= frame.size(); ++at)
            for (int byte = 1; byte < 256; ++byte) {
                std::string line = frame;
                line.insert(at, 1, static_cast<char>(byte));
                ASSERT_TRUE(agree(line));
            }
}

constexpr std::string_view kAlphabet = "====\"\"\"\"''''  ;;##{}\t\\ab019_\v\r\x80\xe4\xff";

TEST(ScanLineAgainstSscanf, RandomLines) {
    RandomSource random;
    SCOPED_TRACE(random.seed());
    for (int i = 0; i < kRandomLines; ++i) {
        const std::string key = random.percent(70) ? random.text("ab \t\"'\\\xff", random.below(6)) + "=" : "";
        ASSERT_TRUE(agree(key + random.text(kAlphabet, random.below(24))));
    }
}

TEST(ScanLineAgainstSscanf, RandomLongLines) {
    RandomSource random;
    SCOPED_TRACE(random.seed());
    for (int i = 0; i < kLongLines; ++i) {
        const size_t length = kLongestLine - random.below(3);
        std::string line = random.text("abc \t", length);
        for (size_t n = random.below(8); n > 0; --n)
            line[random.below(length)] = random.from(kAlphabet);
        ASSERT_TRUE(agree(line));
    }
}

} // namespace
