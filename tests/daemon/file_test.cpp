// SPDX-License-Identifier: MIT
#include "daemon/file.h"
#include "folder_fixture.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

using namespace varnel::daemon;

namespace {

bool folders_cannot_be_synced = false;

class File : public FolderTest {};

} // namespace

// The C library's own, in this program.
extern "C" int fsync(int fd) {
    struct stat status = {};
    if (folders_cannot_be_synced && fstat(fd, &status) == 0 && S_ISDIR(status.st_mode)) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, fd));
}

TEST_F(File, ReadsAFile) {
    write("file", "content\n");
    EXPECT_EQ(read_file(path("file")), "content\n");
    EXPECT_EQ(read_file(path("missing")), std::nullopt);
    write("large", std::string(5000, 'x'));
    EXPECT_EQ(read_file(path("large"))->size(), 4096U);
}

TEST_F(File, TellsThatAFileCannotBeRead) {
    EXPECT_THROW(read_file(path("")), std::system_error); // a folder
    write("file", "x");
    EXPECT_THROW(read_file(path("file/below")), std::system_error);
}

TEST_F(File, ReplacesAFileAndLeavesNoOther) {
    EXPECT_TRUE(replace_file(path("file"), "one"));
    EXPECT_EQ(read_file(path("file")), "one");
    EXPECT_TRUE(replace_file(path("file"), "2"));
    EXPECT_EQ(read_file(path("file")), "2");
    EXPECT_EQ(entries(), (std::vector<std::string>{"file"}));
}

TEST_F(File, KeepsTheOldContentWhenItCannotReplaceIt) {
    write("file", "old");
    make_folders(path("file.new"), 0755); // in the way of the new content
    EXPECT_FALSE(replace_file(path("file"), "new"));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(read_file(path("file")), "old");
    EXPECT_FALSE(replace_file(path("no/such/folder/file"), "new"));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(File, LeavesNoHalfOfANewFileBehind) {
    write("file", "old");
    std::filesystem::create_symlink("/dev/full", path("file.new")); // where nothing can be written
    EXPECT_FALSE(replace_file(path("file"), "new"));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(read_file(path("file")), "old");
    EXPECT_EQ(entries(), (std::vector<std::string>{"file"}));
    make_folders(path("folder/full"), 0755); // which no file can replace
    EXPECT_FALSE(replace_file(path("folder"), "new"));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(entries(), (std::vector<std::string>{"file", "folder"}));
}

TEST_F(File, TellsOfNewContentThatALossOfPowerMayTakeBack) {
    write("file", "old");
    folders_cannot_be_synced = true;
    EXPECT_FALSE(replace_file(path("file"), "new"));
    EXPECT_EQ(errno, EIO);
    folders_cannot_be_synced = false;
    EXPECT_EQ(read_file(path("file")), "new");
    EXPECT_EQ(entries(), (std::vector<std::string>{"file"}));
}

TEST_F(File, MakesFoldersWithTheirParents) {
    make_folders(path("a/b/c"), 0755);
    make_folders(path("a/b/c"), 0755);
    write("a/b/c/file", "x");
    EXPECT_EQ(read_file(path("a/b/c/file")), "x");
    make_folders("", 0755);
    EXPECT_THROW(make_folders(path("a/b/c/file/d"), 0755), std::system_error);
}

TEST_F(File, ReservesAFolderOnce) {
    const varnel::Fd first = reserve_folder(path(""));
    EXPECT_TRUE(first);
    EXPECT_THROW(reserve_folder(path("")), std::runtime_error);
}
