// SPDX-License-Identifier: MIT
// A backend copy behind BackendAccess, above all one that does not keep to the contract of module.h.
#include "store_fixture.h"

#include <cerrno>

using namespace varnel;
using namespace varnel::daemon;

namespace {

class BackendAccessTest : public StoreTest {
public:
    const BackendAccess &access() { return layer("volatile").backends().front(); }
    ScriptedBackend &script() { return backend("volatile", "main"); }

    // The value, or the result.
    std::string get(const char *group, const char *name) {
        Value value;
        const int result = access().get(KeyRef("volatile", group, name), value);
        EXPECT_EQ(result == 0, value != nullptr);
        return result == 0 ? words_of(value.get()) : std::to_string(result);
    }
    int has_group(const char *group) { return access().has_group(KeyRef("volatile", group, "")); }

    // "[group] name=value ...", or the result behind what was visited.
    std::string list(const char *group = nullptr) {
        std::string text;
        const std::string layer_name = "volatile";
        const std::string group_name = group != nullptr ? group : "";
        const KeyRef key(layer_name, group_name, std::string()); // keeps no copies
        const int result = access().list(group != nullptr ? &key : nullptr, [&](auto g, auto name, auto *value) {
            text += name.empty() ? "[" + std::string(g) + "] " : std::string(name) + "=" + words_of(value) + " ";
            return true;
        });
        return result == 0 ? text : text + std::to_string(result);
    }
    void answer_get(int result, xdata *value) {
        script().get = [=](xdata **found) {
            *found = value;
            return result;
        };
    }
    // Visits one entry with these parts.
    void list_one(const xkey *key, const xdata *value) {
        script().list = [=](module_visit_t visit, void *context) { return visit(context, key, value); };
    }
};

xdata *string_value(char *text, std::uint32_t length) {
    xdata *const value = xdata_char("");
    _xfree(value->value.s.str);
    value->value.s = {text, length};
    return value;
}

char *characters(std::size_t count, char last) {
    auto *const text = static_cast<char *>(xmalloc0(count));
    memset(text, 'x', count);
    text[count - 1] = last;
    return text;
}

constexpr int kMalformed = -EBADMSG;

} // namespace

TEST_F(BackendAccessTest, PassesCallsOn) {
    EXPECT_EQ(access().set(KeyRef("volatile", "net", "port"), *make_uint32(80)), 0);
    EXPECT_EQ(access().create_group(KeyRef("volatile", "disk", "")), 0);
    EXPECT_EQ(access().create_group(KeyRef("volatile", "disk", "")), -EEXIST);
    EXPECT_EQ(get("net", "port"), "80");
    EXPECT_EQ(get("net", "host"), std::to_string(-ENOENT));
    EXPECT_EQ(has_group("disk"), 0);
    EXPECT_EQ(has_group("none"), -ENOENT);
    EXPECT_EQ(list(), "[disk] [net] port=80 ");
    EXPECT_EQ(list("net"), "[net] port=80 ");
    EXPECT_EQ(list("none"), std::to_string(-ENOENT));
    EXPECT_EQ(access().unset(KeyRef("volatile", "net", "port")), 0);
    EXPECT_EQ(access().unset(KeyRef("volatile", "net", "")), 0);
    EXPECT_EQ(content("volatile", "main"), "[disk] ");
    EXPECT_EQ(access().sync(1), 2);
    EXPECT_EQ(script().calls, (std::vector<std::string>{"set net port", "set disk", "set disk", "unset net port",
                                                        "unset net", "sync 1"}));
}

TEST_F(BackendAccessTest, KnowsTheSettingsOfItsCopy) {
    const BackendAccess &top = layer("user").backends().front();
    EXPECT_EQ(top.name(), "top");
    EXPECT_EQ(top.library(), "scripted");
    EXPECT_EQ(top.priority(), 20);
    EXPECT_TRUE(top.read_only());
    EXPECT_EQ(access().name(), "main");
    EXPECT_FALSE(access().read_only());
}

TEST_F(BackendAccessTest, PassesNegativeResultsOn) {
    for (const char *const function : {"get", "set", "unset", "list", "sync"})
        script().results[function] = -EIO;
    EXPECT_EQ(get("net", "port"), std::to_string(-EIO));
    EXPECT_EQ(has_group("net"), -EIO);
    EXPECT_EQ(access().set(KeyRef("volatile", "net", "port"), *make_uint32(80)), -EIO);
    EXPECT_EQ(access().create_group(KeyRef("volatile", "net", "")), -EIO);
    EXPECT_EQ(access().unset(KeyRef("volatile", "net", "port")), -EIO);
    EXPECT_EQ(list(), std::to_string(-EIO));
    EXPECT_EQ(access().sync(2), -EIO);
}

TEST_F(BackendAccessTest, TakesPositiveResultsForNonsense) {
    for (const char *const function : {"get", "set", "unset", "list"})
        script().results[function] = 1;
    EXPECT_EQ(get("net", "port"), std::to_string(kMalformed));
    EXPECT_EQ(has_group("net"), kMalformed);
    EXPECT_EQ(access().set(KeyRef("volatile", "net", "port"), *make_uint32(80)), kMalformed);
    EXPECT_EQ(access().create_group(KeyRef("volatile", "net", "")), kMalformed);
    EXPECT_EQ(access().unset(KeyRef("volatile", "net", "port")), kMalformed);
    EXPECT_EQ(list(), std::to_string(kMalformed));
}

TEST_F(BackendAccessTest, TakesAClassThatIsNoneForNonsense) {
    script().results["sync"] = 3;
    EXPECT_EQ(access().sync(2), kMalformed);
    for (const int reached : {0, 1, 2}) {
        script().results["sync"] = reached;
        EXPECT_EQ(access().sync(2), reached);
    }
}

TEST_F(BackendAccessTest, RefusesSuccessWithoutAValue) {
    answer_get(0, nullptr);
    EXPECT_EQ(get("net", "port"), std::to_string(kMalformed));
    EXPECT_EQ(has_group("net"), 0); // for a group that is right
}

TEST_F(BackendAccessTest, ReleasesAValueInPlaceOfAGroup) {
    answer_get(0, xdata_char("not asked for"));
    EXPECT_EQ(has_group("net"), 0);
}

TEST_F(BackendAccessTest, RefusesValuesOfNoType) {
    for (const xdata_type type : {xdata_type{0}, xdata_type{XDATA_TYPE_END}, UINT32_MAX}) {
        xdata *const value = make_int32(5).release();
        value->type = type;
        answer_get(0, value);
        EXPECT_EQ(get("net", "port"), std::to_string(kMalformed)) << type;
    }
}

TEST_F(BackendAccessTest, RefusesStringsThatNoMessageTakes) {
    answer_get(0, string_value(nullptr, 4));
    EXPECT_EQ(get("net", "port"), std::to_string(kMalformed));
    answer_get(0, string_value(characters(4, 'x'), 4));
    EXPECT_EQ(get("net", "port"), std::to_string(kMalformed));
    answer_get(0, string_value(characters(65536, '\0'), 65536));
    EXPECT_EQ(get("net", "port"), std::to_string(kMalformed));
}

TEST_F(BackendAccessTest, TakesStringsUpToWhatAMessageTakes) {
    answer_get(0, string_value(characters(65535, '\0'), 65535));
    EXPECT_EQ(get("net", "port").size(), 65534U);
    answer_get(0, string_value(nullptr, 0));
    Value value;
    EXPECT_EQ(access().get(KeyRef("volatile", "net", "port"), value), 0);
    EXPECT_EQ(value->value.s.len, 0U);
}

TEST_F(BackendAccessTest, RefusesListingsThatMakeNoSense) {
    const Value number = make_int32(5);
    Value no_type = make_int32(5);
    no_type->type = XDATA_TYPE_END;
    const Key group(xkey_new("any", "net", nullptr));
    const Key value(xkey_new("any", "net", "port"));
    const Key layer_only(xkey_new("any", nullptr, nullptr));
    const Key empty_group(xkey_new("any", "", "port"));
    const struct {
        const char *what;
        const xkey *key;
        const xdata *value;
    } rows[] = {
        {"no key", nullptr, nullptr},
        {"no key, but a value", nullptr, number.get()},
        {"no group", layer_only.get(), nullptr},
        {"an empty group", empty_group.get(), number.get()},
        {"a group with a value", group.get(), number.get()},
        {"a name without a value", value.get(), nullptr},
        {"a value of no type", value.get(), no_type.get()},
    };
    for (const auto &row : rows) {
        list_one(row.key, row.value);
        EXPECT_EQ(list(), std::to_string(kMalformed)) << row.what;
    }
    list_one(value.get(), number.get());
    EXPECT_EQ(list(), "port=5 ");
}

// A module that goes on after a malformed entry, or hides it behind success.
TEST_F(BackendAccessTest, RemembersThatAListingWasMalformed) {
    const Key good(xkey_new("any", "net", nullptr));
    script().list = [&](module_visit_t visit, void *context) {
        visit(context, nullptr, nullptr);
        visit(context, good.get(), nullptr);
        return 0;
    };
    EXPECT_EQ(list().substr(list().size() - 3), std::to_string(kMalformed));
}

TEST_F(BackendAccessTest, EndsAListingWhenItsVisitorHasEnough) {
    put("volatile", "main", "net", "a", "1");
    put("volatile", "main", "net", "b", "2");
    int visited = 0;
    EXPECT_EQ(access().list(nullptr, [&](auto, auto, auto *) { return ++visited < 2; }), 0);
    EXPECT_EQ(visited, 2);
}

TEST_F(BackendAccessTest, GivesEmptyPartsOfAKeyAsAbsent) {
    const std::string layer_name = "volatile";
    const std::string group = "net";
    const KeyRef key(layer_name, group, std::string());
    EXPECT_STREQ(key.get()->layer.str, "volatile");
    EXPECT_EQ(key.get()->layer.len, 9U);
    EXPECT_STREQ(key.get()->group.str, "net");
    EXPECT_EQ(key.get()->name.str, nullptr);
}
