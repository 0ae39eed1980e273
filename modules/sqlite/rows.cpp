// SPDX-License-Identifier: MIT
#include "modules/sqlite/rows.h"

#include "common/key_text.h"
#include "common/text.h"

#include <varnel/memory.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string>

namespace varnel::modules {

namespace {

constexpr xdata_type kGroupMark = 0; // in the place of a type

[[noreturn]] void refuse_row(const std::string &what) {
    throw StoreError(-EBADMSG, what);
}

// FNV-1a: every change of one byte, whatever it is, changes the sum.
class Checksum {
public:
    Checksum &add(std::uint8_t byte) {
        sum_ = (sum_ ^ byte) * 0x100000001b3;
        return *this;
    }
    Checksum &add(std::string_view bytes) {
        for (const char byte : bytes)
            add(static_cast<std::uint8_t>(byte));
        return *this;
    }
    [[nodiscard]] std::int64_t sum() const { return static_cast<std::int64_t>(sum_); }

private:
    std::uint64_t sum_ = 0xcbf29ce484222325;
};

// Names have no zero bytes, which therefore end them.
Checksum checksum_of_key(std::string_view group, std::string_view name, xdata_type type) {
    return Checksum().add(group).add(0).add(name).add(0).add(static_cast<std::uint8_t>(type));
}

std::int64_t checksum_of(std::string_view group, std::string_view name, xdata_type type, std::string_view bytes) {
    return checksum_of_key(group, name, type).add(bytes).sum();
}

std::int64_t checksum_of(std::string_view group, std::string_view name, xdata_type type, std::int64_t number) {
    Checksum checksum = checksum_of_key(group, name, type);
    for (unsigned shift = 0; shift < 64; shift += 8)
        checksum.add(static_cast<std::uint8_t>(static_cast<std::uint64_t>(number) >> shift));
    return checksum.sum();
}

// The value's bytes as that integer; floating-point registers would change signalling NaNs on some targets.
template <class Integer> Integer bits_of(const xdata &value) {
    Integer bits;
    std::memcpy(&bits, &value.value, sizeof bits);
    return bits;
}

std::int64_t number_of(const xdata &value) {
    switch (value.type) {
    case XDATA_INT32:
        return bits_of<std::int32_t>(value);
    case XDATA_UINT32:
    case XDATA_FLOAT:
        return bits_of<std::uint32_t>(value);
    case XDATA_BOOLEAN:
        return bits_of<std::uint8_t>(value);
    default:
        return bits_of<std::int64_t>(value);
    }
}

template <class Integer> Value value_of(xdata_type type, std::int64_t number) {
    if (number < std::numeric_limits<Integer>::min() || number > std::numeric_limits<Integer>::max())
        return nullptr;
    const auto bits = static_cast<Integer>(number);
    return Value(xdata_new(type, &bits));
}

// nullptr for a number that a value of that type cannot have.
Value value_of_number(xdata_type type, std::int64_t number) {
    switch (type) {
    case XDATA_INT32:
        return value_of<std::int32_t>(type, number);
    case XDATA_UINT32:
    case XDATA_FLOAT:
        return value_of<std::uint32_t>(type, number);
    case XDATA_INT64:
    case XDATA_UINT64:
    case XDATA_DOUBLE:
        return value_of<std::int64_t>(type, number);
    case XDATA_BOOLEAN:
        return value_of<std::uint8_t>(type, number);
    default:
        return nullptr;
    }
}

Value value_of_bytes(std::string_view bytes) {
    Block<char> copy(static_cast<char *>(xmalloc0(bytes.size() + 1)));
    std::copy(bytes.begin(), bytes.end(), copy.get());
    auto *const value = static_cast<xdata *>(xmalloc0(sizeof(xdata)));
    xdata_set_string(value, copy.release(), static_cast<std::uint32_t>(bytes.size()));
    return Value(value);
}

std::string_view read_name(const Statement &row, int column) {
    const std::string_view name = row.bytes(column);
    if (row.type(column) != SQLITE_TEXT || !valid_key_part(name))
        refuse_row("a name that is none: " + in_quotes(name));
    return name;
}

void check(const Statement &row, int column, std::int64_t checksum, const std::string &what) {
    if (row.type(column) != SQLITE_INTEGER || row.number(column) != checksum)
        refuse_row("a wrong checksum at " + what);
}

} // namespace

std::int64_t group_checksum(std::string_view group) {
    return checksum_of(group, {}, kGroupMark, std::string_view());
}

void bind_value(Statement &statement, std::string_view group, std::string_view name, const xdata &value) {
    statement.bind_text(1, group).bind_text(2, name).bind(3, static_cast<std::int64_t>(value.type));
    if (value.type == XDATA_STRING) {
        const std::string_view bytes(value.value.s.str, value.value.s.len);
        statement.bind_bytes(4, bytes).bind(5, checksum_of(group, name, value.type, bytes));
    } else {
        const std::int64_t number = number_of(value);
        statement.bind(4, number).bind(5, checksum_of(group, name, value.type, number));
    }
}

std::string_view read_group(const Statement &row) {
    const std::string_view group = read_name(row, 0);
    check(row, 1, group_checksum(group), "the group " + in_quotes(group));
    return group;
}

ValueRow read_value(const Statement &row) {
    ValueRow read{read_name(row, 0), read_name(row, 1), nullptr};
    const std::string what = in_quotes(std::string(read.group).append(":").append(read.name));
    const std::int64_t type = row.type(2) == SQLITE_INTEGER ? row.number(2) : 0;
    if (type == XDATA_STRING && row.type(3) == SQLITE_BLOB) {
        const std::string_view bytes = row.bytes(3);
        check(row, 4, checksum_of(read.group, read.name, XDATA_STRING, bytes), what);
        read.value = value_of_bytes(bytes);
    } else if (type > XDATA_STRING && type < XDATA_TYPE_END && row.type(3) == SQLITE_INTEGER) {
        check(row, 4, checksum_of(read.group, read.name, static_cast<xdata_type>(type), row.number(3)), what);
        read.value = value_of_number(static_cast<xdata_type>(type), row.number(3));
    }
    if (read.value == nullptr)
        refuse_row("a value that is none at " + what);
    return read;
}

} // namespace varnel::modules
