// SPDX-License-Identifier: MIT
#include "daemon/file.h"
#include "daemon/revision_file.h"
#include "folder_fixture.h"

#include <cerrno>
#include <stdexcept>

using namespace varnel::daemon;

namespace {

class RevisionFileTest : public FolderTest {
public:
    std::string content() const { return read_file(path("revision")).value_or("none"); }
    RevisionFile opened() const { return RevisionFile(path("revision")); }
    std::string refusal() const {
        try {
            opened();
        } catch (const std::runtime_error &error) {
            return error.what();
        }
        return "";
    }
};

} // namespace

TEST_F(RevisionFileTest, BeginsWithZeroWithoutAFile) {
    RevisionFile file = opened();
    EXPECT_EQ(file.start(), 0U);
    EXPECT_EQ(content(), "none");
}

TEST_F(RevisionFileTest, GoesOnAfterACleanEnd) {
    {
        RevisionFile file = opened();
        EXPECT_TRUE(file.reserve(1));
        EXPECT_TRUE(file.reserve(2));
        EXPECT_TRUE(file.close(2));
    }
    EXPECT_EQ(content(), "2\n");
    RevisionFile file = opened();
    EXPECT_EQ(file.start(), 2U);
    EXPECT_TRUE(file.reserve(3));
    EXPECT_TRUE(file.close(3));
    EXPECT_EQ(opened().start(), 3U);
}

TEST_F(RevisionFileTest, GoesOnAheadAfterACrash) {
    std::uint64_t last = 0;
    for (int run = 0; run < 3; ++run) {
        RevisionFile file = opened();
        EXPECT_GE(file.start(), last);
        last = file.start();
        for (int i = 0; i < 10; ++i)
            EXPECT_TRUE(file.reserve(++last));
    }
    EXPECT_GT(opened().start(), last);
}

TEST_F(RevisionFileTest, HoldsANumberThatNoRevisionHasPassed) {
    RevisionFile file = opened();
    for (std::uint64_t revision = 1; revision < 5000000; revision += 99999) {
        EXPECT_TRUE(file.reserve(revision));
        EXPECT_GE(std::stoull(content()), revision);
    }
}

TEST_F(RevisionFileTest, IsNotWrittenForEveryRevision) {
    RevisionFile file = opened();
    EXPECT_TRUE(file.reserve(1));
    const std::string reserved = content();
    for (std::uint64_t revision = 2; revision <= 100000; ++revision)
        EXPECT_TRUE(file.reserve(revision));
    EXPECT_EQ(content(), reserved);
}

TEST_F(RevisionFileTest, IsNotWrittenWhenNothingHasHappened) {
    RevisionFile file = opened();
    EXPECT_TRUE(file.close(file.start()));
    EXPECT_EQ(content(), "none");
}

TEST_F(RevisionFileTest, RefusesAFileThatHoldsSomethingElse) {
    for (const char *const text :
         {"", "\n", "seven\n", "7", "7 \n", "-7\n", "7\n8\n", "99999999999999999999\n", "18446744073709551615\n"}) {
        write("revision", text);
        EXPECT_EQ(refusal(), path("revision") + " does not hold a revision number; move it away to begin again with 0")
            << text;
        EXPECT_EQ(content(), text);
    }
}

TEST_F(RevisionFileTest, RefusesAFileThatCannotBeRead) {
    make_folders(path("revision"), 0755);
    EXPECT_NE(refusal().find(path("revision")), std::string::npos);
}

TEST_F(RevisionFileTest, TellsThatItCannotBeWrittenAndGoesOn) {
    RevisionFile file(path("missing/revision"));
    EXPECT_EQ(file.start(), 0U);
    EXPECT_TRUE(file.is_written());
    EXPECT_FALSE(file.reserve(1));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(file.reserve(2)); // the next try comes a block later
    EXPECT_FALSE(file.is_written());
    EXPECT_FALSE(file.reserve(2000002));
    EXPECT_FALSE(file.close(2000002));
    EXPECT_EQ(errno, ENOENT);
    make_folders(path("missing"), 0755);
    EXPECT_TRUE(file.reserve(4000002));
    EXPECT_TRUE(file.is_written());
}

TEST_F(RevisionFileTest, KeepsNothingWithoutAPath) {
    RevisionFile file("");
    EXPECT_EQ(file.start(), 0U);
    EXPECT_TRUE(file.reserve(1));
    EXPECT_TRUE(file.close(1));
    EXPECT_TRUE(entries().empty());
}
