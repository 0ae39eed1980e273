// SPDX-License-Identifier: MIT
// Backend records: making, looking into, copying and releasing them.
#include "storage/backend_private.h"
#include "storage_fixture.h"
#include "support/counting_allocator.h"
#include "support/death.h"
#include "support/log_capture.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>

namespace {

using varnel::backend_function_set;
using varnel::backend_new;

void some_entry() {}
void other_entry() {}

TEST(BackendRecord, FieldsStandInTheGivenOrder) {
    EXPECT_EQ(offsetof(backend, name), 0U);
    EXPECT_EQ(offsetof(backend, handle), sizeof(void *));
    EXPECT_EQ(offsetof(backend, functions), 2 * sizeof(void *));
    EXPECT_EQ(offsetof(backend, config), 3 * sizeof(void *));
    EXPECT_EQ(offsetof(backend, user_data), 4 * sizeof(void *));
    EXPECT_EQ(sizeof(backend), 7 * sizeof(void *));
    EXPECT_EQ(offsetof(backend_function, symbol), 0U);
    EXPECT_EQ(offsetof(backend_function, address), sizeof(void *));
}

TEST(BackendFunctionSet, MakesAnEntry) {
    char symbol[] = "symbol";
    backend_function *const function = backend_function_set(nullptr, symbol, some_entry);
    ASSERT_NE(function, nullptr);
    EXPECT_NE(function->symbol, symbol);
    EXPECT_STREQ(function->symbol, "symbol");
    EXPECT_EQ(function->address, &some_entry);
    _xfree(function->symbol);
    _xfree(function);
}

TEST(BackendFunctionSet, ReplacesTheSymbolAndKeepsAnAddressThatIsNotGiven) {
    CountingAllocator allocator;
    backend_function *const function = backend_function_set(nullptr, "first", nullptr);
    EXPECT_EQ(function->address, nullptr);
    EXPECT_EQ(backend_function_set(function, "second", some_entry), function);
    EXPECT_EQ(backend_function_set(function, "third", nullptr), function);
    EXPECT_STREQ(function->symbol, "third");
    EXPECT_EQ(function->address, &some_entry);
    EXPECT_EQ(backend_function_set(function, function->symbol, other_entry), function);
    EXPECT_STREQ(function->symbol, "third");
    EXPECT_EQ(function->address, &other_entry);
    EXPECT_EQ(allocator.live_blocks(), 2U);
    _xfree(function->symbol);
    _xfree(function);
}

TEST(BackendFunctionSet, WithoutASymbolDoesNothing) {
    CountingAllocator allocator;
    EXPECT_EQ(backend_function_set(nullptr, nullptr, some_entry), nullptr);
    EXPECT_EQ(allocator.allocations(), 0U);
    char symbol[] = "kept";
    backend_function function = {symbol, some_entry};
    EXPECT_EQ(backend_function_set(&function, nullptr, other_entry), nullptr);
    EXPECT_EQ(function.symbol, symbol);
    EXPECT_EQ(function.address, &some_entry);
}

TEST(BackendNew, HasTheDefaultTableInOrder) {
    char name[] = "file";
    const OwnedBackend b(backend_new(nullptr, name));
    EXPECT_NE(b->name, name);
    EXPECT_STREQ(b->name, "file");
    EXPECT_EQ(b->handle, nullptr);
    EXPECT_EQ(b->config, nullptr);
    for (const void *const word : b->user_data)
        EXPECT_EQ(word, nullptr);
    EXPECT_EQ(functions_of(b.get()), kDefaultFunctions);
    for (const char *const action : {"init", "destroy", "set", "unset", "get", "list", "sync"})
        EXPECT_EQ(backend_get_function(b.get(), action)->address, nullptr) << action;
}

TEST(BackendNew, RefillsARecord) {
    auto *const record = static_cast<backend *>(xmalloc0(sizeof(backend)));
    const OwnedBackend b(backend_new(record, "file"));
    EXPECT_EQ(b.get(), record);
    EXPECT_STREQ(b->name, "file");
    EXPECT_EQ(functions_of(b.get()), kDefaultFunctions);
}

TEST(BackendNew, NameIsOptional) {
    const OwnedBackend b(backend_new(nullptr, nullptr));
    EXPECT_EQ(b->name, nullptr);
    EXPECT_EQ(functions_of(b.get()), kDefaultFunctions);
    auto *const record = static_cast<backend *>(xmalloc0(sizeof(backend)));
    record->name = xstrdup("kept");
    const OwnedBackend refilled(backend_new(record, nullptr));
    EXPECT_STREQ(refilled->name, "kept");
}

TEST(BackendFree, ReleasesAllAndIgnoresNull) {
    backend_free(nullptr);
    CountingAllocator allocator;
    backend *const b = backend_new(nullptr, "file");
    b->config = xdictionary_new(0);
    set_string(b->config, "a", "1");
    add_group(b->config, "g");
    backend_free(b);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(BackendFree, EmptyRecordIsFine) {
    backend_free(static_cast<backend *>(xmalloc0(sizeof(backend))));
}

TEST(BackendGetFunction, FindsEntryPointsByAction) {
    const OwnedBackend b(backend_new(nullptr, "file"));
    const backend_function *const get = backend_get_function(b.get(), "get");
    ASSERT_NE(get, nullptr);
    EXPECT_STREQ(get->symbol, "module_get_value");
    EXPECT_EQ(backend_get_function(b.get(), "get"), get) << "the backend's own";
    EXPECT_EQ(backend_get_function(b.get(), "unknown"), nullptr);
    EXPECT_EQ(backend_get_function(b.get(), "GET"), nullptr);
    EXPECT_EQ(backend_get_function(b.get(), ""), nullptr);
}

TEST(BackendGetFunction, NeedsBackendTableAndAction) {
    const OwnedBackend b(backend_new(nullptr, "file"));
    const backend without_table = {};
    EXPECT_EQ(backend_get_function(nullptr, "get"), nullptr);
    EXPECT_EQ(backend_get_function(b.get(), nullptr), nullptr);
    EXPECT_EQ(backend_get_function(nullptr, nullptr), nullptr);
    EXPECT_EQ(backend_get_function(&without_table, "get"), nullptr);
}

TEST(BackendCheckReadonly, ReadsTheSettingAndLogsWhenItIsOn) {
    const struct {
        const char *value;
        unsigned char result;
    } rows[] = {{"yes", 1}, {"1", 1}, {"true", 1}, {"no", 0}, {"0", 0}, {"off", 0}, {"", 0}, {nullptr, 0}};
    for (const auto &row : rows) {
        const OwnedBackend b(backend_new(nullptr, "file"));
        b->config = xdictionary_new(0);
        set_string(b->config, "readonly", row.value);
        const LogCapture capture;
        EXPECT_EQ(backend_check_readonly(b.get()), row.result);
        ASSERT_EQ(capture.lines().size(), row.result);
        if (row.result == 0)
            continue;
        const LogLine line = capture.lines()[0];
        EXPECT_EQ(line.level, LogLine::info);
        EXPECT_EQ(line.prefix, "_varnel: ");
        EXPECT_EQ(line.format, "The backend %s was readonly.\n");
        EXPECT_EQ(line.text, "The backend file was readonly.\n");
    }
}

TEST(BackendCheckReadonly, IsOffWithoutASetting) {
    const LogCapture capture;
    const OwnedBackend b(backend_new(nullptr, "file"));
    EXPECT_EQ(backend_check_readonly(b.get()), 0);
    b->config = xdictionary_new(0);
    EXPECT_EQ(backend_check_readonly(b.get()), 0);
    add_group(b->config, "readonly");
    EXPECT_EQ(backend_check_readonly(b.get()), 0);
    EXPECT_TRUE(capture.lines().empty());
}

TEST(BackendDup, CopiesAllButUserData) {
    const Backends backends(backends_load(nullptr, tree_of("file = {\nfunction = {\nget = my_get\ndump = my_dump\n}\n"
                                                           "path = /data\n}")
                                                       .get()));
    backend *const source = backend_of(backends.get(), "file");
    add_group(source->config, "net");
    backend_get_function(source, "set")->address = some_entry;
    for (void *&word : source->user_data)
        word = source;

    const OwnedBackend copy(backend_dup(backends.get(), "file"));
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy->name, "file");
    EXPECT_NE(copy->name, source->name);
    EXPECT_EQ(copy->handle, nullptr);
    EXPECT_NE(copy->functions, source->functions);
    EXPECT_EQ(functions_of(copy.get()), functions_of(source));
    EXPECT_NE(backend_get_function(copy.get(), "set"), backend_get_function(source, "set"));
    EXPECT_NE(backend_get_function(copy.get(), "set")->symbol, backend_get_function(source, "set")->symbol);
    EXPECT_EQ(backend_get_function(copy.get(), "set")->address, &some_entry);
    EXPECT_EQ(backend_get_function(copy.get(), "get")->address, nullptr);
    EXPECT_EQ(tree_text(copy->config), "path=/data;net{}");
    EXPECT_NE(copy->config, source->config);
    EXPECT_NE(group_at(copy->config, "net"), group_at(source->config, "net"));
    for (const void *const word : copy->user_data)
        EXPECT_EQ(word, nullptr);
}

TEST(BackendDup, WithoutSettingsHasNone) {
    const Backends backends(backends_load(nullptr, tree_of("file = {\n}").get()));
    const OwnedBackend copy(backend_dup(backends.get(), "file"));
    EXPECT_EQ(copy->config, nullptr);
    EXPECT_EQ(functions_of(copy.get()), kDefaultFunctions);
}

TEST(BackendDup, OfNothingIsNull) {
    const Backends backends(backends_load(nullptr, tree_of("file = {\n}").get()));
    EXPECT_EQ(backend_dup(nullptr, "file"), nullptr);
    EXPECT_EQ(backend_dup(backends.get(), nullptr), nullptr);
    EXPECT_EQ(backend_dup(nullptr, nullptr), nullptr);
    EXPECT_EQ(backend_dup(backends.get(), "missing"), nullptr);
    EXPECT_EQ(backend_dup(backends.get(), "File"), nullptr);
}

TEST(BackendDup, OutlivesItsSource) {
    CountingAllocator allocator;
    Backends backends(backends_load(nullptr, tree_of("file = {\na = 1\n}").get()));
    const OwnedBackend copy(backend_dup(backends.get(), "file"));
    backends.reset();
    EXPECT_EQ(functions_of(copy.get()), kDefaultFunctions);
    EXPECT_EQ(tree_text(copy->config), "a=1;");
}

TEST(BackendsFree, ReleasesAllAndIgnoresNull) {
    backends_free(nullptr);
    const Tree config = tree_of("a = {\nx = 1\n}\nb = {\n}\nc = {\nfunction = {\ndump = my_dump\n}\n}");
    CountingAllocator allocator;
    backends_free(backends_load(nullptr, config.get()));
    EXPECT_GT(allocator.allocations(), 0U);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

TEST(BackendDeathTest, EveryAllocationIsIndispensable) {
    expect_abort_at_every_allocation([] { backend_free(backend_new(nullptr, "file")); });
    const Tree config = tree_of("file = {\nfunction = {\ndump = my_dump\n}\na = 1\n}");
    expect_abort_at_every_allocation([&config] {
        const Backends backends(backends_load(nullptr, config.get()));
        backend_free(backend_dup(backends.get(), "file"));
    });
}

TEST(BackendDeathTest, FunctionMapMessage) {
    CountingAllocator allocator;
    allocator.fail_at(2); // the record comes first
    EXPECT_ABORT(backend_new(nullptr, "file"), "_varnel: hashmap_new error\\.\n");
}

} // namespace
