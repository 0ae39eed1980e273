// SPDX-License-Identifier: MIT
#include "common/config_syntax.h"

#include "common/config_file.h"
#include "common/config_hints.h"
#include "common/text.h"

#include <cerrno>
#include <cstdio>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace varnel {

namespace {

// Follows the loader line by line.
class SyntaxReader {
public:
    explicit SyntaxReader(ConfigSyntax &result) : result_(result) {}
    SyntaxReader(const SyntaxReader &) = delete;
    SyntaxReader &operator=(const SyntaxReader &) = delete;
    ~SyntaxReader() = default;

    void read(LogicalLine &line);
    void finish();

private:
    void add(bool error, const ConfigPlace &place, std::string message, std::string expected);
    void add(std::optional<ConfigFinding> hint);
    void read_comment(const LogicalLine &line);
    void read_entry(const LogicalLine &line, const ScannedLine &scanned);
    void read_bare(const LogicalLine &line, const Slice &bare);
    ConfigGroup &current();
    void set(ConfigEntry entry);
    void warn_of_pending();
    void open_group(const PlacedText &name, const ConfigPlace &brace);
    void close_group(const ConfigPlace &brace);
    void recover(const LogicalLine &line, const Slice &bare);
    void report_braces();

    ConfigSyntax &result_;
    std::vector<ConfigEntry> open_;         // groups; the place of the value is that of the brace
    std::vector<ConfigPlace> surplus_;      // closing braces without a group
    std::optional<ConfigGroup> root_taken_; // the root at the first of them: the loader takes nothing in from there on
    std::optional<PlacedText> pending_;     // named by "name =", waiting for its "{"
    int bad_line_ = 0;                      // physical
};

void SyntaxReader::add(bool error, const ConfigPlace &place, std::string message, std::string expected) {
    result_.findings.push_back({error, place.line, place.column, std::move(message), std::move(expected)});
}

void SyntaxReader::add(std::optional<ConfigFinding> hint) {
    if (hint)
        result_.findings.push_back(std::move(*hint));
}

// ---- lines

void SyntaxReader::read(LogicalLine &line) {
    if (is_comment(line.text.c_str())) {
        read_comment(line);
        return;
    }
    const ScannedLine scanned = scan_line(line.text.data());
    if (scanned.kind == ScanKind::none) {
        read_bare(line, trim(scan_bare(line.text.data())));
        return;
    }
    add(braces_hint(line, scanned));
    if (scanned.kind == ScanKind::key_value) {
        read_entry(line, scanned);
        return;
    }
    warn_of_pending();
    pending_ = placed(line, trim(scanned.key));
}

void SyntaxReader::read_comment(const LogicalLine &line) {
    if (line.parts.size() > 1)
        add(false, line.parts[1].place, "this line belongs to the comment, which a backslash continues",
            "no backslash at the end of a comment");
}

void SyntaxReader::read_entry(const LogicalLine &line, const ScannedLine &scanned) {
    add(quotes_hint(line, scanned));
    const std::string_view raw(scanned.value.text, scanned.value.length);
    if (raw == "\"\"" || raw == "''")
        return;
    const PlacedText key = placed(line, trim(scanned.key));
    const PlacedText value = placed(line, trim(scanned.value));
    if (value.text == "{")
        open_group(key, value.place);
    else
        set({key.text, key.place, value.text, value.place});
}

void SyntaxReader::read_bare(const LogicalLine &line, const Slice &bare) {
    const PlacedText text = placed(line, bare);
    if (text.text == "}") {
        close_group(text.place);
    } else if (text.text == "{" && pending_) {
        open_group(*pending_, text.place);
        pending_.reset();
    } else {
        // The pieces of one long line are one mistake.
        if (line.parts.front().physical != bad_line_)
            add(syntax_error(line, bare));
        bad_line_ = line.parts.back().physical;
        recover(line, bare);
    }
}

// Of a line that ends in a brace: what stands before it, and is no brace, space or equals sign at its ends.
Slice name_before_brace(const Slice &bare) {
    constexpr std::string_view kAround = " \t}=";
    Slice name = {bare.text, bare.length - 1};
    while (name.length != 0 && kAround.find(name.text[name.length - 1]) != std::string_view::npos)
        --name.length;
    for (; name.length != 0 && kAround.find(*name.text) != std::string_view::npos; --name.length)
        ++name.text;
    return name;
}

// Makes of a line that is none what was probably meant, so that the braces that belong to it are no further errors.
void SyntaxReader::recover(const LogicalLine &line, const Slice &bare) {
    std::string_view rest(bare.text, bare.length);
    const bool opens_first = rest.front() == '{' && rest.back() != '}';
    const bool opens_last = rest.front() != '{' && rest.back() == '{';
    for (; !rest.empty() && (rest.front() == '}' || rest.front() == ' '); rest.remove_prefix(1))
        if (rest.front() == '}' && !open_.empty())
            open_.pop_back();
    const ConfigPlace brace = placed(line, {bare.text + (opens_last ? bare.length - 1 : 0), 1}).place;
    if (opens_first && pending_)
        open_group(*std::exchange(pending_, std::nullopt), brace);
    else if (opens_first)
        open_group({"", brace}, brace);
    else if (opens_last)
        open_group(placed(line, name_before_brace(bare)), brace);
}

// ---- entries

ConfigGroup &SyntaxReader::current() {
    return result_.tree.group(open_.empty() ? ConfigTree::kRoot : open_.back().group);
}

void SyntaxReader::set(ConfigEntry entry) {
    if (const ConfigEntry *const earlier = current().find(entry.key))
        add(false, entry.key_place,
            in_quotes(entry.key) + " replaces the " + (earlier->is_group() ? "group" : "setting") + " of line " +
                std::to_string(earlier->key_place.line),
            "every name once in its group");
    current().set(std::move(entry));
}

// A group whose name is missing, which is an error, is read for its errors only.
void SyntaxReader::open_group(const PlacedText &name, const ConfigPlace &brace) {
    const ConfigEntry group = {name.text, name.place, {}, brace, result_.tree.add_group()};
    if (!group.key.empty())
        set(group);
    open_.push_back(group);
}

void SyntaxReader::close_group(const ConfigPlace &brace) {
    if (!open_.empty()) {
        open_.pop_back();
        return;
    }
    if (surplus_.empty())
        root_taken_ = result_.tree.root();
    surplus_.push_back(brace);
}

void SyntaxReader::warn_of_pending() {
    if (pending_)
        add(false, pending_->place, in_quotes(pending_->text) + " has no value and opens no group",
            "a value, or a lone { on a later line");
}

// ---- the end of the file

// As many braces too many as there are too few cancel out for the loader, which then takes in what stood before them.
void SyntaxReader::report_braces() {
    const bool match = open_.size() == surplus_.size();
    for (const ConfigPlace &brace : surplus_)
        add(!match, brace,
            std::string("a } that closes no group") + (match ? ": nothing from here on is taken in" : ""),
            "as many } as {");
    for (const ConfigEntry &group : open_)
        add(!match, group.value_place,
            (group.key.empty() ? "a group" : "the group " + in_quotes(group.key)) + " is not closed",
            "a lone } behind it");
    if (match && root_taken_)
        result_.tree.group(ConfigTree::kRoot) = std::move(*root_taken_);
    result_.complete = match;
}

void SyntaxReader::finish() {
    warn_of_pending();
    report_braces();
}

std::string text_of_errno() {
    return std::error_code(errno, std::generic_category()).message();
}

} // namespace

ConfigSyntax read_config(const std::string &path) {
    ConfigSyntax result;
    const ConfigFile file = open_config(path, result.findings);
    if (file == nullptr)
        return result;
    SyntaxReader reader(result);
    ConfigLines lines(file.get(), result.findings);
    errno = 0;
    while (std::optional<LogicalLine> line = lines.next()) {
        reader.read(*line);
        // Files of the kernel announce no size.
        if (ftello(file.get()) > kLargestConfig) {
            result.findings.push_back(too_large_config());
            return result;
        }
    }
    // To the loader, the file ends there.
    if (std::ferror(file.get()) != 0)
        result.findings.push_back({false, 0, 0, "cannot be read to its end: " + text_of_errno(), "a regular file"});
    reader.finish();
    return result;
}

} // namespace varnel
