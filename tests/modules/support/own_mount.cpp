// SPDX-License-Identifier: MIT
#include "own_mount.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>
#include <utility>

namespace varnel::test {

namespace {

// Who may not have mounts of his own may have them as the root of a space of his own.
void become_root() {
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(getegid()) + " 1";
    ASSERT_EQ(0, unshare(CLONE_NEWUSER)) << strerror(errno);
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << user;
    std::ofstream("/proc/self/gid_map") << group;
}

void leave_mounts_of_others() {
    if (unshare(CLONE_NEWNS) != 0) {
        become_root();
        ASSERT_EQ(0, unshare(CLONE_NEWNS)) << strerror(errno);
    }
    ASSERT_EQ(0, mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr)) << strerror(errno);
}

} // namespace

OwnMount::OwnMount(std::string folder) : folder_(std::move(folder)) {
    leave_mounts_of_others();
    EXPECT_EQ(0, mount("tmpfs", folder_.c_str(), "tmpfs", 0, nullptr)) << strerror(errno);
}

OwnMount::~OwnMount() {
    EXPECT_EQ(0, umount2(folder_.c_str(), MNT_DETACH)) << strerror(errno);
}

void OwnMount::make_read_only() const {
    EXPECT_EQ(0, mount("none", folder_.c_str(), "none", MS_REMOUNT | MS_RDONLY, nullptr)) << strerror(errno);
}

void OwnMount::show_read_only_in(const std::string &other) const {
    EXPECT_EQ(0, mount(folder_.c_str(), other.c_str(), "none", MS_BIND, nullptr)) << strerror(errno);
    EXPECT_EQ(0, mount("none", other.c_str(), "none", MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr)) << strerror(errno);
}

} // namespace varnel::test
