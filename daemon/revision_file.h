// SPDX-License-Identifier: MIT
// Keeps revisions growing across restarts without a write for each: the file holds a number that no revision has
// passed, a block ahead of the current one while the daemon runs and exactly the current one after a clean end.
#pragma once

#include <cstdint>
#include <string>

namespace varnel::daemon {

class RevisionFile {
public:
    // Reads the file, which need not be there. With an empty path nothing is kept. A file that cannot be read, or holds
    // something else, is std::runtime_error.
    explicit RevisionFile(std::string path);

    // The revision to go on from.
    [[nodiscard]] std::uint64_t start() const { return start_; }

    // To be called before changes get revisions up to this one; writes the file when the reserved block ends. False,
    // with errno set, when the file cannot be written: revisions could come again after a crash.
    bool reserve(std::uint64_t revision);

    // Whether the last write, if there was one, has succeeded.
    [[nodiscard]] bool is_written() const { return written_; }

    // At the end. False, with errno set, when the file cannot be written.
    bool close(std::uint64_t revision);

private:
    bool write(std::uint64_t number);

    std::string path_;
    std::uint64_t start_ = 0;
    std::uint64_t reserved_ = 0;
    bool written_ = true;
};

} // namespace varnel::daemon
