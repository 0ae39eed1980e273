// SPDX-License-Identifier: MIT
// What storage modules that were built earlier rely on: the types and numbers of module.h, as they were promised. The
// descriptions in abi/ do not have them, because no function of the library names them.
#include "module.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

// The header's typedef, its declaration of the entry point and the promised type are one.
template <class Promised, class Typedef, class EntryPoint>
constexpr bool kAsPromised = std::is_same_v<Typedef, Promised> &&std::is_same_v<EntryPoint *, Promised>;

using Visit = int (*)(void *, const xkey *, const xdata *);
using Lifecycle = int (*)(backend *, layer *);
using Set = int (*)(backend *, const xkey *, const xdata *);
using Unset = int (*)(backend *, const xkey *);
using Get = int (*)(backend *, const xkey *, xdata **);
using List = int (*)(backend *, const xkey *, Visit, void *);
using Sync = int (*)(backend *, int);

} // namespace

TEST(ModuleInterface, EntryPointsHaveTheTypesThatModulesWereBuiltWith) {
    EXPECT_TRUE((std::is_same_v<module_visit_t, Visit>));
    EXPECT_TRUE((kAsPromised<Lifecycle, module_init_t, decltype(module_init)>));
    EXPECT_TRUE((kAsPromised<Lifecycle, module_destroy_t, decltype(module_destroy)>));
    EXPECT_TRUE((kAsPromised<Set, module_set_value_t, decltype(module_set_value)>));
    EXPECT_TRUE((kAsPromised<Unset, module_unset_value_t, decltype(module_unset_value)>));
    EXPECT_TRUE((kAsPromised<Get, module_get_value_t, decltype(module_get_value)>));
    EXPECT_TRUE((kAsPromised<List, module_list_all_t, decltype(module_list_all)>));
    EXPECT_TRUE((kAsPromised<Sync, module_sync_t, decltype(module_sync)>));
}

TEST(ModuleInterface, DurabilityHasTheNumbersThatModulesWereBuiltWith) {
    EXPECT_EQ(DURABILITY_MEMORY, 0);
    EXPECT_EQ(DURABILITY_FILE, 1);
    EXPECT_EQ(DURABILITY_FOLDER, 2);
}
