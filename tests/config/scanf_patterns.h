// SPDX-License-Identifier: MIT
// The sscanf patterns in which the file format was first written down, as the yardstick of the scanner. The widths only
// guard the buffers: no logical line has more characters.
#pragma once

#include <cstdio>
#include <string>

struct ScanfResult {
    enum Kind { none, key_value, group_name } kind = none;
    std::string key;
    std::string value;
};

constexpr size_t kLongestLine = 1024;

inline ScanfResult scanf_line(const char *line) {
    char key[kLongestLine + 1] = "";
    char value[kLongestLine + 1] = "";
    if (sscanf(line, "%1024[^=] = \"%1024[^\"]\"", key, value) == 2 ||
        sscanf(line, "%1024[^=] = '%1024[^']'", key, value) == 2 ||
        sscanf(line, "%1024[^=] = '%1024[^=]'", key, value) == 2 ||
        sscanf(line, "%1024[^=] = %1024[^;#]", key, value) == 2)
        return {ScanfResult::key_value, key, value};
    if (sscanf(line, "%1024[^=] %1024[=]", key, value) == 2)
        return {ScanfResult::group_name, key, ""};
    return {};
}

inline std::string scanf_bare(const char *line) {
    char value[kLongestLine + 1] = "";
    return sscanf(line, "%1024[^;#]", value) == 1 ? value : "";
}
