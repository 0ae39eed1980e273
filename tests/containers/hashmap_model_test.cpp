// SPDX-License-Identifier: MIT
// Random walks over two maps, compared step by step with a plain list of pairs.
#include "containers/hashmap_fixture.h"

#include <algorithm>
#include <list>
#include <random>

using namespace hashmap_test;

namespace {

struct Item {
    void *key;
    void *value;
};

// The map's meaning without hashing: a list in order of insertion. Of several entries with one key the latest counts.
class Model {
public:
    using Place = std::list<Item>::iterator;

    Place find(const void *key) {
        const auto found = std::find_if(items.rbegin(), items.rend(),
                                        [key](const Item &item) { return number_of(item.key) == number_of(key); });
        return found == items.rend() ? items.end() : std::prev(found.base());
    }
    bool has(const void *key) { return find(key) != items.end(); }
    void *get(const void *key) { return has(key) ? find(key)->value : nullptr; }

    int put(void *key, void *item) {
        if (has(key))
            return find(key)->value == item ? 0 : -17;
        if (items.size() * 4 >= size_t{buckets} * 3)
            buckets = static_cast<uint32_t>((items.size() + 1) * 4 - 1);
        items.push_back({key, item});
        return 1;
    }
    int replace(void *key, void *item) {
        if (!has(key))
            return put(key, item);
        *find(key) = {key, item};
        return 0;
    }
    int update(const void *key, void *item) {
        if (!has(key))
            return -2;
        find(key)->value = item;
        return 0;
    }
    Item take(Place place) {
        const Item item = *place;
        items.erase(place);
        return item;
    }
    void *remove(const void *key) { return has(key) ? take(find(key)).value : nullptr; }
    void *remove_value(const void *key, const void *item) {
        return has(key) && find(key)->value == item ? take(find(key)).value : nullptr;
    }
    int remove_and_put(const void *old_key, void *new_key, void *item) {
        if (!has(old_key))
            return -2;
        if (!has(new_key))
            return -17;
        items.erase(find(old_key));
        items.push_back({new_key, item});
        return 0;
    }
    int remove_and_replace(const void *old_key, void *new_key, void *item) {
        if (!has(old_key))
            return -2;
        const Place old_place = find(old_key);
        const Place new_place = find(new_key);
        if (new_place != items.end() && new_place != old_place)
            items.erase(new_place);
        items.erase(old_place);
        items.push_back({new_key, item});
        return 0;
    }
    void *next(const void *key) {
        const Place place = find(key);
        if (place == items.end() || std::next(place) == items.end())
            return nullptr;
        return std::next(place)->value;
    }
    void merge(const Model &other) {
        for (const Item &item : other.items)
            put(item.key, item.value);
    }
    void move(Model &other) {
        for (Place place = other.items.begin(); place != other.items.end();) {
            const Place here = place++;
            if (!has(here->key))
                items.push_back(other.take(here));
        }
    }
    int move_one(Model &other, const void *key) {
        if (has(key))
            return -17;
        if (!other.has(key))
            return -2;
        items.push_back(other.take(other.find(key)));
        return 0;
    }

    std::list<Item> items;
    uint32_t buckets = HASHMAP_INLINE_BUCKETS;
};

struct WalkCase {
    const char *name;
    hash_func_t hash;
    uint32_t seed;
    uint32_t keys; // number of different ones
};

constexpr WalkCase kWalks[] = {
    {"few keys", uint32_hash_func, 1, 12},      {"many keys", uint32_hash_func, 2, 300},
    {"long chains", few_hashes, 3, 60},         {"one chain", [](const void *) { return UINT32_MAX; }, 4, 40},
    {"thousands of keys", few_hashes, 5, 2000},
};

class Walk {
public:
    explicit Walk(const WalkCase &walk) : random_(walk.seed), walk_(walk) {
        for (Map &map : maps_)
            map.reset(hashmap_new(walk.hash, uint32_compare_func));
    }

    void step() {
        const size_t side = pick(2);
        map_ = maps_[side].get();
        other_ = maps_[1 - side].get();
        model_ = &models_[side];
        other_model_ = &models_[1 - side];
        change(pick(100));
        look_up();
    }

    void compare() const {
        for (size_t side = 0; side < 2; ++side) {
            const hashmap *const map = maps_[side].get();
            expect_consistent(map);
            const std::list<Item> &items = models_[side].items;
            ASSERT_EQ(hashmap_size(map), items.size());
            EXPECT_EQ(hashmap_buckets(map), models_[side].buckets);
            const hashmap_entry *entry = map->order_first;
            for (const Item &item : items) {
                ASSERT_EQ(entry->key, item.key);
                ASSERT_EQ(entry->value, item.value);
                entry = entry->order_next;
            }
        }
    }

private:
    uint32_t pick(uint32_t bound) { return std::uniform_int_distribution<uint32_t>(0, bound - 1)(random_); }
    void *random_key() { return number(pick(walk_.keys)); }
    void *random_value() { return value(1 + pick(4)); } // few, so that equal ones meet

    void change(uint32_t choice) {
        void *const key = random_key();
        void *const item = random_value();
        if (choice < 45)
            EXPECT_EQ(hashmap_put(map_, key, item), model_->put(key, item));
        else if (choice < 50)
            EXPECT_EQ(hashmap_replace(map_, key, item), model_->replace(key, item));
        else if (choice < 55)
            EXPECT_EQ(hashmap_update(map_, key, item), model_->update(key, item));
        else if (choice < 70)
            EXPECT_EQ(hashmap_remove(map_, key), model_->remove(key));
        else if (choice < 75)
            EXPECT_EQ(hashmap_remove_value(map_, key, item), model_->remove_value(key, item));
        else if (choice < 80)
            remove2(key);
        else
            change_more(choice, key, item);
    }

    void change_more(uint32_t choice, void *key, void *item) {
        if (choice < 84) {
            void *const old_key = random_key();
            EXPECT_EQ(hashmap_remove_and_put(map_, old_key, key, item), model_->remove_and_put(old_key, key, item));
        } else if (choice < 88) {
            void *const old_key = random_key();
            EXPECT_EQ(hashmap_remove_and_replace(map_, old_key, key, item),
                      model_->remove_and_replace(old_key, key, item));
        } else if (choice < 92) {
            EXPECT_EQ(hashmap_move_one(map_, other_, key), model_->move_one(*other_model_, key));
        } else if (choice < 96) {
            steal();
        } else {
            change_all(pick(60));
        }
    }

    void change_all(uint32_t choice) {
        if (choice < 3) {
            EXPECT_EQ(hashmap_merge(map_, other_), 0);
            model_->merge(*other_model_);
        } else if (choice < 6) {
            hashmap_move(map_, other_);
            model_->move(*other_model_);
        } else if (choice == 6) {
            hashmap_clear(map_);
            model_->items.clear();
        }
    }

    void remove2(const void *key) {
        const auto place = model_->find(key);
        void *const expected_key = place != model_->items.end() ? place->key : nullptr;
        void *stored = nullptr;
        EXPECT_EQ(hashmap_remove2(map_, key, &stored), model_->remove(key));
        EXPECT_EQ(stored, expected_key);
    }

    void steal() {
        const bool by_key = pick(2) == 0;
        void *const stolen = by_key ? hashmap_steal_first_key(map_) : hashmap_steal_first(map_);
        if (model_->items.empty()) {
            EXPECT_EQ(stolen, nullptr);
            return;
        }
        const Item item = model_->take(model_->items.begin());
        EXPECT_EQ(stolen, by_key ? item.key : item.value);
    }

    void look_up() {
        void *const key = random_key();
        EXPECT_EQ(hashmap_get(map_, key), model_->get(key));
        EXPECT_EQ(hashmap_contains(map_, key), model_->has(key) ? 1 : 0);
        EXPECT_EQ(hashmap_next(map_, key), model_->next(key));
        EXPECT_EQ(hashmap_size(map_), model_->items.size());
        EXPECT_EQ(hashmap_first(map_), model_->items.empty() ? nullptr : model_->items.front().value);
        EXPECT_EQ(hashmap_first_key(map_), model_->items.empty() ? nullptr : model_->items.front().key);
        EXPECT_EQ(hashmap_last(map_), model_->items.empty() ? nullptr : model_->items.back().value);
    }

    std::mt19937 random_;
    const WalkCase &walk_;
    Map maps_[2];
    Model models_[2];
    hashmap *map_ = nullptr;
    hashmap *other_ = nullptr;
    Model *model_ = nullptr;
    Model *other_model_ = nullptr;
};

class HashmapModel : public testing::TestWithParam<WalkCase> {};

INSTANTIATE_TEST_SUITE_P(Walks, HashmapModel, testing::ValuesIn(kWalks), [](const auto &walk) {
    std::string name = walk.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});

TEST_P(HashmapModel, BehavesLikeAListOfPairs) {
    const CountingAllocator allocator;
    {
        Walk walk(GetParam());
        for (size_t step = 0; step < 6000 && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE(step);
            walk.step();
            if (step % 16 == 0)
                walk.compare();
        }
        walk.compare();
    }
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

} // namespace
