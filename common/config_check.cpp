// SPDX-License-Identifier: MIT
#include "common/config_check.h"

#include "common/config_store.h"
#include "common/config_syntax.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace varnel {

namespace {

std::vector<ConfigFinding> in_order(std::vector<ConfigFinding> findings) {
    std::stable_sort(findings.begin(), findings.end(), [](const ConfigFinding &a, const ConfigFinding &b) {
        return std::tie(a.line, a.column) < std::tie(b.line, b.column);
    });
    return findings;
}

} // namespace

std::vector<ConfigFinding> check_config_syntax(const std::string &path) {
    return in_order(read_config(path).findings);
}

// Of a file whose braces do not match nobody knows what is in which group.
std::vector<ConfigFinding> check_store_config(const std::string &path) {
    ConfigSyntax syntax = read_config(path);
    if (syntax.complete)
        check_store(syntax.tree, syntax.findings);
    return in_order(std::move(syntax.findings));
}

bool has_errors(const std::vector<ConfigFinding> &findings) {
    return std::any_of(findings.begin(), findings.end(), [](const ConfigFinding &finding) { return finding.error; });
}

std::string print_finding(const std::string &path, const ConfigFinding &finding) {
    std::string text = path + ":";
    if (finding.line != 0)
        text += std::to_string(finding.line) + ":" + std::to_string(finding.column) + ":";
    text += (finding.error ? " error: " : " warning: ") + finding.message;
    return finding.expected.empty() ? text : text + " (expected " + finding.expected + ")";
}

} // namespace varnel
