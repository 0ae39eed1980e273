// SPDX-License-Identifier: MIT
// Values as people and files write them.
//
// Names of types: string int32 uint32 int64 uint64 float double boolean.
// Text of a value, by type:
//   string          the characters themselves
//   integers        decimal, or 0x and hexadecimal digits, with a sign where the type has one; nothing else around
//   float, double   as strtod (ISO C) reads them, inf and nan included; printed with as many digits as give back every
//                   bit. A NaN that is not the plain one is printed as nan(0x...) with the bits of the whole value, and
//                   read back from it.
//   boolean         true, yes, on, 1 / false, no, off, 0 in any case; printed as true or false
// Guessing, where no type is given: true and false (in any case) are boolean; a decimal integer, with or without a
// sign, is the first of int32, int64, uint64 that holds it; a number with a point or an exponent is a double; what is
// left, numbers too large for all three included, is a string. Text with leading zeros before another digit (007) is
// a string: it is a code, not a number.
#pragma once

#include "common/records.h"

#include <optional>
#include <string>
#include <string_view>

namespace varnel {

// The type of that name, if it is one; the forms with _t that xdata_type_as_char gives are accepted, too.
std::optional<xdata_type> type_of_name(std::string_view name);

// The name of a type from 1 to 8.
const char *name_of_type(xdata_type type);

xdata_type guess_type(std::string_view text);

// The value that text stands for; nullptr, with what was expected in *error, when it stands for none of that type (or
// is too large for it).
Value parse_value(std::string_view text, xdata_type type, std::string *error);

// The text that parse_value turns into the same value, bit for bit (a string up to its first zero byte; a boolean whose
// byte is neither 0 nor 1 prints as true).
std::string print_value(const xdata &value);

} // namespace varnel
