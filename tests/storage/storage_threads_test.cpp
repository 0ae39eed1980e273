// SPDX-License-Identifier: MIT
// After start-up the maps are read by any thread.
#include "storage_fixture.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 2000;

TEST(StorageThreads, LookUpLayersAndEntryPointsAtOnce) {
    const Backends backends(backends_init(tree_of("store = {\n}").get(), TEST_MODULE_DIR));
    const Layers layers(
        layers_init(backends.get(), tree_of("user = {\nstore = {\n}\n}\nsys = {\nstore = {\n}\n}").get()));
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const layer *const l = get_layer(layers.get(), round % 2 == 0 ? "default" : "sys");
                if (l != nullptr && call_entry(l->backends[0], "get") == STORE_GET && layer_check_readonly(l) == 0)
                    ++good;
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(good, kThreads * kRounds);
}

} // namespace
