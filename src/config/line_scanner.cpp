// SPDX-License-Identifier: MIT
#include "config/line_scanner.h"

#include <ctype.h>
#include <string.h>

namespace varnel {

static constexpr char kSpaces[] = " \t\n\v\f\r";

static bool is_space(char c) {
    return c != '\0' && strchr(kSpaces, c) != nullptr;
}

Slice trim(Slice slice) {
    while (slice.length != 0 && is_space(slice.text[slice.length - 1]))
        --slice.length;
    while (slice.length != 0 && is_space(*slice.text)) {
        ++slice.text;
        --slice.length;
    }
    return slice;
}

char *config_trim_lower(char *text) {
    if (text == nullptr)
        return nullptr;
    const Slice kept = trim({text, strlen(text)});
    for (size_t i = 0; i < kept.length; ++i)
        text[i] = static_cast<char>(tolower(static_cast<signed char>(kept.text[i])));
    text[kept.length] = '\0';
    return text;
}

bool is_comment(const char *line) {
    return *line == '#' || *line == ';' || (line[0] == '/' && line[1] == '/');
}

// One form of a value: the character that must stand first (none for a bare value) and those that end it. At least one
// character must stand between them.
struct ValueForm {
    char open;
    char end[3];
};

static constexpr ValueForm kValueForms[] = {{'"', "\""}, {'\'', "'"}, {'\'', "="}, {'\0', ";#"}};

ScannedLine scan_line(char *line) {
    const Slice key = {line, strcspn(line, "=")};
    if (key.length == 0 || line[key.length] == '\0')
        return {ScanKind::none, {}, {}};
    char *const rest = line + key.length + 1;
    char *const value = rest + strspn(rest, kSpaces);
    for (const ValueForm &form : kValueForms) {
        if (form.open != '\0' && *value != form.open)
            continue;
        char *const text = form.open != '\0' ? value + 1 : value;
        if (const size_t length = strcspn(text, form.end))
            return {ScanKind::key_value, key, {text, length}};
    }
    return {ScanKind::group_name, key, {}};
}

Slice scan_bare(char *line) {
    return {line, strcspn(line, ";#")};
}

} // namespace varnel
