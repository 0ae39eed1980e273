// SPDX-License-Identifier: MIT
#include "common/fd.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <utility>

namespace {

using varnel::Fd;

bool is_open(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

TEST(Fd, ClosesWhatItOwns) {
    int number = -1;
    {
        const Fd fd(open("/dev/null", O_RDONLY));
        number = fd.get();
        EXPECT_TRUE(fd);
        EXPECT_TRUE(is_open(number));
    }
    EXPECT_FALSE(is_open(number));
}

TEST(Fd, MayOwnNone) {
    EXPECT_FALSE(Fd());
    EXPECT_FALSE(Fd(-1));
    EXPECT_EQ(-1, Fd().get());
}

TEST(Fd, MovesItsDescriptor) {
    Fd first(open("/dev/null", O_RDONLY));
    const int number = first.get();
    Fd second(std::move(first));
    EXPECT_EQ(second.get(), number);
    Fd third;
    third = std::move(second);
    EXPECT_EQ(third.get(), number);
    EXPECT_TRUE(is_open(number));
}

TEST(Fd, ClosesWhatItOwnedBeforeAnother) {
    Fd fd(open("/dev/null", O_RDONLY));
    const int number = fd.get();
    fd = Fd();
    EXPECT_FALSE(is_open(number));
}

} // namespace
