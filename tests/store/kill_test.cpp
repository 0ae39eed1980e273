// SPDX-License-Identifier: MIT
// The daemon is killed at random points of a write load, again and again. After each restart everything that it has
// answered as durable is there, and of what it has not answered all rows of a request or none.
//
// The seed is printed; VARNEL_TEST_SEED=number repeats a run, as far as the machine's timing does.
#include "daemon.h"
#include "messages.h"

#include "conversation/requests.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <map>
#include <poll.h>
#include <random>
#include <sys/time.h>

namespace varnel::test {

namespace {

constexpr std::uint32_t kWriters = 6;
constexpr std::uint32_t kKeys = 8;             // of each writer
constexpr std::uint32_t kLongestLoad = 100000; // microseconds until the kill

using Values = std::map<std::string, std::string>; // name to text

// One connection's writes, all to a group of its own. One request is under way at a time.
class Writer {
public:
    Writer(std::uint32_t number, std::mt19937 &random) : group_("writer" + std::to_string(number)), random_(random) {}

    void connect(const Daemon &daemon) {
        peer_.emplace(Peer::over_unix(daemon.socket));
        under_way_ = false;
        last_id_ = 0;
    }

    // Sends a request of several rows, and remembers the values that are there when it has been done. False when the
    // daemon has gone.
    bool send(std::uint32_t durability) {
        after_ = sure_;
        const bool unset = !sure_.empty() && random_() % 4 == 0;
        Message request = message(unset ? control_unset : control_set, "user", durability, kNoFlags);
        if (unset)
            add_removals(request);
        else
            add_values(request);
        durability_ = durability;
        under_way_ = peer_->send(encode(packet_of(++last_id_, request.encode(), 1)));
        return under_way_;
    }

    // Takes the answer if there is one. False when the daemon has gone.
    bool take_answer() {
        const std::optional<Packet> packet = peer_->receive();
        if (!packet)
            return false;
        Bytes bytes = packet->payload;
        const Received answer(bytes);
        EXPECT_EQ(status_of(answer), Status::ok) << texts_of(answer);
        EXPECT_EQ(packet->id, last_id_);
        EXPECT_GE(answer.uint32(3), durability_);
        revision_ = answer.uint64(4);
        sure_ = after_;
        under_way_ = false;
        ++answered_;
        return true;
    }

    // Whether the daemon has what it may have: what it has answered and, wholly or not at all, what it has not.
    bool verify(conversation::Conversation &conversation) {
        Values there;
        try {
            conversation::list(conversation, {"user", group_, ""}, [&](const std::string &, conversation::Row &&row) {
                if (!row.name.empty())
                    there[row.name] = print_value(*row.value);
            });
        } catch (const conversation::Error &error) {
            EXPECT_EQ(error.status(), Status::not_found) << error.what();
        }
        const bool kept = there == sure_ || (under_way_ && there == after_);
        sure_ = there;
        return kept;
    }

    [[nodiscard]] int descriptor() const { return peer_->descriptor(); }
    [[nodiscard]] std::uint64_t revision() const { return revision_; }
    [[nodiscard]] std::size_t answered() const { return answered_; }
    [[nodiscard]] bool under_way() const { return under_way_; }

private:
    void add_values(Message &request) {
        const std::string text = std::to_string(++writes_) + std::string(random_() % 90, '.');
        for (std::uint32_t i = 0, first = static_cast<std::uint32_t>(random_()); i < 2 + random_() % 4; ++i) {
            const std::string name = "key" + std::to_string((first + i) % kKeys);
            request.add(group_).add(name).add(text);
            after_[name] = text;
        }
    }

    void add_removals(Message &request) {
        for (const auto &[name, text] : sure_) {
            if (!after_.empty() && (after_.size() == sure_.size() || random_() % 2 == 0)) {
                request.add(group_).add(name);
                after_.erase(name);
            }
        }
    }

    const std::string group_;
    std::mt19937 &random_;
    std::optional<Peer> peer_;
    Values sure_;  // has been answered
    Values after_; // once the request that is under way has been done
    bool under_way_ = false;
    std::uint32_t last_id_ = 0;
    std::uint32_t durability_ = 0;
    std::uint64_t revision_ = 0;
    std::uint64_t writes_ = 0;
    std::size_t answered_ = 0;
};

volatile pid_t victim = -1;

void kill_victim(int) {
    ::kill(victim, SIGKILL);
}

// Kills the daemon after a time, whatever this process is doing then.
void kill_later(pid_t pid, std::uint32_t microseconds) {
    victim = pid;
    std::signal(SIGALRM, kill_victim);
    const itimerval once{{0, 0}, {0, static_cast<suseconds_t>(microseconds)}};
    setitimer(ITIMER_REAL, &once, nullptr);
}

class KillRun {
public:
    KillRun(Daemon &daemon, std::uint32_t durability) : daemon_(daemon), durability_(durability) {
        const char *const given = std::getenv("VARNEL_TEST_SEED");
        const auto seed =
            given != nullptr ? static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
        std::cout << "seed " << seed << std::endl;
        random_.seed(seed);
        for (std::uint32_t i = 0; i < kWriters; ++i)
            writers_.emplace_back(i, random_);
    }

    // How often a writer found something else than it may.
    std::size_t run(int kills) {
        for (int i = 0; i < kills && !testing::Test::HasFailure(); ++i) {
            daemon_.start();
            verify();
            load();
            daemon_.reap();
        }
        daemon_.start();
        verify();
        std::size_t answered = 0;
        for (const Writer &writer : writers_)
            answered += writer.answered();
        std::cout << kills << " kills, " << answered << " requests answered, " << under_way_ << " under way, "
                  << broken_ << " broken promises" << std::endl;
        EXPECT_GT(answered, static_cast<std::size_t>(kills));
        return broken_;
    }

    // Requests that the kills have left without an answer.
    [[nodiscard]] std::size_t under_way() const { return under_way_; }

private:
    void verify() {
        const auto conversation = daemon_.connect();
        std::uint64_t last = 0;
        for (Writer &writer : writers_) {
            broken_ += writer.verify(*conversation) ? 0 : 1;
            last = std::max(last, writer.revision());
        }
        EXPECT_GE(conversation::store_status(*conversation).revision, last);
    }

    // All writers write until the daemon is gone; answers that it has sent before count.
    void load() {
        for (Writer &writer : writers_)
            writer.connect(daemon_);
        kill_later(daemon_.pid(), 1 + static_cast<std::uint32_t>(random_() % kLongestLoad));
        std::vector<Writer *> writing;
        for (Writer &writer : writers_) {
            writer.send(durability_);
            writing.push_back(&writer);
        }
        while (!writing.empty())
            writing = go_on(writing);
        for (const Writer &writer : writers_)
            under_way_ += writer.under_way() ? 1 : 0;
    }

    // Takes the answers that have come and sends the next requests. Those whose daemon is there still are left.
    std::vector<Writer *> go_on(const std::vector<Writer *> &writing) const {
        std::vector<pollfd> sockets;
        for (const Writer *writer : writing)
            sockets.push_back({writer->descriptor(), POLLIN, 0});
        const int ready = poll(sockets.data(), sockets.size(), patience().poll_time());
        EXPECT_TRUE(ready > 0 || (ready < 0 && errno == EINTR)) << "no answer comes, and the daemon does not die";
        std::vector<Writer *> left;
        for (std::size_t i = 0; i < writing.size() && ready != 0; ++i) {
            const bool came = ready > 0 && sockets[i].revents != 0;
            if (!came || (writing[i]->take_answer() && writing[i]->send(durability_)))
                left.push_back(writing[i]);
        }
        return left;
    }

    Daemon &daemon_;
    const std::uint32_t durability_;
    std::mt19937 random_;
    std::vector<Writer> writers_;
    std::size_t under_way_ = 0;
    std::size_t broken_ = 0;
};

void with_journal_in_a_file(Daemon &daemon) {
    const std::string priority = "priority = 10";
    daemon.config.replace(daemon.config.find(priority), priority.size(), priority + "\n        journal = delete");
}

void expect_that_nothing_is_lost(Daemon &daemon, std::uint32_t durability, int kills) {
    KillRun run(daemon, durability);
    EXPECT_EQ(run.run(kills), 0U);
    EXPECT_GT(run.under_way(), static_cast<std::size_t>(kills)); // the kills hit the load
}

TEST(Kills, LoseNothingThatWasAnswered) {
    Daemon daemon;
    expect_that_nothing_is_lost(daemon, kInFile, 20);
}

// What is lost would be noticed: changes that were answered as being in memory are.
TEST(Kills, LoseWhatWasInMemory) {
    Daemon daemon;
    daemon.config.replace(daemon.config.find("durability = file"), 17, "durability = memory");
    daemon.options = {"--flush-interval", "3600000"};
    EXPECT_GT(KillRun(daemon, kInMemory).run(3), 0U);
}

TEST(KillsSlow, LoseNothingOfClassFile) {
    Daemon daemon;
    expect_that_nothing_is_lost(daemon, kInFile, 60);
}

TEST(KillsSlow, LoseNothingOfClassFolder) {
    Daemon daemon;
    expect_that_nothing_is_lost(daemon, kInFolder, 60);
}

TEST(KillsSlow, LoseNothingOfClassFileWithAJournalInAFile) {
    Daemon daemon;
    with_journal_in_a_file(daemon);
    expect_that_nothing_is_lost(daemon, kInFile, 50);
}

TEST(KillsSlow, LoseNothingOfClassFolderWithAJournalInAFile) {
    Daemon daemon;
    with_journal_in_a_file(daemon);
    expect_that_nothing_is_lost(daemon, kInFolder, 50);
}

} // namespace

} // namespace varnel::test
