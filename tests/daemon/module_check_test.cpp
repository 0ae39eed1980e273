// SPDX-License-Identifier: MIT
#include "daemon/module_check.h"

#include "store_fixture.h"

#include <filesystem>
#include <fstream>

using namespace varnel::daemon;

namespace {

// What is said of the backends of a configuration, a line each.
std::string failures_of(const std::string &backends, const std::string &directory = MODULE_DIR) {
    const xdictionary *const tree = tree_of("backends = {\n" + backends + "}\n");
    std::string text;
    for (const std::string &failure : check_modules(confparser_getdic(tree, "backends"), directory))
        text += failure + "\n";
    return text;
}

std::string scripted_with(const std::string &function) {
    return "main = {\nlibrary = scripted.so\nfunction = {\n" + function + "\n}\n}\n";
}

const std::string kModule = "backend main: module " MODULE_DIR "/scripted.so: ";

} // namespace

TEST(ModuleCheck, FindsNothingWrongWithAModuleThatCanBeUsed) {
    EXPECT_EQ(failures_of("scripted = {\n}\n"), "");
    EXPECT_EQ(failures_of("scripted.so = {\n}\n"), "");
    EXPECT_EQ(failures_of("main = {\nlibrary = scripted\nvalues = {\na = {\nb = 1\n}\n}\n}\n"), "");
    EXPECT_EQ(failures_of(scripted_with("get = module_set_value\nfurther = scripted_find")), "");
}

TEST(ModuleCheck, HasNothingToSayOfNoBackends) {
    EXPECT_TRUE(check_modules(nullptr, MODULE_DIR).empty());
    EXPECT_EQ(failures_of("a = 1\n"), "");
}

TEST(ModuleCheck, TellsEachFileThatIsMissing) {
    EXPECT_EQ(failures_of("none = {\n}\n"), "backend none: module " MODULE_DIR "/none.so: No such file or directory\n");
    const std::string two = failures_of("none = {\n}\nmain = {\nlibrary = other\n}\nscripted = {\n}\n");
    EXPECT_NE(two.find("/none.so: "), std::string::npos) << two;
    EXPECT_NE(two.find("/other.so: "), std::string::npos) << two;
    EXPECT_EQ(two.find("/scripted.so: "), std::string::npos) << two;
}

TEST(ModuleCheck, TellsWhatIsNoModule) {
    const std::string folder = testing::TempDir() + "module_check_" + std::to_string(getpid());
    std::filesystem::create_directory(folder);
    std::ofstream(folder + "/text.so") << "this is no shared object, however long it may be: no ELF header\n";
    const std::string failures = failures_of("text = {\n}\n", folder);
    EXPECT_EQ(failures.rfind("backend text: module " + folder + "/text.so: ", 0), 0U) << failures;
    EXPECT_NE(failures.find("ELF"), std::string::npos) << failures;
    std::filesystem::remove_all(folder);
}

TEST(ModuleCheck, TellsEachFunctionThatIsMissing) {
    EXPECT_EQ(failures_of(scripted_with("sync = no_such_sync")), kModule + "no function no_such_sync for \"sync\"\n");
    EXPECT_EQ(failures_of(scripted_with("further = no_more")), kModule + "no function no_more for \"further\"\n");
    const std::string two = failures_of(scripted_with("get = no_get\nlist = no_list"));
    EXPECT_NE(two.find("no function no_get for \"get\"\n"), std::string::npos) << two;
    EXPECT_NE(two.find("no function no_list for \"list\"\n"), std::string::npos) << two;
}

// The library would cut it, and open another file or none.
TEST(ModuleCheck, TellsPathsThatAreTooLong) {
    const std::string failures = failures_of("main = {\nlibrary = " + std::string(256, 'x') + "\n}\n");
    EXPECT_NE(failures.find(": a path of more than 255 characters\n"), std::string::npos) << failures;
}

TEST(ModuleCheck, LeavesTheConfigurationAsItIs) {
    const xdictionary *const tree = tree_of("backends = {\nmain = {\nlibrary = scripted\nvalues = {\na = 1\n}\n"
                                            "function = {\nget = module_get_value\n}\n}\n}\n");
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(check_modules(confparser_getdic(tree, "backends"), MODULE_DIR).empty());
    EXPECT_STREQ(confparser_getstring(tree, "backends:main:values:a", ""), "1");
    EXPECT_STREQ(confparser_getstring(tree, "backends:main:function:get", ""), "module_get_value");
}
