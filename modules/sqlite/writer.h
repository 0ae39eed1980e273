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

    // In one transaction: throws StoreError when the file has none of the changes.
    void write(const Changes &changes);

private:
    void write_group(const std::string &name, const Changes::Group &group);
    void drop_group(std::string_view group);
    void write_value(std::string_view group, std::string_view name, const xdata *value);
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
};

} // namespace varnel::modules
