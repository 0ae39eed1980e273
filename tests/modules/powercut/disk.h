// SPDX-License-Identifier: MIT
// A model of what a loss of power leaves of one folder: what was synced is there, of the rest nobody knows.
//
// The content of a file and its name in the folder are brought to the storage by separate syncs. Names are changed in
// the order of the calls, as journalling file systems do it; writes to a file reach it in any order, whole, in part or
// not at all.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <variant>
#include <vector>

namespace varnel::test {

using FileNumber = int; // of a file, whatever it is named

struct Created {
    std::string path;
    FileNumber file;
};
struct Renamed {
    std::string from;
    std::string to;
};
struct Removed {
    std::string path;
};
struct Written {
    FileNumber file;
    std::uint64_t offset;
    std::string bytes;
};
struct Truncated {
    FileNumber file;
    std::uint64_t size;
};
struct FileSynced {
    FileNumber file;
};
struct FolderSynced {};

using Event = std::variant<Created, Renamed, Removed, Written, Truncated, FileSynced, FolderSynced>;

using Files = std::map<std::string, std::string>; // path and content

// What becomes of all that was not synced.
enum class Unsynced { lost, kept, some };

class Disk {
public:
    void happen(const Event &event);

    [[nodiscard]] Files after_cut(Unsynced unsynced, std::mt19937 &random) const;

private:
    using Names = std::map<std::string, FileNumber>;
    using NameChange = std::variant<Created, Renamed, Removed>;
    using ContentChange = std::variant<Written, Truncated>;
    struct Content {
        std::string synced;
        std::vector<ContentChange> unsynced;
    };

    static void change(Names &names, const NameChange &change);
    static void change(std::string &content, const ContentChange &change);
    static std::string after_cut(const Content &content, Unsynced unsynced, std::mt19937 &random);

    Names names_; // synced
    std::vector<NameChange> name_changes_;
    std::map<FileNumber, Content> contents_;
};

} // namespace varnel::test
