// SPDX-License-Identifier: MIT
// A folder with the files of sqlite.so, the module over it, and SQLite for looking into them.
#pragma once

#include "support/storage.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace varnel::test {

// What a store holds: groups, and under group and name the values.
using Content = std::map<std::pair<std::string, std::string>, std::string>;

// Everything of a value: its type in decimal, and its bytes.
std::string every_bit_of(const xdata &value);

// Of an empty name, "": the group is there. nothing when the store answers an error.
std::optional<Content> content_of(const Store &store);

// The result of listing: 0, or why the store cannot be used.
int state_of(const Store &store);

// Whether every call answers that.
testing::AssertionResult answers_always(const Store &store, int result);

class SqliteFolder {
public:
    [[nodiscard]] Storage open(const Settings &more = {}, const std::vector<std::string> &layers = {"user"}) const {
        return Storage("sqlite", with(more), layers);
    }
    [[nodiscard]] Settings with(const Settings &more) const;
    [[nodiscard]] std::string folder() const { return folder_.path("store"); }
    [[nodiscard]] std::string file(const std::string &suffix = "") const {
        return folder_.path("store/user.sqlite.sqlite") + suffix;
    }

    // Runs SQL on the file, which no module has open.
    void run(const std::string &sql) const;

    // Puts rows as the module would, with the right checksum, whatever they hold. value is an SQL literal.
    void put_value(const std::string &group, const std::string &name, std::int64_t type, const std::string &value,
                   const std::string &checked_bytes) const;
    void put_group(const std::string &group) const;

private:
    TemporaryFolder folder_;
};

// The eight bytes that the checksum takes of a number.
std::string bytes_of_number(std::int64_t number);

// Values of every type, the awkward ones among them, in several groups, an empty one among those.
void fill_with_everything(const Store &store);

} // namespace varnel::test
