// SPDX-License-Identifier: MIT
#include "support/storage_cases.h"

#include <algorithm>
#include <iterator>

namespace varnel::test {

namespace {

Settings no_settings(const TemporaryFolder &) {
    return {};
}

Settings defaults_settings(const TemporaryFolder &folder) {
    write_file(folder.path("sample.conf"), "network = {\n"
                                           "    port = 8080\n"
                                           "    host:string = device\n"
                                           "}\n"
                                           "empty = {\n"
                                           "}\n"
                                           "clock = {\n"
                                           "    offset:uint64 = 3\n"
                                           "}\n");
    return {{"file", folder.path("sample.conf")}};
}

std::vector<ModuleCase> select(bool writable) {
    std::vector<ModuleCase> selected;
    const std::vector<ModuleCase> all = all_modules();
    std::copy_if(all.begin(), all.end(), std::back_inserter(selected),
                 [=](const ModuleCase &module) { return module.writable == writable; });
    return selected;
}

} // namespace

void PrintTo(const ModuleCase &module, std::ostream *out) {
    *out << module.module;
}

std::vector<ModuleCase> all_modules() {
    return {
        {"memory", true, DURABILITY_MEMORY, no_settings},
        {"fixed", false, DURABILITY_FOLDER, no_settings},
        {"defaults", false, DURABILITY_FOLDER, defaults_settings},
#ifdef HAVE_SQLITE
        {"sqlite", true, DURABILITY_FOLDER,
         [](const TemporaryFolder &folder) {
             return Settings{{"folder", folder.path("store")}};
         }},
#endif
    };
}

std::vector<ModuleCase> writable_modules() {
    return select(true);
}

std::vector<ModuleCase> read_only_modules() {
    return select(false);
}

std::string name_of(const testing::TestParamInfo<ModuleCase> &module) {
    return module.param.module;
}

std::vector<std::string> sample_listing() {
    return {"user:clock group",   "user:clock:offset uint64_t 3",    "user:empty group",
            "user:network group", "user:network:host string device", "user:network:port int32_t 8080"};
}

void fill_with_sample(const Store &store) {
    EXPECT_EQ(0, store.set("network", "port", make_int32(8080)));
    EXPECT_EQ(0, store.set("network", "host", make_string("device")));
    EXPECT_EQ(0, store.set("clock", "offset", make_uint64(3)));
    EXPECT_EQ(0, store.create_group("empty"));
}

} // namespace varnel::test
