// SPDX-License-Identifier: MIT
// Random and damaged requests from several clients: each is answered once, or waits for a lock; nothing else happens.
#include "config/random_source.h"
#include "engine_fixture.h"

#include <cerrno>

using namespace varnel;

namespace {

class EngineHostile : public EngineTest {
public:
    RandomSource random;

    Value any_value() {
        switch (random.below(5)) {
        case 0:
            return make_uint32(static_cast<std::uint32_t>(random.below(9)));
        case 1:
            return make_uint64(random.below(40));
        case 2:
            return make_boolean(random.percent(50));
        case 3:
            return make_string(random.text("abc\xc3\xa4: \t", random.below(6)));
        default:
            return make_string(random.text("ab", random.below(3)));
        }
    }

    // Parameters that are mostly those of the code.
    Message any_request() {
        const auto code = static_cast<std::uint32_t>(1 + random.below(16));
        Message message(code);
        const char *const shapes[] = {"",     "lnu", "lnu",  "luunnsnns", "lnn", "luunn", "lnnU", "lnn", "leee",
                                      "leee", "lnn", "leeU", "l",         "lnn", "lnnu",  "lnn",  "o"};
        for (const char *kind = shapes[code]; *kind != '\0'; ++kind) {
            if (random.percent(3))
                message.add(any_value());
            else if (*kind == 'l')
                message.add(random.percent(70) ? "volatile" : random.percent(80) ? "user" : "fixed");
            else if (*kind == 'n' || *kind == 'e' || *kind == 's')
                message.add(random.text("ab", random.percent(10) ? 0 : 1));
            else if (*kind == 'u')
                message.add(static_cast<std::uint32_t>(random.below(8)));
            else if (*kind == 'U')
                message.add(static_cast<std::uint64_t>(random.below(50)));
            else
                message.add(random.percent(50) ? "statistics" : "limits");
        }
        if (random.percent(3))
            message.add(any_value());
        return message;
    }
};

} // namespace

TEST_F(EngineHostile, AnswersEveryRequestOnceAndKeepsItsStore) {
    for (const char *const layer_name : {"user", "volatile"}) {
        for (const char *const call : {"set a b", "unset b a"})
            backend(layer_name, "main").results[call] = -EIO;
    }
    std::map<std::string, std::size_t> statuses;
    const auto count = [&](const FakeSession &of) {
        for (const auto &[id, words] : of.answers)
            ++statuses[words.substr(0, words.find_first_of(": "))];
    };
    daemon::ConnectionNumber numbers[] = {1, 2, 3, 4};
    daemon::ConnectionNumber last_number = 4;
    for (int turn = 0; turn < 4000; ++turn) {
        daemon::ConnectionNumber &number = numbers[random.below(std::size(numbers))];
        FakeSession &from = client(number);
        protocol::Bytes bytes = any_request().encode();
        if (random.percent(10))
            bytes[random.below(bytes.size())] ^= static_cast<std::uint8_t>(1U << random.below(8));
        if (random.percent(2))
            bytes.resize(random.below(bytes.size()));
        const std::uint32_t id = ++from.last_id;
        engine().handle(from, id, bytes);
        if (random.percent(40))
            engine().commit();
        if (random.percent(10)) {
            now += 100;
            engine().expire_waits();
        }
        if (random.percent(5))
            engine().flush();
        if (random.percent(1)) {
            count(from);
            leave(number);
            number = ++last_number; // none comes twice
        } else if (random.percent(20))
            events(from);
    }
    engine().commit();
    now += 1000000;
    engine().expire_waits();
    for (const daemon::ConnectionNumber number : numbers) {
        EXPECT_EQ(client(number).answers.size(), client(number).last_id) << random.seed();
        count(client(number));
    }
    EXPECT_GT(statuses["ok"], 100U) << random.seed();
    EXPECT_GT(statuses["invalid"], 10U) << random.seed();
    EXPECT_EQ(engine().revision(), statistic("changes"));
}
