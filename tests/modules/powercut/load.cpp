// SPDX-License-Identifier: MIT
#include "powercut/load.h"

#include "powercut/recorder.h"

#include <algorithm>
#include <cerrno>
#include <random>

namespace varnel::test {

namespace {

constexpr int kSessions = 3;
constexpr int kBatches = 8; // in each
constexpr int kMostChanges = 20;

class Load {
public:
    explicit Load(unsigned seed) : random_(seed) {}

    void session(const Settings &settings);
    [[nodiscard]] Recording result() const { return {folder_.folder(), recorder_.events(), batches_}; }

private:
    void change(const Store &store);
    void sync(const Store &store);
    [[nodiscard]] unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    [[nodiscard]] std::string letter() { return std::string(1, static_cast<char>('a' + below(5))); }
    [[nodiscard]] Value value();

    SqliteFolder folder_;
    Recorder recorder_{folder_.folder()};
    std::vector<Batch> batches_{{{}, 0, 0, DURABILITY_FOLDER}};
    std::mt19937 random_;
};

// Mostly small, now and then as large as many pages.
Value Load::value() {
    if (below(6) == 0)
        return make_string(std::string(below(120'000), static_cast<char>('a' + below(26))));
    return make_int32(static_cast<std::int32_t>(random_()));
}

void Load::change(const Store &store) {
    for (unsigned changes = 1 + below(kMostChanges); changes > 0; --changes) {
        const unsigned dice = below(20);
        const int result = dice == 0   ? store.unset(letter())
                           : dice == 1 ? store.create_group(letter())
                           : dice < 5  ? store.unset(letter(), letter() + letter())
                                       : store.set(letter(), letter() + letter(), value());
        EXPECT_TRUE(result == 0 || result == -ENOENT || result == -EEXIST) << result;
    }
}

void Load::sync(const Store &store) {
    Batch batch{*content_of(store), recorder_.events().size(), 0, 0};
    batch.result = store.sync(below(2) == 0 ? DURABILITY_FILE : DURABILITY_FOLDER);
    batch.end = recorder_.events().size();
    EXPECT_LE(DURABILITY_MEMORY, batch.result);
    batches_.push_back(std::move(batch));
}

// What is not synced in the end is written when the store is closed, as safely.
void Load::session(const Settings &settings) {
    Batch last;
    {
        const Storage storage = folder_.open(settings);
        EXPECT_EQ(batches_.back().content, content_of(storage.store()));
        for (int i = 0; i < kBatches; ++i) {
            change(storage.store());
            sync(storage.store());
        }
        change(storage.store());
        last = {*content_of(storage.store()), recorder_.events().size(), 0, batches_.back().result};
    }
    last.end = recorder_.events().size();
    batches_.push_back(std::move(last));
}

} // namespace

Recording run_load(const Settings &settings, unsigned seed) {
    Load load(seed);
    for (int i = 0; i < kSessions; ++i)
        load.session(settings);
    return load.result();
}

} // namespace varnel::test
