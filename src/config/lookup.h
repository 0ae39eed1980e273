// SPDX-License-Identifier: MIT
#pragma once

#include <varnel/config.h>

namespace varnel {

// The value at a path of names separated by ":", with its type in *type, or nullptr.
void *confparser_lookup(const xdictionary *d, const char *path, uint32_t *type);

} // namespace varnel
