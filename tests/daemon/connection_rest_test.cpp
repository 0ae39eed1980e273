// SPDX-License-Identifier: MIT
// A connection whose requests take long leaves time for others.
#include "connection_fixture.h"

#include <cerrno>
#include <chrono>

namespace {

class ConnectionRest : public ConnectionTest {
public:
    // A backend whose lists are empty, and take longer than a share.
    void SetUp() override {
        owner.every_answer_ends_a_turn = false;
        backend("volatile", "main").list = [this](auto, auto) {
            owner.time += std::chrono::milliseconds(3);
            ++lists;
            return 0;
        };
    }
    void feed_one(std::uint32_t id, const Message &message) { feed(packets_of(id, message.encode())[0]); }
    void feed_list(std::uint32_t id) { feed_one(id, request(control_list, {"volatile", "", "", ""})); }
    void feed_set(std::uint32_t id) { feed_one(id, set_request("volatile", {{"a", std::to_string(id).c_str(), "x"}})); }

    int lists = 0;
};

} // namespace

TEST_F(ConnectionRest, FollowsALongRequest) {
    feed_list(1);
    feed_set(2);
    feed_list(3);
    feed_set(4);
    end_turn();
    EXPECT_EQ(packets(), "1/1.1 ");
    EXPECT_EQ(owner.rests, 1);
    EXPECT_FALSE(connection().is_drained());
    EXPECT_TRUE(connection().go_on());
    end_turn();
    EXPECT_EQ(packets(), "2/1.1 3/1.1 ");
    EXPECT_EQ(owner.rests, 2);
    EXPECT_TRUE(connection().go_on());
    end_turn();
    EXPECT_EQ(packets(), "4/1.1 ");
    EXPECT_EQ(owner.rests, 2);
    EXPECT_TRUE(connection().is_drained());
}

TEST_F(ConnectionRest, EndsWithoutAnythingToDo) {
    feed_list(1);
    end_turn();
    EXPECT_FALSE(connection().go_on());
    feed_set(2);
    end_turn();
    EXPECT_EQ(packets(), "1/1.1 2/1.1 ");
}

TEST_F(ConnectionRest, IsNotReadWhenManyRequestsWait) {
    EXPECT_EQ(limits.set("queue_messages", "3"), std::nullopt);
    feed_list(1);
    for (std::uint32_t id = 2; id <= 4; ++id) {
        EXPECT_TRUE(connection().may_read());
        feed_set(id);
    }
    EXPECT_FALSE(connection().may_read());
    EXPECT_EQ(connection().space(), 0U);
    EXPECT_EQ(owner.reasons, "");
    EXPECT_TRUE(connection().go_on());
    EXPECT_TRUE(connection().may_read());
    end_turn();
    EXPECT_EQ(packets(), "1/1.1 2/1.1 3/1.1 4/1.1 ");
}

TEST_F(ConnectionRest, OfADatagramPeerKeepsNoMoreThanItMay) {
    EXPECT_EQ(limits.set("queue_messages", "3"), std::nullopt);
    connection().datagram = true;
    for (std::uint32_t id = 1; id <= 6; ++id) {
        const Message message = id == 1 ? request(control_list, {"volatile", "", "", ""})
                                        : set_request("volatile", {{"a", std::to_string(id).c_str(), "x"}});
        const Bytes datagram = packets_of(id, message.encode())[0];
        connection().receive_datagram(datagram.data(), datagram.size(), now);
    }
    EXPECT_EQ(owner.reasons, "");
    EXPECT_EQ(statistic("ignored"), 2U);
    EXPECT_TRUE(connection().go_on());
    end_turn();
    EXPECT_EQ(packets(), "1/1.1 2/1.1 3/1.1 4/1.1 ");
}

// Its changes are made; lists that nobody waits for are not.
TEST_F(ConnectionRest, OfAClientThatHasGoneIsShort) {
    feed_list(1);
    feed_set(2);
    feed_list(3);
    feed_set(4);
    connection().finish();
    end_turn();
    EXPECT_EQ(content("volatile", "main"), "[a] 2=x 4=x ");
    EXPECT_EQ(lists, 1);
}

// They are most of what there is, and the clock costs a part of their time.
TEST_F(ConnectionRest, IsNotForGets) {
    backend("volatile", "main").get = [this](xdata **) {
        owner.time += std::chrono::milliseconds(3);
        return -ENOENT;
    };
    const Message get = get_request("volatile", "net", "port");
    feed_one(1, get);
    feed_one(2, get);
    end_turn();
    EXPECT_EQ(packets(), "1/1.1 2/1.1 ");
    EXPECT_EQ(owner.rests, 0);
    feed_set(3);
    end_turn();
    EXPECT_EQ(owner.rests, 1);
}
