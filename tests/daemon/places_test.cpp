// SPDX-License-Identifier: MIT
#include "daemon/places.h"

#include <gtest/gtest.h>

using varnel::daemon::Places;

namespace {

constexpr uid_t kOwnUser = 500;

class PlacesTest : public testing::Test {
public:
    // Whether a process of a user gets a further place, which it takes then.
    bool enter(pid_t process, uid_t user) {
        const ucred peer{process, user, 0};
        if (places.refusal(peer, taken))
            return false;
        places.take(++number, peer);
        return true;
    }
    std::string refusal(pid_t process, uid_t user) const {
        return places.refusal(ucred{process, user, 0}, taken).value_or("");
    }
    Places places{16, kOwnUser};
    varnel::daemon::ConnectionNumber number = 0;
    std::size_t taken = 0; // by others
};

} // namespace

TEST_F(PlacesTest, OneProcessLeavesAnEighthToOthers) {
    for (int i = 0; i < 14; ++i)
        EXPECT_TRUE(enter(7, 0));
    EXPECT_FALSE(enter(7, 0));
    EXPECT_EQ(refusal(7, 0), "process 7 has 14 of the 16 places");
    EXPECT_TRUE(enter(8, 0));
}

TEST_F(PlacesTest, AllProcessesOfOneUserLeaveAnEighthToOthers) {
    for (pid_t process = 1; process <= 14; ++process)
        EXPECT_TRUE(enter(process, 1000));
    EXPECT_FALSE(enter(15, 1000));
    EXPECT_EQ(refusal(15, 1000), "user 1000 has 14 of the 16 places");
    EXPECT_TRUE(enter(15, 1001));
}

TEST_F(PlacesTest, ProcessesOfRootAndOfTheDaemonsUserAreBoundedOneByOne) {
    for (const uid_t user : {uid_t{0}, kOwnUser}) {
        for (pid_t process = 1; process <= 30; ++process)
            EXPECT_TRUE(enter(process, user)) << user;
    }
}

TEST_F(PlacesTest, ComeBackWithTheirConnections) {
    for (int i = 0; i < 14; ++i)
        enter(7, 1000);
    places.give_back(99); // no connection
    EXPECT_FALSE(enter(7, 1000));
    places.give_back(3);
    places.give_back(3);
    EXPECT_TRUE(enter(7, 1000));
    EXPECT_FALSE(enter(7, 1000));
}

TEST_F(PlacesTest, ProcessesWithoutANumberAreNotOne) {
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(enter(0, 0));
}

TEST_F(PlacesTest, WhoIsNotKnownIsNotBounded) {
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(places.refusal(std::nullopt, taken), std::nullopt);
        places.take(++number, std::nullopt);
    }
}

TEST_F(PlacesTest, TheLastEighthIsKeptForRootAndTheDaemonsUser) {
    const std::string kept = "the last 2 of the 16 places are kept for root and user 500";
    taken = 13;
    EXPECT_EQ(refusal(7, 1000), "");
    EXPECT_EQ(places.refusal_of_datagrams(0, taken), std::nullopt);
    for (taken = 14; taken < 16; ++taken) {
        EXPECT_EQ(refusal(7, 1000), kept);
        EXPECT_EQ(places.refusal_of_datagrams(0, taken), kept);
        EXPECT_EQ(refusal(7, 0), "");
        EXPECT_EQ(refusal(7, kOwnUser), "");
    }
}

TEST_F(PlacesTest, NobodyGetsMoreThanThereAre) {
    taken = 16;
    for (const uid_t user : {uid_t{0}, kOwnUser, uid_t{1000}})
        EXPECT_EQ(refusal(7, user), "16 connections are the limit");
    EXPECT_EQ(places.refusal(std::nullopt, taken), "16 connections are the limit");
}

TEST_F(PlacesTest, AHalfIsForDatagrams) {
    EXPECT_EQ(places.refusal_of_datagrams(7, 7), std::nullopt);
    EXPECT_EQ(places.refusal_of_datagrams(8, 8), "UDP peers have 8 of the 16 places");
    EXPECT_EQ(Places(1, kOwnUser).refusal_of_datagrams(0, 0), std::nullopt);
}

TEST(PlacesOfFew, AreAllForOneProcess) {
    Places places(7, kOwnUser);
    const ucred peer{7, 1000, 0};
    for (varnel::daemon::ConnectionNumber number = 1; number <= 7; ++number) {
        EXPECT_EQ(places.refusal(peer, 0), std::nullopt);
        places.take(number, peer);
    }
    EXPECT_NE(places.refusal(peer, 0), std::nullopt);
}
