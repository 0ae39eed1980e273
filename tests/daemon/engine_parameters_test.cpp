// SPDX-License-Identifier: MIT
// Requests that are refused for what they are made of: each code, each parameter.
#include "engine_fixture.h"

using namespace varnel;

namespace {

// What a good request of each code is made of: t layer, k key part, o key part that may be empty, u uint32, U uint64.
struct Shape {
    std::uint32_t code;
    const char *parameters;
};
constexpr Shape kShapes[] = {
    {control_create_group, "tku"}, {control_remove_group, "tku"}, {control_set, "tuukkv"},   {control_get, "tkk"},
    {control_unset, "tuukk"},      {control_notify, "tooU"},      {control_unnotify, "too"}, {control_list, "tooo"},
    {control_list_keys, "tooo"},   {control_status, "tkk"},       {control_changed, "tooU"}, {control_sync, "t"},
    {control_trylock, "tko"},      {control_lock, "tkou"},        {control_unlock, "tko"},
};

void add_good(Message &message, char kind, std::size_t index) {
    if (kind == 't')
        message.add("user");
    else if (kind == 'u')
        message.add(std::uint32_t{0});
    else if (kind == 'U')
        message.add(std::uint64_t{0});
    else
        message.add(index % 2 == 0 ? "a" : "b");
}

// A request of that shape, but for one parameter, which add makes.
Message but_for(const Shape &shape, std::size_t special, const std::function<void(Message &)> &add) {
    Message message(shape.code);
    for (std::size_t i = 0; shape.parameters[i] != '\0'; ++i) {
        if (i == special)
            add(message);
        else
            add_good(message, shape.parameters[i], i);
    }
    return message;
}

class EngineParameters : public EngineTest {
public:
    std::string status(const Message &message) {
        const std::string words = ask(message);
        return words.substr(0, words.find_first_of(": "));
    }
};

} // namespace

TEST_F(EngineParameters, AGoodRequestOfEveryCodeIsNotInvalid) {
    for (const Shape &shape : kShapes)
        EXPECT_NE(status(but_for(shape, SIZE_MAX, {})), "invalid") << control_string(shape.code);
}

TEST_F(EngineParameters, AnotherTypeIsInvalid) {
    for (const Shape &shape : kShapes) {
        for (std::size_t i = 0; shape.parameters[i] != '\0'; ++i) {
            if (shape.parameters[i] != 'v') {
                EXPECT_EQ(status(but_for(shape, i, [](Message &message) { message.add(make_int32(0)); })), "invalid")
                    << control_string(shape.code) << " " << i;
            }
        }
    }
}

TEST_F(EngineParameters, AMissingParameterIsInvalid) {
    for (const Shape &shape : kShapes) {
        for (std::size_t i = 0; shape.parameters[i] != '\0'; ++i) {
            const bool whole = shape.parameters[i + 1] == '\0' && i == 0; // sync, which needs none
            EXPECT_EQ(status(but_for(shape, i, [](Message &) {})), whole ? "ok" : "invalid")
                << control_string(shape.code) << " " << i;
        }
    }
}

TEST_F(EngineParameters, OneParameterMoreIsInvalid) {
    for (const Shape &shape : kShapes) {
        Message message = but_for(shape, SIZE_MAX, {});
        message.add("more");
        EXPECT_EQ(status(message), "invalid") << control_string(shape.code);
    }
    EXPECT_EQ(ask(request(control_other, {"version", "more"})), "invalid: control_other has 1 parameters, not 2");
    EXPECT_EQ(ask(request(control_other)), "invalid: control_other has 1 parameters, not 0");
}

TEST_F(EngineParameters, KeyPartsThatAreNoneAreInvalid) {
    for (const Shape &shape : kShapes) {
        for (std::size_t i = 0; shape.parameters[i] != '\0'; ++i) {
            const char kind = shape.parameters[i];
            if (kind != 'k' && kind != 'o' && kind != 't')
                continue;
            for (const std::string &part : {std::string("a:b"), std::string(256, 'x'), std::string("\xff")})
                EXPECT_EQ(status(but_for(shape, i, [&](Message &message) { message.add(part); })), "invalid")
                    << control_string(shape.code) << " " << i << " " << part;
            if (kind == 'k') {
                EXPECT_EQ(status(but_for(shape, i, [](Message &message) { message.add(""); })), "invalid")
                    << control_string(shape.code) << " " << i;
            }
        }
    }
}

TEST_F(EngineParameters, AnUnknownLayerIsToldByName) {
    for (const Shape &shape : kShapes)
        EXPECT_EQ(ask(but_for(shape, 0, [](Message &message) { message.add("none"); })),
                  "unknown_layer: there is no layer none")
            << control_string(shape.code);
}

TEST_F(EngineParameters, AnEmptyLayerIsTheDefaultLayer) {
    for (const char *const name : {"", "default", "user"}) {
        EXPECT_EQ(ask(request(control_list, {name, "", "", ""})), "ok user 0");
        EXPECT_EQ(ask(request(control_unlock, {name, "g", ""})), "not_held: there is no such lock of this connection");
    }
}

TEST_F(EngineParameters, ADurabilityThatIsNoneIsInvalid) {
    EXPECT_EQ(ask(group_request(control_create_group, "user", "net", 3)), "invalid: durability 3 is none of 0, 1, 2");
    EXPECT_EQ(ask(group_request(control_remove_group, "user", "net", 3)), "invalid: durability 3 is none of 0, 1, 2");
    EXPECT_EQ(ask(set_request("user", {{"a", "b", "c"}}, 3)), "invalid: durability 3 is none of 0, 1, 2");
    EXPECT_EQ(ask(unset_request("user", {{"a", "b", ""}}, 3)), "invalid: durability 3 is none of 0, 1, 2");
}

TEST_F(EngineParameters, FlagsThatAWriteDoesNotHaveAreInvalid) {
    EXPECT_EQ(ask(set_request("user", {{"a", "b", "c"}}, 0, 8)), "invalid: flags that this request does not have");
    EXPECT_EQ(ask(unset_request("user", {{"a", "b", ""}}, 0, 2)), "invalid: flags that this request does not have");
    EXPECT_EQ(ask(unset_request("user", {{"a", "b", ""}}, 0, 0x80000000)),
              "invalid: flags that this request does not have");
}

TEST_F(EngineParameters, AWriteHasRowsAndWholeOnes) {
    EXPECT_EQ(ask(set_request("user", {})), "invalid: control_set without a row");
    EXPECT_EQ(ask(unset_request("user", {})), "invalid: control_unset without a row");
    Message half = set_request("user", {{"a", "b", "c"}});
    half.add("d");
    EXPECT_EQ(ask(half), "invalid: control_set: 7 parameters are no whole rows");
    Message odd = unset_request("user", {{"a", "b", ""}});
    odd.add("d");
    EXPECT_EQ(ask(odd), "invalid: control_unset: 6 parameters are no whole rows");
}

TEST_F(EngineParameters, ALockIsOnAGroupOrAValue) {
    EXPECT_EQ(ask(trylock_request("")), "invalid: a lock is on a group or on a value in one");
    EXPECT_EQ(ask(lock_request("")), "invalid: a lock is on a group or on a value in one");
    EXPECT_EQ(ask(unlock_request("")), "invalid: a lock is on a group or on a value in one");
}

TEST_F(EngineParameters, ANameIsInAGroup) {
    for (const std::uint32_t code : {control_notify, control_changed})
        EXPECT_EQ(ask(from_request(code, "user", "", "port", 0)),
                  "invalid: " + std::string(control_string(code)) + ": a name without a group");
    EXPECT_EQ(ask(request(control_unnotify, {"user", "", "port"})),
              "invalid: control_unnotify: a name without a group");
}

TEST_F(EngineParameters, BytesThatAreNoMessageAreInvalid) {
    protocol::Bytes bytes = {'n', 'o', 'n', 'e'};
    engine().handle(client(), 5, bytes);
    EXPECT_EQ(answer(5), "invalid: a message of 4 bytes announces another length");
    EXPECT_EQ(client().codes[5], std::uint32_t{control_other});
    protocol::Bytes none;
    engine().handle(client(), 6, none);
    EXPECT_EQ(answer(6), "invalid: bytes that are no control message");
}

TEST_F(EngineParameters, AMalformedMessageIsAnsweredUnderItsCode) {
    protocol::Bytes bytes = get_request("user", "net", "port").encode();
    bytes.pop_back();
    engine().handle(client(), 5, bytes);
    EXPECT_EQ(answer(5).substr(0, 8), "invalid:");
    EXPECT_EQ(client().codes[5], std::uint32_t{control_get});
    protocol::Bytes unknown = get_request("user", "net", "port").encode();
    unknown[3] = 99;
    engine().handle(client(), 6, unknown);
    EXPECT_EQ(answer(6), "invalid: bytes that are no control message");
    EXPECT_EQ(client().codes[6], std::uint32_t{control_other});
}

TEST_F(EngineParameters, AMessageOverTheLimitIsTooLarge) {
    EXPECT_EQ(limits.set("message_bytes", "1024"), std::nullopt);
    const std::string value(1100, 'x');
    EXPECT_EQ(ask(set_request("user", {{"a", "b", value.c_str()}})), "too_large: a message of 1154 bytes");
    EXPECT_EQ(content("user", "main"), "");
    EXPECT_EQ(statistic("refusals"), 1U);
}

TEST_F(EngineParameters, ParametersOverTheLimitAreTooLarge) {
    EXPECT_EQ(limits.set("parameters", "16"), std::nullopt);
    Message message(control_get);
    for (std::uint32_t i = 0; i < 17; ++i)
        message.add(i);
    EXPECT_EQ(ask(message), "too_large: a message of 17 parameters");
}

TEST_F(EngineParameters, AValueOverTheLimitIsTooLarge) {
    EXPECT_EQ(limits.set("value_bytes", "64"), std::nullopt);
    EXPECT_EQ(ask(set_request("user", {{"a", "b", std::string(63, 'x').c_str()}})).substr(0, 3), "ok ");
    EXPECT_EQ(ask(set_request("user", {{"a", "c", std::string(64, 'x').c_str()}})), "too_large: a value of 65 bytes");
}

TEST_F(EngineParameters, MoreRequestsThanAllowedAreTooFast) {
    EXPECT_EQ(limits.set("rate", "3"), std::nullopt);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(ask(request(control_list, {"", "", "", ""})), "ok user 0");
    EXPECT_EQ(ask(request(control_list, {"", "", "", ""})), "too_fast: too many requests in this second");
    EXPECT_EQ(ask(client(2), request(control_list, {"", "", "", ""})), "ok user 0");
    now += 1000;
    EXPECT_EQ(ask(request(control_list, {"", "", "", ""})), "ok user 0");
}

TEST_F(EngineParameters, EveryRequestIsCounted) {
    ask(request(control_list, {"", "", "", ""}));
    ask(get_request("", "a", "b"));
    EXPECT_EQ(statistic("requests"), 2U);
    EXPECT_EQ(statistic("refusals"), 1U);
}
