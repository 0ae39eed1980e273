// SPDX-License-Identifier: MIT
// For context: the map, which locks, keeps the order and hashes as peers expect, against the standard library's.
#include "comparison.h"

#include <varnel/hashmap.h>

#include <string_view>
#include <unordered_map>

namespace {

constexpr size_t kKeys = 1000;

using StandardMap = std::unordered_map<std::string_view, void *>;

const std::vector<std::string> &keys() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> made;
        for (size_t i = 0; i < kKeys; ++i)
            made.push_back("group" + std::to_string(i % 10) + ":setting" + std::to_string(i));
        return made;
    }();
    return all;
}

void *value_of(const std::string &key) {
    return const_cast<char *>(key.data());
}

hashmap *new_hashmap() {
    hashmap *const map = hashmap_new(string_hash_func, string_compare_func);
    for (const std::string &key : keys())
        hashmap_put(map, key.c_str(), value_of(key));
    return map;
}

StandardMap new_standard_map() {
    StandardMap map;
    for (const std::string &key : keys())
        map.emplace(key, value_of(key));
    return map;
}

void fill_hashmap(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        hashmap *const map = new_hashmap();
        require_same(hashmap_size(map) == kKeys, "hashmap");
        hashmap_free(map);
    }
}

void fill_standard_map(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        const StandardMap map = new_standard_map();
        require_same(map.size() == kKeys, "unordered_map");
    }
}

void search_hashmap(benchmark::State &state) {
    hashmap *const map = new_hashmap();
    for ([[maybe_unused]] auto _ : state)
        for (const std::string &key : keys())
            require_same(hashmap_get(map, key.c_str()) == value_of(key), "hashmap");
    hashmap_free(map);
}

void search_standard_map(benchmark::State &state) {
    const StandardMap map = new_standard_map();
    for ([[maybe_unused]] auto _ : state)
        for (const std::string &key : keys()) {
            // As C callers have it: text whose length has to be counted.
            const auto found = map.find(std::string_view(key.c_str()));
            require_same(found != map.end() && found->second == value_of(key), "unordered_map");
        }
}

} // namespace

std::vector<Comparison> hashmap_comparisons() {
    return {{"map of 1000 texts, filling", "hashmap", "std::unordered_map", fill_hashmap, fill_standard_map},
            {"map of 1000 texts, 1000 look-ups", "hashmap", "std::unordered_map", search_hashmap, search_standard_map}};
}
