// SPDX-License-Identifier: MIT
// Files by their names, and what the system says of them.
#pragma once

#include <string>
#include <sys/types.h>

namespace varnel::modules {

// What a module answers for an errno value: that, negative; one and the same for all that is short of room.
int result_of_errno(int error);

// Throws StoreError for errno.
[[noreturn]] void fail(const std::string &what);

bool exists(const std::string &path);
bool has_content(const std::string &path);

// A file that is open, and its name.
class PlacedFile {
public:
    // The file must be there: StoreError.
    explicit PlacedFile(std::string path);

    // Throws StoreError (-ENODEV) when the name no longer is that of the file: what is written into it then would not
    // be found under its name after a restart.
    void check() const;

private:
    std::string path_;
    dev_t device_;
    ino_t number_;
};

} // namespace varnel::modules
