// SPDX-License-Identifier: MIT
// check: a configuration file, without a daemon.
#include "common/config_check.h"
#include "ctl/commands.h"
#include "ctl/failure.h"
#include "ctl/options.h"
#include "ctl/output.h"

#include <algorithm>

namespace varnel::ctl {

namespace {

using Findings = std::vector<ConfigFinding>;

Json json_of(const ConfigFinding &finding) {
    Json json;
    json["severity"] = finding.error ? "error" : "warning";
    json["line"] = finding.line;
    json["column"] = finding.column;
    json["message"] = finding.message;
    json["expected"] = finding.expected;
    return json;
}

std::string counted(std::size_t count, const std::string &word) {
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

void print_findings(const Session &session, const std::string &path, const Findings &findings) {
    const auto errors = static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(), [](const ConfigFinding &finding) { return finding.error; }));
    const std::size_t warnings = findings.size() - errors;
    if (session.json) {
        Json json = {{"file", path}, {"errors", errors}, {"warnings", warnings}, {"findings", Json::array()}};
        for (const ConfigFinding &finding : findings)
            json["findings"].push_back(json_of(finding));
        print_json(json);
        return;
    }
    for (const ConfigFinding &finding : findings)
        print_line(shown(print_finding(path, finding)));
    print_line(shown(path) + ": " + counted(errors, "error") + ", " + counted(warnings, "warning"));
}

} // namespace

void add_check(CLI::App &command, Session &session) {
    auto *const file = command.add_option("FILE", "The configuration file")->required();
    const auto syntax = std::make_shared<bool>(false);
    command.add_flag("--syntax", *syntax, "Look at the syntax alone, not at what varneld makes of it");
    add_json(command, session);
    command.callback([&session, file, syntax] {
        const auto path = file->as<std::string>();
        const Findings findings = *syntax ? check_config_syntax(path) : check_store_config(path);
        print_findings(session, path, findings);
        session.result = has_errors(findings) ? kCheckErrors : kSuccess;
    });
}

} // namespace varnel::ctl
