// SPDX-License-Identifier: MIT
// The configuration file: lines of "key = value", groups in braces, comments, continuation lines.
#include "config/dictionary_private.h"
#include "config/line_scanner.h"

#include "base/log.h"

#include <stdio.h>
#include <string.h>

using namespace varnel;

namespace {

// The state of one load. Syntax errors and exhausted memory end the process.
class Loader {
public:
    Loader(FILE *file, const char *path) : file_(file), path_(path) {}
    Loader(const Loader &) = delete;
    Loader &operator=(const Loader &) = delete;
    ~Loader() { fclose(file_); }

    // The tree, or nullptr when a line is too long; its number is then in too_long.
    xdictionary *load(int &too_long);

private:
    enum class Append { complete, open, too_long };

    bool read_line();
    Append append_line();
    void classify();
    void add_entry(const ScannedLine &line);
    void add_bare(Slice bare);
    void store_pending(Slice name);
    void open_group(const char *name);
    void close_group();
    [[noreturn]] void syntax_error();

    FILE *file_;
    const char *path_;
    xdictionary *root_ = require_dictionary(xdictionary_new(0), "xdictionary new error.\n");
    xdictionary *current_ = root_; // nullptr after a surplus "}": entries are dropped from there on
    int line_number_ = 0;
    int depth_ = 0;
    size_t continuation_ = 0; // length of the logical line so far
    char physical_[kPieceSize] = {};
    char logical_[kLineSize] = {};
    char pending_group_[kLineSize] = {}; // named by "name =", waiting for its "{"
};

// Terminates a slice of a line that is not looked at any more behind it.
char *terminate(Slice slice) {
    slice.text[slice.length] = '\0';
    return slice.text;
}

bool equals(Slice slice, const char *text) {
    return slice.length == strlen(text) && memcmp(slice.text, text, slice.length) == 0;
}

// The next line that is not empty, normalised: in lower case from here on. A line of more than 1023 characters comes in
// pieces, each a line of its own.
bool Loader::read_line() {
    do {
        if (fgets(physical_, sizeof physical_, file_) == nullptr)
            return false;
        ++line_number_;
    } while (*config_trim_lower(physical_) == '\0');
    return true;
}

// Joins the physical line to the logical one, which a backslash at its end keeps open.
Loader::Append Loader::append_line() {
    const size_t length = strlen(physical_);
    if (continuation_ + length >= kLineSize)
        return Append::too_long;
    memcpy(logical_ + continuation_, physical_, length + 1);
    continuation_ += length;
    if (logical_[continuation_ - 1] == '\\') {
        --continuation_;
        return Append::open;
    }
    continuation_ = 0;
    return Append::complete;
}

// A line that is still open at the end of the file is dropped.
xdictionary *Loader::load(int &too_long) {
    while (read_line()) {
        const Append appended = append_line();
        if (appended == Append::complete)
            classify();
        if (appended == Append::too_long) {
            too_long = line_number_;
            xdictionary_del(root_);
            return nullptr;
        }
    }
    if (depth_ != 0)
        fatal("Config syntax error : Braces don't match.\n");
    return root_;
}

void Loader::classify() {
    if (is_comment(logical_))
        return;
    const ScannedLine line = scan_line(logical_);
    switch (line.kind) {
    case ScanKind::key_value:
        add_entry(line);
        break;
    case ScanKind::group_name:
        store_pending(trim(line.key));
        break;
    case ScanKind::none:
        add_bare(trim(scan_bare(logical_)));
        break;
    }
}

// A value of just two quotes, before it is trimmed, makes no entry.
void Loader::add_entry(const ScannedLine &line) {
    if (equals(line.value, "\"\"") || equals(line.value, "''"))
        return;
    const char *const key = terminate(trim(line.key));
    const char *const value = terminate(trim(line.value));
    if (strcmp(value, "{") == 0)
        open_group(key);
    else
        xdictionary_set(current_, key, value, XDICTIONARY_STRING);
}

void Loader::add_bare(Slice bare) {
    if (equals(bare, "}")) {
        close_group();
    } else if (equals(bare, "{") && *pending_group_ != '\0') {
        open_group(pending_group_);
        *pending_group_ = '\0';
    } else {
        syntax_error();
    }
}

void Loader::store_pending(Slice name) {
    memcpy(pending_group_, name.text, name.length);
    pending_group_[name.length] = '\0';
}

// A second group of one name in one place replaces the first.
void Loader::open_group(const char *name) {
    ++depth_;
    if (current_ == nullptr)
        return;
    xdictionary *const group = require_dictionary(xdictionary_new(0), "Can't create xdictionary.\n");
    group->parent = current_;
    xdictionary_set(current_, name, group, XDICTIONARY_GROUP);
    current_ = group;
}

// One "}" too many is not reported here: the end of the file finds that the braces do not match.
void Loader::close_group() {
    --depth_;
    if (current_ != nullptr)
        current_ = current_->parent;
}

void Loader::syntax_error() {
    log_error("Config syntax error in %s(%d):\n", path_, line_number_);
    fatal(" -> %s\n", logical_);
}

// In a frame of its own: the lines are off the stack before anything is logged, which takes another few kilobytes.
[[gnu::noinline]] xdictionary *load_lines(FILE *file, const char *path, int &too_long) {
    return Loader(file, path).load(too_long);
}

} // namespace

xdictionary *configurator_load(const char *path) {
    FILE *const file = path != nullptr ? fopen(path, "r") : nullptr;
    if (file == nullptr)
        return nullptr;
    int too_long = 0;
    xdictionary *const tree = load_lines(file, path, too_long);
    if (too_long != 0)
        log_error("input line too long in %s (%d).\n", path, too_long);
    return tree;
}
