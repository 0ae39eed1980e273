// SPDX-License-Identifier: MIT
// A file system in memory over a folder, which only this process sees. Permissions do not hold back root, who may well
// run the tests; a file system that is read-only does.
#pragma once

#include <string>

namespace varnel::test {

class OwnMount {
public:
    explicit OwnMount(std::string folder);
    OwnMount(const OwnMount &) = delete;
    OwnMount &operator=(const OwnMount &) = delete;
    ~OwnMount();

    // Nothing in it may be open for writing.
    void make_read_only() const;

    // Shows the file system, read-only, in another folder, too, until the process ends.
    void show_read_only_in(const std::string &other) const;

private:
    std::string folder_;
};

} // namespace varnel::test
