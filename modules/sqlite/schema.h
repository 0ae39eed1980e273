// SPDX-License-Identifier: MIT
// The file as a whole: making it, and finding out whether it is one of ours, whole and not too new.
#pragma once

#include "modules/sqlite/database.h"
#include "modules/sqlite/folder.h"

#include <string>

namespace varnel::modules {

// Whether the file is there. Throws StoreError (-EBADMSG) when it is missing, and changes that belong to it are there.
bool find_file(const std::string &path);

// Makes an empty store, when there is none. The file comes into being with its last step, so that a file of that name
// always has once been whole: an empty one is a damaged one. The folder is synced.
void create_file(Folder &folder, const std::string &path);

// Throws StoreError when the file is no store of ours or damaged (-EBADMSG), or newer than this module (-EPROTO). Keeps
// the connection from checkpoints and triggers until then.
void check_file(Database &database);

} // namespace varnel::modules
