// SPDX-License-Identifier: MIT
#include "support/storage.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace varnel::test {

namespace {

// A configuration tree; groups are its own.
xdictionary *group_in(xdictionary *parent, const std::string &name) {
    xdictionary *const group = xdictionary_new(0);
    EXPECT_EQ(0, xdictionary_set(parent, name.c_str(), group, XDICTIONARY_GROUP));
    return group;
}

int collect(void *context, const xkey *key, const xdata *value) {
    const Block<char> name(xkey_to_string(key));
    static_cast<std::vector<std::string> *>(context)->push_back(
        std::string(name.get()).append(" ").append(words(value)));
    return 0;
}

} // namespace

Key key_of(const char *group, const char *name) {
    return Key(xkey_new("any", group, name));
}

std::string words(const xdata *value) {
    if (value == nullptr)
        return "group";
    const Block<char> characters(xdata_value_as_char(value));
    return std::string(xdata_type_as_char(value->type)).append(" ").append(characters.get());
}

int Store::set(const std::string &group, const std::string &name, const Value &value) const {
    return set(key_of(group.c_str(), name.c_str()).get(), value.get());
}

int Store::create_group(const std::string &group) const {
    return set(key_of(group.c_str()).get(), nullptr);
}

int Store::unset(const std::string &group, const std::string &name) const {
    return unset(key_of(group.c_str(), name.c_str()).get());
}

int Store::unset(const std::string &group) const {
    return unset(key_of(group.c_str()).get());
}

Value Store::get(const std::string &group, const std::string &name) const {
    xdata *found = nullptr;
    get(key_of(group.c_str(), name.c_str()).get(), &found);
    return Value(found);
}

std::string Store::read(const char *group, const char *name) const {
    xdata *found = nullptr;
    const int result = get(key_of(group, name).get(), &found);
    const Value owner(found);
    return result == 0 ? words(found) : std::to_string(result);
}

std::vector<std::string> Store::listing(const xkey *key) const {
    std::vector<std::string> lines;
    const int result = list(key, collect, &lines);
    return result == 0 ? lines : std::vector<std::string>{std::to_string(result)};
}

// The library shares nested groups of the trees, of which there are none here.
Storage::Storage(const std::string &module, const Settings &settings, const std::vector<std::string> &layers,
                 const std::string &name) {
    const std::string &backend = name.empty() ? module : name;
    xdictionary *const backend_config = xdictionary_new(0);
    xdictionary *const group = group_in(backend_config, backend);
    xdictionary_set(group, "library", module.c_str(), XDICTIONARY_STRING);
    for (const auto &[setting, text] : settings)
        xdictionary_set(group, setting.c_str(), text.c_str(), XDICTIONARY_STRING);
    backends_ = backends_init(backend_config, MODULE_DIR);
    xdictionary_del(backend_config);
    xdictionary *const layer_config = xdictionary_new(0);
    for (const std::string &layer : layers)
        group_in(group_in(layer_config, layer), backend);
    layers_ = layers_init(backends_, layer_config);
    xdictionary_del(layer_config);
}

Storage::~Storage() {
    layer *const default_layer = get_layer(layers_, "default");
    layers_free(layers_);
    layer_free(default_layer);
    backends_free(backends_);
}

Store Storage::store(const std::string &layer) const {
    return Store(find_layer(layer)->backends[0]);
}

TemporaryFolder::TemporaryFolder() {
    path_ = (std::filesystem::temp_directory_path() / "varnel-modules-XXXXXX").string();
    EXPECT_NE(nullptr, mkdtemp(path_.data())) << path_;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void write_file(const std::string &path, const std::string &bytes) {
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    EXPECT_TRUE(file.flush()) << path;
}

} // namespace varnel::test
