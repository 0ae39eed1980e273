// SPDX-License-Identifier: MIT
// Writes changes into the file.
#pragma once

#include "modules/sqlite/changes.h"
#include "modules/sqlite/database.h"

#include <string>
#include <string_view>

namespace varnel::modules {

class Writer {
public:
    // The tables must be there.
    explicit Writer(Database &database);

    // In one transaction: throws StoreError when the file has none of the changes, or is not known to have them.
    void write(const Changes &changes);

    // Whether the last write has failed in such a way that the file may have all of its changes after a crash.
    [[nodiscard]] bool in_doubt() const { return in_doubt_; }

private:
    void write_group(const std::string &name, const Changes::Group &group);
    void drop_group(std::string_view group);
    void write_value(std::string_view group, std::string_view name, const xdata *value);
    void commit();
    void roll_back();

    Database &database_;
    Statement begin_;
    Statement commit_;
    Statement rollback_;
    Statement put_group_;
    Statement drop_group_;
    Statement drop_values_;
    Statement put_value_;
    Statement drop_value_;
    Statement write_a_page_; // and change nothing
    bool in_doubt_ = false;
    bool must_write_ = false; // the next transaction must not be one that writes nothing
};

} // namespace varnel::modules
