// SPDX-License-Identifier: MIT
// Checks configuration files without ending the process, as the loader does (configurator_load, varnel/config.h) at the
// first thing that it cannot read. What passes here is loaded there, and the other way round, but for what is no
// regular file or larger than 16 MiB: the loader takes a folder for an empty file, and reads a device without end.
#pragma once

#include <string>
#include <vector>

namespace varnel {

struct ConfigFinding {
    bool error = true; // otherwise a warning: the loader takes it, but hardly as meant
    int line = 0;      // from 1, counted as the loader counts; 0 when it is about the whole file
    int column = 0;    // from 1, in bytes of the line as it stands in the file; 0 as above
    std::string message;
    std::string expected; // what should stand there; may be empty
};

// The file's syntax. Findings are in the order of lines; a file that cannot be opened is one finding.
std::vector<ConfigFinding> check_config_syntax(const std::string &path);

// The syntax, and what varneld makes of the file: the groups "varneld", "backends" and "layers"
// (docs/configuration.md).
std::vector<ConfigFinding> check_store_config(const std::string &path);

bool has_errors(const std::vector<ConfigFinding> &findings);

// "FILE:LINE:COLUMN: error: MESSAGE (expected EXPECTED)", as compilers print it.
std::string print_finding(const std::string &path, const ConfigFinding &finding);

} // namespace varnel
