// SPDX-License-Identifier: MIT
// Random numbers of the randomized tests: another sequence in every run, unless VARNEL_TEST_SEED asks for a given one.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>

class RandomSource {
public:
    RandomSource() : seed_(chosen_seed()), engine_(seed_) {}

    // To be shown with a failure.
    std::string seed() const { return "VARNEL_TEST_SEED=" + std::to_string(seed_); }

    // 0 to bound - 1.
    size_t below(size_t bound) { return engine_() % bound; }
    bool percent(size_t chance) { return below(100) < chance; }
    char from(std::string_view characters) { return characters[below(characters.size())]; }

    std::string text(std::string_view alphabet, size_t length) {
        std::string result;
        for (size_t i = 0; i < length; ++i)
            result += from(alphabet);
        return result;
    }

private:
    static uint32_t chosen_seed() {
        const char *const asked = getenv("VARNEL_TEST_SEED");
        return asked != nullptr ? static_cast<uint32_t>(strtoul(asked, nullptr, 10)) : std::random_device()();
    }

    uint32_t seed_;
    std::mt19937 engine_;
};
