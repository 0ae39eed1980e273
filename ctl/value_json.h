// SPDX-License-Identifier: MIT
// Values in JSON, exactly.
//
//   string          a string; one whose bytes are no UTF-8 as base64, with "encoding": "base64" beside it
//   integers        a number
//   float, double   a number; "inf", "-inf", "nan" and "nan(0x...)", as print_value writes them, where there is none
//   boolean         true or false
//
// A string that does not end in a zero byte gets one on its way through JSON.
#pragma once

#include "common/records.h"
#include "ctl/output.h"

#include <string>

namespace varnel::ctl {

inline constexpr const char *kTypeNames = "string, int32, uint32, int64, uint64, float, double, boolean";

// The members "type" and "value", and "encoding" where that is needed, are put into object.
void put_value(Json &object, const xdata &value);

// The value alone, when it needs no encoding to be told from others; base64 otherwise.
Json json_of(const xdata &value);

// The value that put_value wrote ({"type": ..., "value": ...}; its value may also be the text that parse_value reads),
// or that plain JSON stands for: true and false are boolean, whole numbers the first of int32, int64 and uint64 that
// holds them, other numbers double, text a string. Anything else is usage_failure, which begins with where.
Value value_of_json(const Json &json, const std::string &where);

// The characters of a string without the zero byte at their end.
std::string_view characters_of(const xstring &string);

// A string with these characters, zero bytes among them included.
Value string_of_characters(std::string_view characters);

} // namespace varnel::ctl
