// SPDX-License-Identifier: MIT
// Findings of the checker of configuration files, as short texts.
#pragma once

#include "common/config_check.h"
#include "config/settings_file.h"

#include <string>
#include <string_view>
#include <vector>

// "2:5 error ", with the line and the column.
inline std::string place_text(const varnel::ConfigFinding &finding) {
    return std::to_string(finding.line) + ":" + std::to_string(finding.column) +
           (finding.error ? " error" : " warning");
}

// "2:5 error MESSAGE", a line each.
inline std::string findings_text(const std::vector<varnel::ConfigFinding> &findings) {
    std::string text;
    for (const varnel::ConfigFinding &finding : findings)
        text += place_text(finding) + " " + finding.message + "\n";
    return text;
}

inline std::string syntax_of(std::string_view content) {
    const SettingsFile file(content);
    return findings_text(varnel::check_config_syntax(file.path()));
}

inline std::string store_of(std::string_view content) {
    const SettingsFile file(content);
    return findings_text(varnel::check_store_config(file.path()));
}
