// SPDX-License-Identifier: MIT
// Changes of the middle one of three backends: what they do, what readers see of it, and that they can be undone.
#include "store_fixture.h"

#include "daemon/change.h"

#include <cerrno>
#include <functional>
#include <optional>

using namespace varnel;
using namespace varnel::daemon;

namespace {

class ChangeTest : public StoreTest {
public:
    ChangeSet &changes() {
        if (!changes_)
            changes_.emplace(layer("user"));
        return *changes_;
    }
    int set(const char *group, const char *name, const char *text) {
        return changes().set(group, name, make_string(text));
    }
    int unset(const char *group, const char *name) { return changes().unset(group, name); }
    ScriptedBackend &main() { return backend("user", "main"); }
    std::string stored() { return content("user", "main"); }

    // "net:port 1>2" with "-" for none, "+net" and "x net" for groups; in brackets when no reader sees a difference.
    std::string words() {
        std::string text;
        for (const Change &change : changes().changes()) {
            std::string word = change.kind == ChangeKind::group_created ? "+" + change.group : "x" + change.group;
            if (change.kind == ChangeKind::value)
                word = change.group + ":" + change.name + " " + words_of(change.visible_old.get()) + ">" +
                       words_of(change.visible_new.get());
            text += (change.visible() ? word : "(" + word + ")") + " ";
        }
        return text;
    }

private:
    std::optional<ChangeSet> changes_;
};

} // namespace

TEST_F(ChangeTest, SettingMakesTheGroupAndTheValue) {
    EXPECT_EQ(set("net", "port", "80"), 0);
    EXPECT_EQ(words(), "+net net:port ->80 ");
    EXPECT_EQ(stored(), "[net] port=80 ");
}

TEST_F(ChangeTest, SettingAnotherValueTellsBoth) {
    put("user", "main", "net", "port", "80");
    EXPECT_EQ(set("net", "port", "81"), 0);
    EXPECT_EQ(set("net", "port", "82"), 0);
    EXPECT_EQ(words(), "net:port 80>81 net:port 81>82 ");
}

TEST_F(ChangeTest, SettingWhatIsThereChangesNothing) {
    put("user", "main", "net", "port", "80");
    EXPECT_EQ(set("net", "port", "80"), 0);
    EXPECT_EQ(words(), "");
    EXPECT_TRUE(main().calls.empty());
}

TEST_F(ChangeTest, AnotherTypeIsAnotherValue) {
    put("user", "main", "net", "port", "80");
    EXPECT_EQ(changes().set("net", "port", make_uint32(80)), 0);
    EXPECT_EQ(words(), "net:port 80>80 ");
}

TEST_F(ChangeTest, ADefaultShowsBeforeAndAfter) {
    put("user", "base", "net", "port", "8080");
    EXPECT_EQ(set("net", "port", "80"), 0);
    EXPECT_EQ(unset("net", "port"), 0);
    EXPECT_EQ(words(), "(+net) net:port 8080>80 net:port 80>8080 "); // readers have seen the group all along
}

TEST_F(ChangeTest, TheDefaultsOwnValueIsNoVisibleChange) {
    put("user", "base", "net", "port", "80");
    EXPECT_EQ(set("net", "port", "80"), 0);
    EXPECT_EQ(stored(), "[net] port=80 ");
    EXPECT_EQ(words(), "(+net) (net:port 80>80) ");
}

TEST_F(ChangeTest, AValueBelowAnotherIsNotSeen) {
    put("user", "top", "net", "port", "1");
    put("user", "base", "net", "port", "2");
    EXPECT_EQ(set("net", "port", "80"), 0);
    EXPECT_EQ(unset("net", "port"), 0);
    EXPECT_EQ(words(), "(+net) (net:port 1>1) (net:port 1>1) ");
}

TEST_F(ChangeTest, UnsettingWhatIsNotThereIsNotFound) {
    put("user", "base", "net", "port", "8080");
    EXPECT_EQ(unset("net", "port"), -ENOENT);
    EXPECT_EQ(words(), "");
}

TEST_F(ChangeTest, UnsettingLeavesTheGroup) {
    put("user", "main", "net", "port", "80");
    EXPECT_EQ(unset("net", "port"), 0);
    EXPECT_EQ(words(), "net:port 80>- ");
    EXPECT_EQ(stored(), "[net] ");
}

TEST_F(ChangeTest, MakesGroups) {
    EXPECT_EQ(changes().create_group("net"), 0);
    EXPECT_EQ(changes().create_group("net"), -EEXIST);
    EXPECT_EQ(set("net", "port", "80"), 0);
    EXPECT_EQ(words(), "+net net:port ->80 ");
}

TEST_F(ChangeTest, AGroupThatAnotherBackendHasIsNotSeenToComeOrGo) {
    put("user", "base", "net", "host", "x");
    EXPECT_EQ(changes().create_group("net"), 0);
    EXPECT_EQ(changes().remove_group("net"), 0);
    EXPECT_EQ(words(), "(+net) (xnet) ");
}

TEST_F(ChangeTest, RemovingAGroupTakesItsValues) {
    put("user", "main", "net", "host", "x");
    put("user", "main", "net", "port", "80");
    put("user", "base", "net", "port", "8080");
    put("user", "main", "other", "a", "1");
    EXPECT_EQ(changes().remove_group("net"), 0);
    EXPECT_EQ(words(), "net:host x>- net:port 80>8080 (xnet) ");
    EXPECT_EQ(stored(), "[other] a=1 ");
    EXPECT_EQ(changes().remove_group("net"), -ENOENT);
}

TEST_F(ChangeTest, UndoingRestoresEverything) {
    put("user", "main", "net", "host", "x");
    put("user", "main", "net", "port", "80");
    put("user", "main", "old", "a", "1");
    main().groups["empty"];
    const std::string before = stored();
    EXPECT_EQ(set("net", "port", "81"), 0);
    EXPECT_EQ(set("net", "port", "82"), 0);
    EXPECT_EQ(set("new", "b", "2"), 0);
    EXPECT_EQ(unset("net", "host"), 0);
    EXPECT_EQ(set("net", "host", "y"), 0);
    EXPECT_EQ(changes().remove_group("old"), 0);
    EXPECT_EQ(changes().remove_group("empty"), 0);
    EXPECT_EQ(set("old", "c", "3"), 0);
    EXPECT_EQ(changes().create_group("created"), 0);
    EXPECT_EQ(changes().remove_group("net"), 0);
    EXPECT_EQ(stored(), "[created] [new] b=2 [old] c=3 ");
    EXPECT_TRUE(changes().undo());
    EXPECT_EQ(stored(), before);
    EXPECT_TRUE(changes().changes().empty());
}

TEST_F(ChangeTest, ChangesThatNobodyTakesAreUndone) {
    put("user", "main", "net", "port", "80");
    const std::string before = stored();
    {
        ChangeSet dropped(layer("user"));
        EXPECT_EQ(dropped.set("net", "port", make_string("81")), 0);
        EXPECT_EQ(dropped.create_group("disk"), 0);
        const ChangeSet moved(std::move(dropped));
        EXPECT_NE(stored(), before);
    }
    EXPECT_EQ(stored(), before);
    {
        ChangeSet taken(layer("user"));
        EXPECT_EQ(taken.set("net", "port", make_string("82")), 0);
        EXPECT_EQ(taken.take_changes().size(), 1U);
    }
    EXPECT_EQ(stored(), "[net] port=82 ");
}

TEST_F(ChangeTest, ABackendThatDoesNotTakeItBackIsTold) {
    EXPECT_EQ(set("net", "port", "80"), 0);
    EXPECT_EQ(set("disk", "size", "1"), 0);
    main().results["unset net port"] = -EIO;
    EXPECT_FALSE(changes().undo());
    EXPECT_EQ(stored(), ""); // the rest is undone: the group, which took the value with it, too
}

TEST_F(ChangeTest, AFailingStepLeavesNothingOfItself) {
    const struct {
        const char *call;
        std::function<int()> step;
    } rows[] = {
        {"get net port", [this] { return set("net", "port", "81"); }},
        {"get fresh", [this] { return set("fresh", "port", "81"); }},
        {"set net port", [this] { return set("net", "port", "81"); }},
        {"set fresh port", [this] { return set("fresh", "port", "81"); }},
        {"get net port", [this] { return unset("net", "port"); }},
        {"unset net port", [this] { return unset("net", "port"); }},
        {"set fresh", [this] { return changes().create_group("fresh"); }},
        {"list net", [this] { return changes().remove_group("net"); }},
    };
    put("user", "main", "net", "port", "80");
    for (const auto &row : rows) {
        main().results = {{row.call, -EIO}};
        EXPECT_EQ(row.step(), -EIO) << row.call;
        EXPECT_EQ(words(), "") << row.call;
        EXPECT_EQ(stored(), "[net] port=80 ") << row.call;
        ASSERT_NE(changes().failed(), nullptr);
        EXPECT_EQ(changes().failed()->name(), "main");
    }
}

TEST_F(ChangeTest, ARemovalThatFailsHalfWayCanBeUndone) {
    put("user", "main", "net", "host", "x");
    put("user", "main", "net", "port", "80");
    const std::string before = stored();
    for (const char *const call : {"unset net port", "unset net"}) {
        main().results = {{call, -EIO}};
        EXPECT_EQ(changes().remove_group("net"), -EIO) << call;
        EXPECT_TRUE(changes().undo());
        EXPECT_EQ(stored(), before) << call;
    }
}

TEST_F(ChangeTest, AFailureAboveOrBelowIsNamed) {
    put("user", "main", "net", "port", "80");
    backend("user", "top").results["get"] = -EIO;
    EXPECT_EQ(set("net", "port", "81"), -EIO);
    EXPECT_EQ(changes().failed()->name(), "top");
    backend("user", "top").results.clear();
    backend("user", "base").results["get"] = -ENODEV;
    EXPECT_EQ(unset("net", "port"), -ENODEV);
    EXPECT_EQ(changes().failed()->name(), "base");
    EXPECT_EQ(set("net", "port", "81"), 0); // what is below does not show
    EXPECT_EQ(words(), "net:port 80>81 ");
}
