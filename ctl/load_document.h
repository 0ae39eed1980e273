// SPDX-License-Identifier: MIT
// What dump writes and load reads:
//
//   {"varnel": 1, "layer": "user", "groups": {"network": {"mtu": {"type": "int32", "value": 1400}, "dhcp": true}}}
//
// "varnel" is the version of the form, "layer" may be left out; values are as value_json.h has them; an empty group is
// kept.
#pragma once

#include "common/records.h"
#include "ctl/output.h"

#include <istream>
#include <string>
#include <vector>

namespace varnel::ctl {

struct LoadValue {
    std::string group;
    std::string name;
    Value value;
};

struct LoadDocument {
    std::string layer;
    std::vector<LoadValue> values;
    std::vector<std::string> empty_groups;
};

Json document_of(const std::string &layer, Json groups);

// Reads and checks all of it; usage_failure, with the place in the text or the group and name, for anything else.
LoadDocument read_document(std::istream &input);

} // namespace varnel::ctl
