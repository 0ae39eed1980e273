// SPDX-License-Identifier: MIT
#include "config/random_source.h"
#include "store_fixture.h"

#include <cerrno>
#include <map>

using namespace varnel;
using namespace varnel::daemon;

namespace {

using Rows = std::vector<std::string>;

class LayerStoreTest : public StoreTest {
public:
    const LayerStore &user() { return layer("user"); }

    std::string find(const char *group, const char *name) {
        const Found found = user().find(group, name);
        const std::string from = found.backend != nullptr ? "@" + found.backend->name() : "";
        return found.result == 0 ? words_of(found.value.get()) + from : std::to_string(found.result) + from;
    }

    Page page(const PageRequest &request) { return user().list(request); }

    // "group:name=value@backend" of all pages of that size.
    Rows all(std::size_t most_rows, std::size_t most_bytes = 100000, bool values = true,
             const std::string &group = "") {
        Rows rows;
        PageRequest request{group, "", "", values, most_rows, most_bytes};
        while (rows.size() < 1000) {
            const Page next = page(request);
            EXPECT_EQ(next.result, 0);
            EXPECT_LE(next.rows.size(), most_rows);
            for (const Row &row : next.rows)
                rows.push_back(row.group + ":" + row.name +
                               (row.value != nullptr ? "=" + words_of(row.value.get()) : "") + "@" +
                               row.backend->name());
            if (!next.more)
                break;
            EXPECT_FALSE(next.rows.empty());
            if (next.rows.empty())
                break;
            request.after_group = next.rows.back().group;
            request.after_name = next.rows.back().name;
        }
        return rows;
    }
};

constexpr const char *kBackends[] = {"top", "main", "base"};

} // namespace

TEST_F(LayerStoreTest, KnowsWhereChangesGo) {
    EXPECT_EQ(user().writer(), 1U); // top is read-only
    EXPECT_EQ(layer("volatile").writer(), 0U);
    EXPECT_EQ(layer("fixed").writer(), std::nullopt);
    EXPECT_TRUE(layer("fixed").read_only());
    EXPECT_EQ(layer("factory").writer(), std::nullopt);
    EXPECT_FALSE(layer("factory").read_only());
}

TEST_F(LayerStoreTest, KnowsItsDurability) {
    EXPECT_EQ(user().durability(), 1);
    EXPECT_EQ(layer("volatile").durability(), 0);
    EXPECT_EQ(layer("factory").durability(), 1); // unless told otherwise
}

TEST_F(LayerStoreTest, TheHighestBackendThatHasAValueAnswers) {
    EXPECT_EQ(find("net", "port"), std::to_string(-ENOENT));
    put("user", "base", "net", "port", "1");
    EXPECT_EQ(find("net", "port"), "1@base");
    put("user", "main", "net", "port", "2");
    EXPECT_EQ(find("net", "port"), "2@main");
    put("user", "top", "net", "port", "3");
    EXPECT_EQ(find("net", "port"), "3@top");
}

TEST_F(LayerStoreTest, AFailingBackendIsNotPassedOver) {
    put("user", "base", "net", "port", "1");
    backend("user", "main").results["get"] = -EIO;
    EXPECT_EQ(find("net", "port"), std::to_string(-EIO) + "@main");
    put("user", "top", "net", "port", "3");
    EXPECT_EQ(find("net", "port"), "3@top"); // it need not be asked
}

TEST_F(LayerStoreTest, FindsGroupsInAnyBackend) {
    EXPECT_EQ(user().find_group("net"), -ENOENT);
    backend("user", "base").groups["net"];
    EXPECT_EQ(user().find_group("net"), 0);
    backend("user", "main").results["get net"] = -EIO;
    EXPECT_EQ(user().find_group("net"), -EIO);
}

TEST_F(LayerStoreTest, ListsWhatFindWouldAnswer) {
    put("user", "top", "net", "port", "3");
    put("user", "main", "net", "port", "2");
    put("user", "main", "net", "host", "h");
    put("user", "base", "net", "port", "1");
    put("user", "base", "net", "mask", "m");
    put("user", "base", "zone", "name", "z");
    backend("user", "main").groups["empty"];
    EXPECT_EQ(all(100), (Rows{"empty:@main", "net:@top", "net:host=h@main", "net:mask=m@base", "net:port=3@top",
                              "zone:@base", "zone:name=z@base"}));
    EXPECT_EQ(all(100, 100000, false), (Rows{"empty:@main", "net:@top", "net:host@main", "net:mask@base",
                                             "net:port@top", "zone:@base", "zone:name@base"}));
    EXPECT_EQ(all(100, 100000, true, "net"),
              (Rows{"net:@top", "net:host=h@main", "net:mask=m@base", "net:port=3@top"}));
}

TEST_F(LayerStoreTest, OneGroupIsNotFoundWhenNoBackendHasIt) {
    put("user", "base", "net", "port", "1");
    EXPECT_EQ(page({"none", "", "", true, 10, 1000}).result, -ENOENT);
    EXPECT_EQ(page({"net", "", "", true, 10, 1000}).result, 0);
    EXPECT_EQ(page({"", "", "", true, 10, 1000}).result, 0);
    backend("user", "base").groups.clear();
    EXPECT_EQ(page({"", "", "", true, 10, 1000}).result, 0); // an empty layer is no error
}

TEST_F(LayerStoreTest, AFailingBackendEndsAListing) {
    put("user", "top", "net", "port", "3");
    backend("user", "main").results["list"] = -EIO;
    const Page failed = page({"", "", "", true, 10, 1000});
    EXPECT_EQ(failed.result, -EIO);
    ASSERT_NE(failed.failed, nullptr);
    EXPECT_EQ(failed.failed->name(), "main");
}

TEST_F(LayerStoreTest, AFailureOutweighsAMissingGroup) {
    backend("user", "base").results["list"] = -ENODEV;
    EXPECT_EQ(page({"none", "", "", true, 10, 1000}).result, -ENODEV);
}

TEST_F(LayerStoreTest, ComparesBytesWithoutSign) {
    put("user", "main", "\xc3\xa4", "x", "1");
    put("user", "base", "z", "x", "2");
    put("user", "main", "z", "\xc3\xa4", "3");
    EXPECT_EQ(all(1), (Rows{"z:@main", "z:x=2@base", "z:\xc3\xa4=3@main", "\xc3\xa4:@main", "\xc3\xa4:x=1@main"}));
}

// All pages of every size together are the same rows, however values hide each other.
TEST_F(LayerStoreTest, EveryPageSizeGivesTheSameRows) {
    RandomSource random;
    for (int round = 0; round < 15; ++round) {
        std::map<std::pair<std::string, std::string>, std::string> expected;
        for (const char *const name : kBackends) {
            ScriptedBackend &source = backend("user", name);
            source.groups.clear();
            for (std::size_t n = random.below(25); n > 0; --n)
                put("user", name, random.text("abc", 1).c_str(), random.text("abcd", 1 + random.below(2)).c_str(),
                    random.text("xyz", random.below(40)).c_str());
            for (const auto &[group, values] : source.groups) {
                expected.try_emplace({group, ""}, std::string("@") + name);
                for (const auto &[key, value] : values)
                    expected.try_emplace({group, key}, "=" + words_of(value.get()) + "@" + name);
            }
        }
        Rows rows;
        for (const auto &[key, rest] : expected)
            rows.push_back(key.first + ":" + key.second + rest);
        for (std::size_t size = 1; size <= rows.size() + 1; ++size)
            ASSERT_EQ(all(size), rows) << size << " rows, " << random.seed();
        for (const std::size_t bytes : {1U, 33U, 60U, 100U, 200U, 500U, 5000U})
            ASSERT_EQ(all(1000, bytes), rows) << bytes << " bytes, " << random.seed();
    }
}

TEST_F(LayerStoreTest, APageKeepsToItsBytesButForOneRow) {
    for (const char *const name : {"a", "b", "c"})
        put("user", "main", "net", name, std::string(1000, 'x').c_str());
    const Page two = page({"net", "net", "", true, 100, 2200});
    EXPECT_EQ(two.rows.size(), 2U);
    EXPECT_TRUE(two.more);
    const Page one = page({"net", "net", "", true, 100, 10});
    EXPECT_EQ(one.rows.size(), 1U);
    EXPECT_TRUE(one.more);
}

// Large values that are hidden end the page of their backend early: nothing behind its end may be passed over.
TEST_F(LayerStoreTest, HiddenValuesDoNotHideTheRowsBehindThem) {
    const std::string large(1500, 'x');
    put("user", "base", "g", "n1", large.c_str());
    put("user", "base", "g", "n2", "2");
    put("user", "top", "g", "n1", "1");
    put("user", "top", "g", "z1", "3");
    put("user", "top", "g", "z2", large.c_str());
    put("user", "top", "g", "z3", "4");
    EXPECT_EQ(all(100, 1000),
              (Rows{"g:@top", "g:n1=1@top", "g:n2=2@base", "g:z1=3@top", "g:z2=" + large + "@top", "g:z3=4@top"}));
}
