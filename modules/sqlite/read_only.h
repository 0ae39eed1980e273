// SPDX-License-Identifier: MIT
// Reading a file that cannot be changed, and beside which nothing can be made.
#pragma once

#include "modules/sqlite/database.h"

#include <string>

namespace varnel::modules {

// A connection for reading the file with the changes in its log. Throws StoreError: -EBUSY when another process has it
// open for writing, through another mount. The next use of the connection fails with -ENODEV when an interrupted change
// would have to be taken back first.
Database open_unchanged(const std::string &path);

} // namespace varnel::modules
