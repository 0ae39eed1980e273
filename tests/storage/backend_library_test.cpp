// SPDX-License-Identifier: MIT
// backend_load_library and backends_init: from records to loaded modules.
#include "storage/backend_private.h"
#include "storage_fixture.h"
#include "support/counting_allocator.h"
#include "support/death.h"
#include "support/log_capture.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

namespace {

using varnel::backend_new;

constexpr size_t kLongestPath = 255;

// The folder of modules, written so that the path to "/store.so" in it has length characters.
std::string padded_folder(size_t length) {
    std::string folder = TEST_MODULE_DIR;
    EXPECT_LT(folder.size() + strlen("/store.so"), length) << "the build folder's path is too long for this test";
    while (folder.size() + strlen("/store.so") < length)
        folder += "/";
    return folder;
}

std::string literal(const std::string &text) {
    std::string expression;
    for (const char c : text) {
        if (std::string_view("\\^$.|?*+()[]{}").find(c) != std::string_view::npos)
            expression += '\\';
        expression += c;
    }
    return expression;
}

// Changes the working folder for as long as it lives.
class WorkingFolder {
public:
    explicit WorkingFolder(const char *folder) {
        EXPECT_NE(getcwd(before_, sizeof before_), nullptr);
        EXPECT_EQ(chdir(folder), 0) << folder;
    }
    WorkingFolder(const WorkingFolder &) = delete;
    WorkingFolder &operator=(const WorkingFolder &) = delete;
    ~WorkingFolder() { EXPECT_EQ(chdir(before_), 0); }

private:
    char before_[PATH_MAX] = {};
};

bool is_loaded(const std::string &path) {
    void *const handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr)
        dlclose(handle);
    return handle != nullptr;
}

TEST(BackendLoadLibrary, NeedsABackendWithATable) {
    backend without_table = {};
    const LogCapture capture;
    EXPECT_EQ(backend_load_library(nullptr, TEST_MODULE_DIR), -1);
    EXPECT_EQ(backend_load_library(&without_table, TEST_MODULE_DIR), -1);
    EXPECT_EQ(backend_load_library(nullptr, nullptr), -1);
    EXPECT_EQ(without_table.handle, nullptr);
    EXPECT_TRUE(capture.lines().empty());
}

TEST(BackendLoadLibrary, ResolvesEveryEntryPoint) {
    const Backends map = load_backends("store = {\n}");
    backend *const b = backend_of(map.get(), "store");
    const LogCapture capture;
    EXPECT_EQ(backend_load_library(b, TEST_MODULE_DIR), 0);
    EXPECT_NE(b->handle, nullptr);
    EXPECT_EQ(call_entry(b, "set"), STORE_SET);
    EXPECT_EQ(call_entry(b, "unset"), STORE_UNSET);
    EXPECT_EQ(call_entry(b, "get"), STORE_GET);
    EXPECT_EQ(call_entry(b, "list"), STORE_LIST);
    EXPECT_EQ(call_entry(b, "sync"), STORE_SYNC);
    EXPECT_NE(backend_get_function(b, "init")->address, nullptr);
    EXPECT_NE(backend_get_function(b, "destroy")->address, nullptr);
    EXPECT_TRUE(capture.lines().empty()) << "it is backends_init that logs";
}

TEST(BackendLoadLibrary, OpensTheModuleOfItsName) {
    const Backends map =
        load_backends("a = {\nlibrary = store\n}\nb = {\nlibrary = store.so\n}\nstore = {\n}\nstore.so = {\n}");
    for (const char *const name : {"a", "b", "store", "store.so"}) {
        backend *const b = backend_of(map.get(), name);
        EXPECT_EQ(backend_load_library(b, TEST_MODULE_DIR), 0) << name;
        EXPECT_EQ(b->handle, backend_of(map.get(), "a")->handle) << name << ": the same file";
    }
}

TEST(BackendLoadLibrary, WithoutAFolderLooksInTheWorkingOne) {
    const WorkingFolder folder(TEST_MODULE_DIR);
    const Backends map = load_backends("store = {\n}");
    EXPECT_EQ(backend_load_library(backend_of(map.get(), "store"), nullptr), 0);
    EXPECT_EQ(call_entry(backend_of(map.get(), "store"), "get"), STORE_GET);
}

TEST(BackendLoadLibrary, LibraryThatIsAGroupCountsAsNone) {
    const Tree config = tree_of("store = {\nlibrary = {\nx = 1\n}\n}");
    const Backends map(backends_load(nullptr, config.get()));
    EXPECT_EQ(backend_load_library(backend_of(map.get(), "store"), TEST_MODULE_DIR), 0);
    disown(group_at(config.get(), "store"), "library");
}

TEST(BackendLoadLibrary, PathMayHave255Characters) {
    const Backends map = load_backends("store = {\n}");
    EXPECT_EQ(backend_load_library(backend_of(map.get(), "store"), padded_folder(kLongestPath).c_str()), 0);
}

TEST(BackendLoadLibrary, FollowsTheFunctionGroup) {
    const Backends map =
        load_backends("renamed = {\nfunction = {\nget = my_get\n}\n}\n"
                      "extra = {\nfunction = {\nget = my_get\ndump = my_dump\nset = module_list_all\n}\n}");
    backend *const renamed = backend_of(map.get(), "renamed");
    backend *const extra = backend_of(map.get(), "extra");
    EXPECT_EQ(backend_load_library(renamed, TEST_MODULE_DIR), 0);
    EXPECT_EQ(backend_load_library(extra, TEST_MODULE_DIR), 0);
    EXPECT_EQ(call_entry(renamed, "get"), STORE_GET);
    EXPECT_EQ(call_entry(extra, "get"), STORE_MY_GET);
    EXPECT_EQ(call_entry(extra, "dump"), STORE_MY_DUMP);
    EXPECT_EQ(call_entry(extra, "set"), STORE_LIST);
    EXPECT_EQ(call_entry(extra, "sync"), STORE_SYNC);
}

TEST(BackendLoadLibrary, CopiesShareHandleAndAddresses) {
    const Backends map = load_backends("store = {\n}");
    backend *const b = backend_of(map.get(), "store");
    ASSERT_EQ(backend_load_library(b, TEST_MODULE_DIR), 0);
    const OwnedBackend copy(backend_dup(map.get(), "store"));
    EXPECT_EQ(copy->handle, b->handle);
    for (const char *const action : {"init", "destroy", "set", "unset", "get", "list", "sync"})
        EXPECT_EQ(backend_get_function(copy.get(), action)->address, backend_get_function(b, action)->address);
    EXPECT_EQ(call_entry(copy.get(), "get"), STORE_GET);
}

TEST(BackendFreeLibrary, ClosesTheModule) {
    const std::string path = module_path("unloadable");
    ASSERT_FALSE(is_loaded(path));
    {
        const Backends map = load_backends("unloadable = {\n}");
        ASSERT_EQ(backend_load_library(backend_of(map.get(), "unloadable"), TEST_MODULE_DIR), 0);
        EXPECT_TRUE(is_loaded(path));
    }
    EXPECT_FALSE(is_loaded(path));
}

TEST(BackendFreeLibrary, EveryCopyClosesOnceMore) {
    constexpr int copies = 3;
    const std::string path = module_path("unloadable");
    void *handle = nullptr;
    for (int i = 0; i < copies + 2; ++i)
        handle = dlopen(path.c_str(), RTLD_LAZY);
    ASSERT_NE(handle, nullptr);
    {
        const Backends map = load_backends("unloadable = {\n}");
        ASSERT_EQ(backend_load_library(backend_of(map.get(), "unloadable"), TEST_MODULE_DIR), 0);
        for (int i = 0; i < copies; ++i)
            backend_free(backend_dup(map.get(), "unloadable"));
    }
    // One opening and four closings are theirs: two of our five openings are left.
    EXPECT_EQ(dlclose(handle), 0);
    EXPECT_TRUE(is_loaded(path));
    EXPECT_EQ(dlclose(handle), 0);
    EXPECT_FALSE(is_loaded(path));
}

TEST(BackendFreeLibrary, DoesNotCallDestroy) {
    const ModuleObserver observer("store");
    const Backends map(backends_init(tree_of("store = {\n}").get(), TEST_MODULE_DIR));
    backend_free(backend_dup(map.get(), "store"));
    EXPECT_EQ(ModuleObserver::calls(), "");
}

TEST(BackendFreeLibrary, ModulesLinkedNodeleteStayInPlace) {
    const ModuleObserver observer("store");
    const Backends map(backends_init(tree_of("store = {\n}").get(), TEST_MODULE_DIR));
    for (int i = 0; i < 10; ++i)
        backend_free(backend_dup(map.get(), "store"));
    EXPECT_EQ(call_entry(backend_of(map.get(), "store"), "get"), STORE_GET);
}

TEST(BackendsInit, WithoutConfigurationGivesNone) {
    const LogCapture capture;
    EXPECT_EQ(backends_init(nullptr, TEST_MODULE_DIR), nullptr);
    EXPECT_EQ(backends_init(nullptr, nullptr), nullptr);
    EXPECT_TRUE(capture.lines().empty());
}

TEST(BackendsInit, WithoutGroupsGivesAnEmptyMap) {
    const Backends map(backends_init(tree_of("a = 1").get(), "/nonexistent"));
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(hashmap_size(map.get()), 0U);
}

TEST(BackendsInit, LoadsAllInOrderAndLogsEach) {
    const LogCapture capture;
    const Backends map(backends_init(tree_of("zeta = {\nlibrary = store\n}\n"
                                             "renamed = {\nfunction = {\nget = my_get\n}\n}\nstore = {\n}")
                                         .get(),
                                     TEST_MODULE_DIR));
    for (const char *const name : {"zeta", "renamed", "store"})
        EXPECT_EQ(call_entry(backend_of(map.get(), name), "get"), STORE_GET) << name;
    const std::vector<std::string> expected = {"init backend(zeta) success.\n", "init backend(renamed) success.\n",
                                               "init backend(store) success.\n"};
    EXPECT_EQ(capture.texts(LogLine::info), expected);
    EXPECT_EQ(capture.lines().size(), 3U);
    EXPECT_EQ(capture.lines()[0].format, "init backend(%s) success.\n");
    EXPECT_EQ(capture.lines()[0].prefix, "_varnel: ");
}

TEST(BackendsInit, CallsNoInit) {
    const ModuleObserver observer("store");
    const Backends map(backends_init(tree_of("store = {\n}").get(), TEST_MODULE_DIR));
    EXPECT_EQ(ModuleObserver::calls(), "");
}

TEST(BackendsInit, ReleasesAllWithTheMap) {
    const Tree config = tree_of("store = {\na = 1\n}\nextra = {\nfunction = {\ndump = my_dump\n}\n}");
    CountingAllocator allocator;
    backends_free(backends_init(config.get(), TEST_MODULE_DIR));
    EXPECT_GT(allocator.allocations(), 0U);
    EXPECT_EQ(allocator.live_blocks(), 0U);
}

// The abort message of a backend's configuration in a folder.
void expect_abort(std::string_view content, const char *folder, const std::string &message) {
    const Tree config = tree_of(content);
    EXPECT_ABORT(backends_init(config.get(), folder), "_varnel: " + message) << content;
}

TEST(BackendsInitDeathTest, ModuleThatIsNotThere) {
    const struct {
        const char *content;
        const char *folder;
        const char *path;
    } rows[] = {
        {"file = {\n}", nullptr, "./file.so"},
        {"file = {\n}", "/nonexistent", "/nonexistent/file.so"},
        {"x = {\nlibrary = store\n}", "/usr/lib/x", "/usr/lib/x/store.so"},
        {"x = {\nlibrary = store.so\n}", "/usr/lib/x", "/usr/lib/x/store.so"},
        {"x = {\nlibrary = store.so.1\n}", "/x", "/x/store.so.1.so"},
        {"x = {\nlibrary = so\n}", "/x", "/x/so.so"},
        {"x = {\nlibrary = .so\n}", "/x", "/x/.so"},
        {"x = {\nlibrary = storeso\n}", "/x", "/x/storeso.so"},
        {"x = {\nlibrary = sub/store\n}", "/x/", "/x//sub/store.so"},
        {"x = {\nlibrary = \" \"\n}", "/x", "/x/.so"},
        {"x = {\nlibrary = %s%n\n}", "/x", "/x/%s%n.so"},
    };
    for (const auto &row : rows)
        expect_abort(row.content, row.folder, literal("Do not find the library : " + std::string(row.path) + "\n"));
}

TEST(BackendsInitDeathTest, PathOfMoreThan255CharactersIsCut) {
    const std::string folder = padded_folder(kLongestPath + 1);
    expect_abort("store = {\n}", folder.c_str(), literal("Do not find the library : " + folder + "/store.s\n"));
    const std::string long_folder = "/" + std::string(400, 'x');
    expect_abort("store = {\n}", long_folder.c_str(),
                 literal("Do not find the library : " + long_folder.substr(0, kLongestPath) + "\n"));
}

TEST(BackendsInitDeathTest, FileThatIsNoModule) {
    std::string folder = testing::TempDir() + "/varnel_modules_XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    const std::string text = folder + "/text.so";
    FILE *const file = fopen(text.c_str(), "w");
    ASSERT_NE(file, nullptr);
    fputs("this is not a shared object, though it is long enough to look like one at the first glance\n", file);
    fclose(file);
    const std::string nested = folder + "/folder.so";
    ASSERT_EQ(mkdir(nested.c_str(), 0700), 0);
    expect_abort("text = {\n}", folder.c_str(), "dlopen: .*text\\.so.*\n");
    expect_abort("folder = {\n}", folder.c_str(), "dlopen: .*folder\\.so.*\n");
    unlink(text.c_str());
    rmdir(nested.c_str());
    rmdir(folder.c_str());
}

TEST(BackendsInitDeathTest, EntryPointThatIsMissing) {
    expect_abort("x = {\nlibrary = no_sync\n}", TEST_MODULE_DIR,
                 "Can't load backend x function module_sync\\. dlsym\\(\\): .*module_sync.*\n");
    expect_abort("renamed = {\n}", TEST_MODULE_DIR,
                 "Can't load backend renamed function module_get_value\\. dlsym\\(\\): .*module_get_value.*\n");
    expect_abort("store = {\nfunction = {\ndump = my_dump\n}\n}", TEST_MODULE_DIR,
                 "Can't load backend store function my_dump\\. dlsym\\(\\): .*my_dump.*\n");
    expect_abort("store = {\nfunction = {\nget = My_Get\n}\n}", TEST_MODULE_DIR,
                 "Can't load backend store function my_get\\. dlsym\\(\\): .*my_get.*\n");
}

TEST(BackendsInitDeathTest, FirstMissingEntryPointIsReported) {
    expect_abort("no_sync = {\nfunction = {\nlist = first\ndump = third\n}\n}", TEST_MODULE_DIR,
                 "Can't load backend no_sync function first\\.");
}

TEST(BackendsInitDeathTest, EntryPointAtAddressZero) {
    expect_abort("null_sync = {\n}", TEST_MODULE_DIR,
                 "Can't load backend null_sync function module_sync\\. dlsym\\(\\): \\(null\\)\n");
}

TEST(BackendsInitDeathTest, BackendsBeforeAMissingOneAreLoaded) {
    expect_abort("store = {\n}\nmissing = {\n}", TEST_MODULE_DIR,
                 "init backend\\(store\\) success\\.\n_varnel: Do not find the library : ");
}

} // namespace
