// SPDX-License-Identifier: MIT
#include "daemon/file.h"
#include "folder_fixture.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>

using namespace varnel::daemon;

namespace {

bool is_open(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

class File : public FolderTest {};

} // namespace

TEST_F(File, FdClosesWhatItOwns) {
    int number = -1;
    {
        const Fd fd(open("/dev/null", O_RDONLY));
        number = fd.get();
        EXPECT_TRUE(fd);
        EXPECT_TRUE(is_open(number));
    }
    EXPECT_FALSE(is_open(number));
    EXPECT_FALSE(Fd());
}

TEST_F(File, FdMovesItsDescriptor) {
    Fd first(open("/dev/null", O_RDONLY));
    const int number = first.get();
    Fd second(std::move(first));
    EXPECT_EQ(second.get(), number);
    Fd third;
    third = std::move(second);
    EXPECT_EQ(third.get(), number);
    EXPECT_TRUE(is_open(number));
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

TEST_F(File, MakesFoldersWithTheirParents) {
    make_folders(path("a/b/c"), 0755);
    make_folders(path("a/b/c"), 0755);
    write("a/b/c/file", "x");
    EXPECT_EQ(read_file(path("a/b/c/file")), "x");
    make_folders("", 0755);
    EXPECT_THROW(make_folders(path("a/b/c/file/d"), 0755), std::system_error);
}
