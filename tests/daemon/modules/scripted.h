// SPDX-License-Identifier: MIT
// A storage module whose values and failures the test decides.
#pragma once

#include "common/records.h"

#include <module.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

struct ScriptedBackend {
    std::map<std::string, std::map<std::string, varnel::Value>> groups;

    // Changes and syncs, such as "set net port", "set net", "unset net port", "sync 1".
    std::vector<std::string> calls;

    // A result in place of the work, for a call as above ("get net port" and "list net", too) or for its first word.
    std::map<std::string, int> results;

    // The class that sync answers; at first that of the setting "reached".
    int reached = DURABILITY_FOLDER;

    // In place of the entry points.
    std::function<int(xdata **)> get;
    std::function<int(module_visit_t, void *)> list;
};

// The copy of a backend in a layer; nullptr when there is none.
using scripted_find_t = ScriptedBackend *(*)(const char *layer, const char *backend);
