// SPDX-License-Identifier: MIT
// The model of the storage itself.
#include "powercut/disk.h"

#include <gtest/gtest.h>

#include <set>

using namespace varnel::test;

namespace {

class DiskModel : public testing::Test {
protected:
    Files lost() { return disk_.after_cut(Unsynced::lost, random_); }
    Files kept() { return disk_.after_cut(Unsynced::kept, random_); }

    Disk disk_;
    std::mt19937 random_{1};
};

} // namespace

TEST_F(DiskModel, ANameIsThereWithTheFolderAndAContentWithTheFile) {
    disk_.happen(Created{"/a", 1});
    disk_.happen(Written{1, 0, "text"});
    EXPECT_EQ(Files{}, lost());
    EXPECT_EQ((Files{{"/a", "text"}}), kept());
    disk_.happen(FolderSynced{});
    EXPECT_EQ((Files{{"/a", ""}}), lost());
    disk_.happen(FileSynced{1});
    EXPECT_EQ((Files{{"/a", "text"}}), lost());
    disk_.happen(Written{1, 2, "sting"});
    EXPECT_EQ((Files{{"/a", "text"}}), lost());
    EXPECT_EQ((Files{{"/a", "testing"}}), kept());
}

TEST_F(DiskModel, AFileThatIsSyncedHasNoNameUntilTheFolderIs) {
    disk_.happen(Created{"/a", 1});
    disk_.happen(Written{1, 0, "text"});
    disk_.happen(FileSynced{1});
    EXPECT_EQ(Files{}, lost());
}

TEST_F(DiskModel, RemovedAndRenamedFilesAreThereUntilTheFolderIsSynced) {
    for (const Event &event : std::vector<Event>{Created{"/a", 1}, Created{"/b", 2}, Written{1, 0, "1"}, FileSynced{1},
                                                 FolderSynced{}, Renamed{"/a", "/c"}, Removed{"/b"}})
        disk_.happen(event);
    EXPECT_EQ((Files{{"/a", "1"}, {"/b", ""}}), lost());
    EXPECT_EQ((Files{{"/c", "1"}}), kept());
    disk_.happen(FolderSynced{});
    EXPECT_EQ((Files{{"/c", "1"}}), lost());
}

TEST_F(DiskModel, TruncatingCutsAndWritingBehindTheEndFillsWithZeros) {
    for (const Event &event : std::vector<Event>{Created{"/a", 1}, Written{1, 0, "text"}, Truncated{1, 2},
                                                 Written{1, 4, "x"}, FolderSynced{}, FileSynced{1}})
        disk_.happen(event);
    EXPECT_EQ((Files{{"/a", std::string("te\0\0x", 5)}}), lost());
}

TEST_F(DiskModel, SomeOfWhatIsNotSyncedIsAnyOfIt) {
    for (const Event &event : std::vector<Event>{Created{"/a", 1}, FolderSynced{}, Written{1, 0, "ab"}, FileSynced{1},
                                                 Written{1, 0, "A"}, Written{1, 1, "B"}, Created{"/b", 2}})
        disk_.happen(event);
    std::set<Files> seen;
    for (int i = 0; i < 500; ++i)
        seen.insert(disk_.after_cut(Unsynced::some, random_));
    std::set<Files> possible;
    for (const char *const content : {"ab", "Ab", "aB", "AB"}) {
        possible.insert(Files{{"/a", content}});
        possible.insert(Files{{"/a", content}, {"/b", ""}});
    }
    EXPECT_EQ(possible, seen);
}
