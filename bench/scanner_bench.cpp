// SPDX-License-Identifier: MIT
// The lines of a configuration file: the hand-written scanner against the sscanf patterns whose results it gives.
#include "comparison.h"

#include "config/line_scanner.h"

#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

using varnel::scan_line;
using varnel::ScanKind;
using varnel::ScannedLine;

constexpr size_t kLineSize = 1025;

char g_lines[][64] = {"default = user",
                      "user = {",
                      R"(path = "/data/user.db")",
                      "readonly = no ; not yet",
                      "}",
                      "sys =",
                      "list = a, b, c, d, e, f",
                      "priority = 10",
                      "owner = 'root'",
                      "retry = 3 # times",
                      "library = memory",
                      "timeout=2500"};

struct Converted {
    ScanKind kind;
    char key[kLineSize];
    char value[kLineSize];
};

void scan_with_sscanf(const char *line, Converted *result) {
    char *const key = result->key;
    char *const value = result->value;
    if (sscanf(line, "%1024[^=] = \"%1024[^\"]\"", key, value) == 2 ||
        sscanf(line, "%1024[^=] = '%1024[^']'", key, value) == 2 ||
        sscanf(line, "%1024[^=] = '%1024[^=]'", key, value) == 2 ||
        sscanf(line, "%1024[^=] = %1024[^;#]", key, value) == 2)
        result->kind = ScanKind::key_value;
    else if (sscanf(line, "%1024[^=] %1024[=]", key, value) == 2)
        result->kind = ScanKind::group_name;
    else
        result->kind = ScanKind::none;
}

void check_results() {
    for (char *const line : g_lines) {
        const ScannedLine ours = scan_line(line);
        Converted theirs = {};
        scan_with_sscanf(line, &theirs);
        bool same = ours.kind == theirs.kind;
        if (same && ours.kind != ScanKind::none)
            same = std::string_view(ours.key.text, ours.key.length) == theirs.key;
        if (same && ours.kind == ScanKind::key_value)
            same = std::string_view(ours.value.text, ours.value.length) == theirs.value;
        require_same(same, line);
    }
}

void with_scanner(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state)
        for (char *const line : g_lines) {
            const ScannedLine result = scan_line(line);
            benchmark::DoNotOptimize(result);
        }
}

void with_sscanf(benchmark::State &state) {
    check_results();
    static Converted result;
    for ([[maybe_unused]] auto _ : state)
        for (const char *const line : g_lines) {
            scan_with_sscanf(line, &result);
            benchmark::DoNotOptimize(result);
        }
}

} // namespace

std::vector<Comparison> scanner_comparisons() {
    return {{"loader, 12 lines scanned", "line scanner", "sscanf patterns", with_scanner, with_sscanf}};
}
