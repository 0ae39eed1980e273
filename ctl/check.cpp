// SPDX-License-Identifier: MIT
// check: a configuration file and the defaults that it names, without a daemon.
#include "common/config_check.h"
#include "common/config_syntax.h"
#include "common/defaults_check.h"
#include "common/defaults_files.h"
#include "ctl/commands.h"
#include "ctl/failure.h"
#include "ctl/options.h"
#include "ctl/output.h"

#include <algorithm>
#include <numeric>
#include <unistd.h>

namespace varnel::ctl {

namespace {

struct CheckedFile {
    std::string path;
    std::vector<ConfigFinding> findings;

    [[nodiscard]] std::size_t errors() const {
        const auto is_error = [](const ConfigFinding &finding) { return finding.error; };
        return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), is_error));
    }
    [[nodiscard]] std::size_t warnings() const { return findings.size() - errors(); }
};

// A file that is not here may still be on the device.
void add_defaults(const std::string &config, std::vector<CheckedFile> &files) {
    const ConfigSyntax syntax = read_config(config);
    if (!syntax.complete)
        return;
    for (const DefaultsFile &file : defaults_files(syntax.tree)) {
        if (access(file.path.c_str(), F_OK) == 0)
            files.push_back({file.path, check_defaults(file.path)});
        else if (file.required)
            files.push_back({file.path, {{false, 0, 0, "is not there", "a file, or required = no in " + config}}});
    }
}

Json json_of(const std::string &path, const ConfigFinding &finding) {
    Json json;
    json["file"] = path;
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

void print_files(const std::vector<CheckedFile> &files) {
    for (const CheckedFile &file : files) {
        for (const ConfigFinding &finding : file.findings)
            print_line(shown(print_finding(file.path, finding)));
        print_line(shown(file.path) + ": " + counted(file.errors(), "error") + ", " +
                   counted(file.warnings(), "warning"));
    }
}

void print_files_as_json(const std::vector<CheckedFile> &files, std::size_t errors) {
    Json json = {{"file", files.front().path}, {"errors", errors}, {"warnings", 0}, {"findings", Json::array()}};
    for (const CheckedFile &file : files)
        for (const ConfigFinding &finding : file.findings)
            json["findings"].push_back(json_of(file.path, finding));
    json["warnings"] = json["findings"].size() - errors;
    print_json(json);
}

void run_check(Session &session, const std::string &path, bool syntax) {
    std::vector<CheckedFile> files = {{path, syntax ? check_config_syntax(path) : check_store_config(path)}};
    if (!syntax)
        add_defaults(path, files);
    const std::size_t errors =
        std::accumulate(files.begin(), files.end(), std::size_t{0},
                        [](std::size_t sum, const CheckedFile &file) { return sum + file.errors(); });
    if (session.json)
        print_files_as_json(files, errors);
    else
        print_files(files);
    session.result = errors != 0 ? kCheckErrors : kSuccess;
}

} // namespace

void add_check(CLI::App &command, Session &session) {
    auto *const file = command.add_option("FILE", "The configuration file")->required();
    const auto syntax = std::make_shared<bool>(false);
    command.add_flag("--syntax", *syntax,
                     "Look at the syntax alone, not at what varneld makes of it, nor at the defaults");
    add_json(command, session);
    command.callback([&session, file, syntax] { run_check(session, file->as<std::string>(), *syntax); });
}

} // namespace varnel::ctl
