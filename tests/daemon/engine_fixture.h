// SPDX-License-Identifier: MIT
// An engine with clients that record what they are told, in words.
#pragma once

#include "store_fixture.h"

#include "daemon/engine.h"

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <utility>

using varnel::protocol::Message;
using varnel::protocol::Received;

// "ok a 1 b" or "busy: locked by ..." of an answer. Empty strings are ''.
inline std::string answer_words(const Received &answer) {
    const std::uint32_t status = answer.uint32(0);
    std::string text = varnel::protocol::status_name(status);
    if (status != 0)
        return answer.size() == 2 ? text + ": " + std::string(answer.text(1)) : "a malformed refusal";
    for (std::size_t i = 1; i < answer.size(); ++i)
        text += " " + words_of(&answer.at(i));
    return text;
}

// "3 changed net:port 1>2", "4 created net", "5 removed net", "9 lost".
inline std::string event_words(const Received &event, std::size_t first = 0) {
    const std::uint32_t flags = event.uint32(first + 1);
    const std::string group(event.text(first + 3));
    std::string text = std::to_string(event.uint64(first)) + " ";
    if (flags == varnel::protocol::kEventLost)
        return text + "lost";
    if (flags == varnel::protocol::kEventGroupCreated)
        return text + "created " + group;
    if (flags == varnel::protocol::kEventGroupRemoved)
        return text + "removed " + group;
    const std::string old_value =
        (flags & varnel::protocol::kEventHadValue) != 0 ? words_of(&event.at(first + 5)) : "-";
    const std::string new_value =
        (flags & varnel::protocol::kEventHasValue) != 0 ? words_of(&event.at(first + 6)) : "-";
    return text + "changed " + group + ":" + std::string(event.text(first + 4)) + " " + old_value + ">" + new_value;
}

class FakeSession final : public varnel::daemon::Session {
public:
    explicit FakeSession(varnel::daemon::ConnectionNumber number)
        : Session(number, "client " + std::to_string(number)) {}

    void answer(std::uint32_t request, const Message &message) override {
        varnel::protocol::Bytes bytes = message.encode();
        const Received received(bytes);
        EXPECT_EQ(answers.count(request), 0U) << "a second answer to " << request;
        answers[request] = answer_words(received);
        codes[request] = received.code();
        log += "#" + std::to_string(request) + " ";
    }
    void wake() override {
        if (is_short_of_memory)
            throw std::bad_alloc();
        log += "woken ";
        ++wakes;
    }

    std::map<std::uint32_t, std::string> answers;
    std::map<std::uint32_t, std::uint32_t> codes;
    std::string log; // in which order it was told what
    int wakes = 0;
    bool is_short_of_memory = false; // for news
    std::uint32_t last_id = 0;
};

struct RowText {
    const char *group;
    const char *name;
    const char *value;
};

class EngineTest : public StoreTest {
public:
    varnel::daemon::Engine &engine() {
        if (engine_ == nullptr)
            engine_ = std::make_unique<varnel::daemon::Engine>(
                store(), limits, first_revision, [this] { return now; },
                [this](std::uint64_t revision) { on_revising(revision); });
        return *engine_;
    }
    FakeSession &client(varnel::daemon::ConnectionNumber number = 1) {
        auto &session = clients_[number];
        if (session == nullptr) {
            session = std::make_unique<FakeSession>(number);
            engine().add(*session);
        }
        return *session;
    }
    void leave(varnel::daemon::ConnectionNumber number) {
        engine().remove(client(number));
        clients_.erase(number);
    }

    // Sends a request; its answer may come later.
    std::uint32_t send(FakeSession &from, const Message &message) {
        varnel::protocol::Bytes bytes = message.encode();
        const std::uint32_t id = ++from.last_id;
        engine().handle(from, id, bytes);
        return id;
    }
    std::uint32_t send(const Message &message) { return send(client(), message); }

    // The answer so far.
    static std::string answer(const FakeSession &to, std::uint32_t id) {
        const auto found = to.answers.find(id);
        return found != to.answers.end() ? found->second : "none";
    }
    std::string answer(std::uint32_t id) { return answer(client(), id); }

    // The answer, at the end of the turn.
    std::string ask(FakeSession &from, const Message &message) {
        const std::uint32_t id = send(from, message);
        engine().commit();
        if (from.codes.count(id) != 0) {
            EXPECT_EQ(from.codes[id], message.code());
        }
        return answer(from, id);
    }
    std::string ask(const Message &message) { return ask(client(), message); }

    // The events that wait for a client.
    std::string events(FakeSession &of) {
        std::string text;
        while (std::optional<varnel::protocol::Bytes> bytes = of.take_event(engine().revision()))
            text += event_words(Received(*bytes)) + "; ";
        return text;
    }

    static Message request(std::uint32_t code, std::initializer_list<const char *> texts = {}) {
        Message message(code);
        for (const char *const text : texts)
            message.add(text);
        return message;
    }
    static Message group_request(std::uint32_t code, const char *layer_name, const char *group,
                                 std::uint32_t durability = 0) {
        Message message = request(code, {layer_name, group});
        message.add(durability);
        return message;
    }
    static Message set_request(const char *layer_name, std::initializer_list<RowText> rows,
                               std::uint32_t durability = 0, std::uint32_t flags = 0) {
        Message message(control_set);
        message.add(layer_name).add(durability).add(flags);
        for (const RowText &row : rows)
            message.add(row.group).add(row.name).add(row.value);
        return message;
    }
    static Message unset_request(const char *layer_name, std::initializer_list<RowText> rows,
                                 std::uint32_t durability = 0, std::uint32_t flags = 0) {
        Message message(control_unset);
        message.add(layer_name).add(durability).add(flags);
        for (const RowText &row : rows)
            message.add(row.group).add(row.name);
        return message;
    }
    static Message get_request(const char *layer_name, const char *group, const char *name) {
        return request(control_get, {layer_name, group, name});
    }
    static Message from_request(std::uint32_t code, const char *layer_name, const char *group, const char *name,
                                std::uint64_t from) {
        Message message = request(code, {layer_name, group, name});
        message.add(from);
        return message;
    }
    static Message notify_request(const char *layer_name, const char *group = "", const char *name = "",
                                  std::uint64_t from = varnel::protocol::kFromNow) {
        return from_request(control_notify, layer_name, group, name, from);
    }
    static Message lock_request(const char *group, const char *name = "", std::uint32_t wait = 0) {
        Message message = request(control_lock, {"user", group, name});
        message.add(wait);
        return message;
    }
    static Message trylock_request(const char *group, const char *name = "") {
        return request(control_trylock, {"user", group, name});
    }
    static Message unlock_request(const char *group, const char *name = "") {
        return request(control_unlock, {"user", group, name});
    }

    // Calls of a backend copy since the last look, each followed by a comma.
    std::string calls(const char *layer_name = "user", const char *backend_name = "main") {
        std::string text;
        for (const std::string &call : std::exchange(backend(layer_name, backend_name).calls, {}))
            text += call + ", ";
        return text;
    }
    std::uint64_t statistic(const char *name) {
        for (const varnel::daemon::StatisticsRow &row : varnel::daemon::kStatistics) {
            if (std::string_view(row.name) == name)
                return engine().statistics().*row.counter;
        }
        ADD_FAILURE() << "no counter " << name;
        return 0;
    }

    std::uint64_t now = 1000;
    std::uint64_t first_revision = 0;
    varnel::daemon::Limits limits;
    std::function<void(std::uint64_t)> on_revising = [](std::uint64_t) {};

private:
    std::unique_ptr<varnel::daemon::Engine> engine_;
    std::map<varnel::daemon::ConnectionNumber, std::unique_ptr<FakeSession>> clients_;
};
