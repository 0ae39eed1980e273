// SPDX-License-Identifier: MIT
// Small files, read and replaced whole, and folders.
#pragma once

#include "common/fd.h"

#include <optional>
#include <string>
#include <sys/types.h>

namespace varnel::daemon {

// The content, at most 4096 bytes of it; nothing when there is no such file. Other errors are std::system_error.
std::optional<std::string> read_file(const std::string &path);

// Puts text into the file so that after a crash the old content is there or the new one, and returns when it survives a
// loss of power. False, with errno set, when that cannot be done: the old content is there, or, when only the folder
// could not be synced, the new one, and after a loss of power either. No other file stays behind.
bool replace_file(const std::string &path, const std::string &text);

// Reserves a folder for this process, by a lock on a file in it, as long as the result lives. std::runtime_error when
// another has reserved it, or when that cannot be told, as the file belongs to another user. A folder that cannot be
// written needs no reserving: the result is none.
Fd reserve_folder(const std::string &path);

// Makes a folder with this mode, and its parents; what is there stays as it is. std::system_error when it cannot be
// done.
void make_folders(const std::string &path, mode_t mode);

} // namespace varnel::daemon
