// SPDX-License-Identifier: MIT
// get, list, list_keys, status, other.
#include "engine_fixture.h"

#include <cerrno>

using namespace varnel;

namespace {

class EngineRead : public EngineTest {};

} // namespace

TEST_F(EngineRead, GetAnswersWithTheValueAndWhereItIs) {
    put("user", "base", "net", "port", "8080");
    EXPECT_EQ(ask(get_request("", "net", "port")), "ok 8080 user base");
    put("user", "main", "net", "port", "80");
    EXPECT_EQ(ask(get_request("default", "net", "port")), "ok 80 user main");
}

TEST_F(EngineRead, GetKeepsTypes) {
    backend("user", "main").groups["net"]["up"] = make_boolean(true);
    const std::uint32_t id = send(get_request("", "net", "up"));
    EXPECT_EQ(answer(id), "ok true user main");
}

TEST_F(EngineRead, GetOfNothingIsNotFound) {
    EXPECT_EQ(ask(get_request("user", "net", "port")), "not_found: user:net:port is not there");
    EXPECT_EQ(ask(get_request("volatile", "net", "port")), "not_found: volatile:net:port is not there");
}

TEST_F(EngineRead, AFailingBackendIsNeverADefaultInPlaceOfAValue) {
    put("user", "base", "net", "port", "8080");
    backend("user", "main").results["get"] = -EIO;
    EXPECT_EQ(ask(get_request("", "net", "port")), "io_error: backend main: Input/output error");
    backend("user", "main").results["get"] = -ENODEV;
    EXPECT_EQ(ask(get_request("", "net", "port")), "unavailable: backend main: No such device");
}

TEST_F(EngineRead, ListHasTheRowsOfAllBackends) {
    put("user", "main", "net", "port", "80");
    put("user", "base", "net", "host", "h");
    EXPECT_EQ(ask(request(control_list, {"", "", "", ""})),
              "ok user 0 net '' '' main net host h base net port 80 main");
    EXPECT_EQ(ask(request(control_list_keys, {"", "", "", ""})), "ok user 0 net '' net host net port");
    EXPECT_EQ(ask(request(control_list_keys, {"", "net", "net", "host"})), "ok user 0 net port");
    EXPECT_EQ(ask(request(control_list, {"", "disk", "", ""})), "not_found: user:disk is not there");
    EXPECT_EQ(ask(request(control_list, {"volatile", "", "", ""})), "ok volatile 0");
}

TEST_F(EngineRead, ListOfAFailingBackendFails) {
    backend("user", "base").results["list"] = -EIO;
    EXPECT_EQ(ask(request(control_list, {"", "", "", ""})), "io_error: backend base: Input/output error");
}

TEST_F(EngineRead, PagesCoverAllRowsWithinTheLimitsOfAMessage) {
    for (int i = 0; i < 3000; ++i)
        backend("user", "main").groups["g" + std::to_string(i % 10)]["n" + std::to_string(i)] = make_int32(i);
    for (const std::uint32_t code : {control_list, control_list_keys}) {
        const std::size_t width = code == control_list ? 4 : 2;
        std::string group;
        std::string name;
        std::size_t rows = 0;
        for (bool more = true; more;) {
            Message message(code);
            message.add("user").add("").add(group).add(name);
            protocol::Bytes answered;
            struct Catcher final : daemon::Session {
                explicit Catcher(protocol::Bytes &to) : Session(77, "catcher"), bytes(to) {}
                void answer(std::uint32_t, const Message &reply) override { bytes = reply.encode(); }
                void wake() override {}
                protocol::Bytes &bytes;
            } catcher(answered);
            protocol::Bytes bytes = message.encode();
            engine().handle(catcher, 1, bytes);
            const Received page(answered);
            more = page.uint32(2) == 1;
            ASSERT_GT(page.size(), 3U);
            rows += (page.size() - 3) / width;
            group = page.text(page.size() - width);
            name = page.text(page.size() - width + 1);
        }
        EXPECT_EQ(rows, 3010U) << control_string(code);
    }
}

TEST_F(EngineRead, StatusListsEveryBackend) {
    first_revision = 41;
    EXPECT_EQ(ask(set_request("volatile", {{"a", "b", "c"}})), "ok volatile main 0 43 1");
    const std::string words = ask(request(control_status));
    EXPECT_EQ(words.substr(0, words.find(" user top")), "ok 43 user");
    EXPECT_NE(words.find(" user top scripted 20 17 1 ''"), std::string::npos) << words;
    EXPECT_NE(words.find(" user main scripted 10 20 1 ''"), std::string::npos) << words;
    EXPECT_NE(words.find(" user base scripted 0 17 1 ''"), std::string::npos) << words;
    EXPECT_NE(words.find(" volatile main scripted 10 4 0 ''"), std::string::npos) << words;
    EXPECT_NE(words.find(" fixed main scripted 10 2 1 ''"), std::string::npos) << words;
    EXPECT_NE(words.find(" factory base scripted 0 1 1 ''"), std::string::npos) << words;
}

TEST_F(EngineRead, StatusTellsWhatFails) {
    backend("user", "base").results["sync"] = -ENODEV;
    backend("volatile", "main").results["sync"] = -ENOSPC;
    const std::string words = ask(request(control_status));
    EXPECT_NE(words.find(" user base scripted 0 25 1 No such device"), std::string::npos) << words;
    EXPECT_NE(words.find(" volatile main scripted 10 12 0 No space left on device"), std::string::npos) << words;
}

TEST_F(EngineRead, StatusOfAKeyTellsWhoHasIt) {
    put("user", "main", "net", "port", "80");
    put("user", "base", "net", "port", "8080");
    put("factory", "base", "net", "port", "1");
    const std::string words = ask(request(control_status, {"", "net", "port"}));
    EXPECT_EQ(words.find("ok user '' user top 16 '' user main 11 80 user base 21 8080"), 0U) << words;
    EXPECT_NE(words.find(" volatile main 8 ''"), std::string::npos) << words;
    EXPECT_NE(words.find(" fixed main 16 ''"), std::string::npos) << words;
    EXPECT_NE(words.find(" factory base 19 1"), std::string::npos) << words;
}

TEST_F(EngineRead, StatusOfAKeyBeginsWithItsLayer) {
    put("volatile", "main", "net", "port", "80");
    const std::string words = ask(request(control_status, {"volatile", "net", "port"}));
    EXPECT_EQ(words.find("ok volatile '' volatile main 11 80 user top"), 0U) << words;
}

// get answers with the failure, so nothing below it wins.
TEST_F(EngineRead, StatusOfAKeyTellsWhatFails) {
    put("user", "base", "net", "port", "8080");
    backend("user", "main").results["get"] = -EIO;
    const std::string words = ask(request(control_status, {"", "net", "port"}));
    EXPECT_EQ(words.find("ok user '' user top 16 '' user main 40 '' user base 21 8080"), 0U) << words;
}

TEST_F(EngineRead, StatusOfAKeyNamesTheHolderOfItsLock) {
    ask(client(2), trylock_request("net"));
    EXPECT_EQ(ask(request(control_status, {"", "net", "port"})).find("ok user client 2 user top"), 0U);
    EXPECT_EQ(ask(request(control_status, {"", "disk", "size"})).find("ok user '' user top"), 0U);
    EXPECT_EQ(ask(request(control_status, {"volatile", "net", "port"})).find("ok volatile '' "), 0U);
}

TEST_F(EngineRead, StatusOfAGroupAloneIsInvalid) {
    EXPECT_EQ(ask(request(control_status, {"", "net"})), "invalid: control_status has 3 parameters, not 2");
    EXPECT_EQ(ask(request(control_status, {""})).substr(0, 8), "invalid:");
}

TEST_F(EngineRead, OtherTellsTheVersion) {
    EXPECT_EQ(ask(request(control_other, {"version"})), std::string("ok ") + VARNEL_VERSION + " 1");
}

TEST_F(EngineRead, OtherTellsTheLimits) {
    EXPECT_EQ(limits.set("locks", "7"), std::nullopt);
    const std::string words = ask(request(control_other, {"limits"}));
    EXPECT_EQ(words.find("ok clients 256 message_bytes 262144 "), 0U) << words;
    EXPECT_NE(words.find(" locks 7 "), std::string::npos);
    for (const protocol::LimitRow &row : protocol::kLimits)
        EXPECT_NE((words + " ").find(std::string(" ") + row.name + " "), std::string::npos) << row.name;
}

TEST_F(EngineRead, OtherTellsTheStatistics) {
    ask(set_request("volatile", {{"a", "b", "c"}}));
    const std::string words = ask(request(control_other, {"statistics"}));
    EXPECT_NE(words.find(" requests 2 refusals 0 changes 2 "), std::string::npos) << words;
}

TEST_F(EngineRead, OtherSubjectsAreUnsupported) {
    EXPECT_EQ(ask(request(control_other, {"weather"})),
              "unsupported: other knows of \"version\", \"statistics\" and \"limits\"");
    EXPECT_EQ(ask(request(control_other, {""})).substr(0, 12), "unsupported:");
}

// A layer of more backends than the rows of one answer.
TEST_F(EngineRead, AnAnswerThatIsTooLargeIsRefused) {
    std::string configuration = "backends = {\n";
    for (int i = 0; i < 1100; ++i)
        configuration += "b" + std::to_string(i) + " = {\n library = scripted\n }\n";
    configuration += "}\nlayers = {\n user = {\n";
    for (int i = 0; i < 1100; ++i)
        configuration += "b" + std::to_string(i) + " = {\n }\n";
    build((configuration + "}\n}\n").c_str());
    EXPECT_EQ(ask(request(control_status)), "too_large: an answer of more than 4096 parameters");
    EXPECT_EQ(ask(request(control_status, {"", "a", "b"})), "too_large: an answer of more than 4096 parameters");
    EXPECT_EQ(ask(get_request("", "a", "b")), "not_found: user:a:b is not there");
}

// Whoever takes his answers one by one must get each of them.
TEST_F(EngineRead, AnAnswerIsNoLargerThanTheQueue) {
    EXPECT_EQ(limits.set("queue_bytes", "133120"), std::nullopt);
    const std::string value(60000, 'x');
    for (const char *const name : {"top", "main"})
        put("user", name, "net", "port", value.c_str());
    EXPECT_EQ(ask(request(control_status, {"", "net", "port"})).substr(0, 3), "ok ");
    put("user", "base", "net", "port", value.c_str());
    EXPECT_EQ(ask(request(control_status, {"", "net", "port"})).substr(0, 20), "too_large: an answer");
    EXPECT_EQ(ask(get_request("", "net", "port")).substr(0, 3), "ok ");
}

TEST_F(EngineRead, APageIsNoLargerThanItMayBeHoweverLongTheNamesAre) {
    const std::string name(200, 'b');
    build(
        ("backends = {\n" + name + " = {\nlibrary = scripted\n}\n}\nlayers = {\nuser = {\n" + name + " = {\n}\n}\n}\n")
            .c_str());
    for (int i = 0; i < 1000; ++i)
        put("user", name.c_str(), "g", std::to_string(i).c_str(), "1");
    const std::string words = ask(request(control_list, {"", "", "", ""}));
    EXPECT_EQ(words.substr(0, 9), "ok user 1");
    EXPECT_LT(words.size(), protocol::kPageBytes);
    EXPECT_GT(words.size(), protocol::kPageBytes / 2);
}
