// SPDX-License-Identifier: MIT
// How groups and values are rows of the file. What is read is hostile until it has passed here.
//
// The tables hold (all columns always have a value):
//   groups    name TEXT, checksum INTEGER
//   settings  group_name TEXT, name TEXT, type INTEGER, value BLOB or INTEGER, checksum INTEGER
// type is the code of the type (varnel/xdata.h). A string is a BLOB of exactly its len bytes. All other values are an
// INTEGER: numbers themselves (an unsigned 64-bit one as the signed one of the same bits), the bits of float and double
// as unsigned and signed integer, the byte of a boolean.
// The checksum is over all of the row: a value that a damaged medium changed is not taken for another value.
#pragma once

#include "common/records.h"
#include "modules/sqlite/database.h"

#include <cstdint>
#include <string_view>

namespace varnel::modules {

std::int64_t group_checksum(std::string_view group);

// Binds a value's row to the five parameters of a statement, which keeps pointing at all three.
void bind_value(Statement &statement, std::string_view group, std::string_view name, const xdata &value);

struct ValueRow {
    std::string_view group;
    std::string_view name;
    Value value;
};

// The row stepped to, with its columns in the order above. Throws StoreError (-EBADMSG) for what no writer writes.
std::string_view read_group(const Statement &row);
ValueRow read_value(const Statement &row);

} // namespace varnel::modules
