// SPDX-License-Identifier: MIT
// A second loader, as plain as the description of the format reads and with sscanf, to compare the library's with.
#pragma once

#include "scanf_patterns.h"

#include <cctype>
#include <cstring>
#include <memory>
#include <vector>

class ReferenceLoader {
public:
    enum Outcome { loaded, too_long, syntax_error, open_braces };

    explicit ReferenceLoader(const char *path) : path_(path) {
        FILE *const file = fopen(path, "r");
        if (file != nullptr) {
            run(file);
            fclose(file);
        }
    }

    Outcome outcome() const { return outcome_; }
    // All error lines.
    const std::string &log() const { return log_; }
    // Such a group has one owner too many and outlives its tree.
    bool defined_group_twice() const { return defined_group_twice_; }
    // As tree_text shows it.
    std::string text() const { return outcome_ == too_long ? "NULL" : text_of(root_); }

private:
    struct Group;
    struct Entry {
        std::string key;
        std::string value;
        std::unique_ptr<Group> group; // no group: a string
        unsigned extra_owners = 0;
    };
    struct Group {
        std::vector<Entry> entries;
        Group *parent = nullptr;
    };

    static std::string normalised(const std::string &text) {
        const char spaces[] = " \t\n\v\f\r";
        const size_t first = text.find_first_not_of(spaces);
        if (first == std::string::npos)
            return "";
        std::string result = text.substr(first, text.find_last_not_of(spaces) - first + 1);
        for (char &c : result)
            c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
        return result;
    }

    void run(FILE *file) {
        char physical[1024];
        while (fgets(physical, sizeof physical, file) != nullptr) {
            ++line_number_;
            const std::string line = normalised(physical);
            if (line.empty())
                continue;
            if (logical_.size() + line.size() >= 1025) {
                error("input line too long in " + std::string(path_) + " (" + std::to_string(line_number_) + ").\n");
                outcome_ = too_long;
                return;
            }
            logical_ += line;
            if (logical_.back() == '\\') {
                logical_.pop_back();
                continue;
            }
            if (!classify()) {
                error("Config syntax error in " + std::string(path_) + "(" + std::to_string(line_number_) + "):\n");
                error(" -> " + logical_ + "\n");
                outcome_ = syntax_error;
                return;
            }
            logical_.clear();
        }
        if (depth_ != 0) {
            error("Config syntax error : Braces don't match.\n");
            outcome_ = open_braces;
        }
    }

    // False for a syntax error.
    bool classify() {
        if (logical_[0] == '#' || logical_[0] == ';' || logical_.compare(0, 2, "//") == 0)
            return true;
        const ScanfResult scan = scanf_line(logical_.c_str());
        if (scan.kind == ScanfResult::key_value) {
            if (scan.value == "\"\"" || scan.value == "''")
                return true;
            if (normalised(scan.value) == "{")
                open_group(normalised(scan.key));
            else
                set(normalised(scan.key), normalised(scan.value), nullptr);
            return true;
        }
        if (scan.kind == ScanfResult::group_name) {
            pending_ = normalised(scan.key);
            return true;
        }
        const std::string bare = normalised(scanf_bare(logical_.c_str()));
        if (bare == "}") {
            --depth_;
            current_ = current_ != nullptr ? current_->parent : nullptr;
            return true;
        }
        if (bare == "{" && !pending_.empty()) {
            open_group(pending_);
            pending_.clear();
            return true;
        }
        return false;
    }

    void open_group(const std::string &key) {
        ++depth_;
        auto group = std::make_unique<Group>();
        group->parent = current_;
        Group *const opened = group.get();
        if (current_ == nullptr)
            return; // nowhere to put it: what it holds is dropped
        set(key, "", std::move(group));
        current_ = opened;
    }

    void set(const std::string &key, const std::string &value, std::unique_ptr<Group> group) {
        if (current_ == nullptr)
            return;
        for (Entry &entry : current_->entries)
            if (entry.key == key) {
                defined_group_twice_ |= group != nullptr;
                entry.extra_owners = group != nullptr ? 1 : 0;
                entry.value = value;
                entry.group = std::move(group);
                return;
            }
        current_->entries.push_back({key, value, std::move(group), 0});
    }

    static std::string text_of(const Group &group) {
        std::string text;
        for (const Entry &entry : group.entries) {
            text += entry.key;
            if (entry.group == nullptr) {
                text += "=" + entry.value + ";";
                continue;
            }
            if (entry.extra_owners != 0)
                text += "*" + std::to_string(entry.extra_owners);
            text += "{" + text_of(*entry.group) + "}";
        }
        return text;
    }

    void error(const std::string &line) { log_ += "_varnel: " + line; }

    const char *path_;
    Outcome outcome_ = loaded;
    std::string log_;
    Group root_;
    Group *current_ = &root_;
    std::string logical_;
    std::string pending_;
    bool defined_group_twice_ = false;
    int line_number_ = 0;
    int depth_ = 0;
};
