// SPDX-License-Identifier: MIT
#include "daemon/configuration.h"

#include "common/config_check.h"
#include "daemon/file.h"
#include "daemon/log.h"
#include "daemon/options.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace varnel::daemon {

namespace {

constexpr int kWrongConfiguration = 2;

constexpr std::string_view kBuiltIn = R"(
backends = {
    sqlite = {
        priority = 10
    }
    defaults = {
        readonly = yes
        file = /etc/varnel/defaults.conf
        required = no
    }
    memory = {
    }
}
layers = {
    default = user
    user = {
        durability = file
        sqlite = {
        }
        defaults = {
        }
    }
    volatile = {
        durability = memory
        memory = {
        }
    }
}
)";

// Parts of a tree are shared by backends and layers: it is kept, and stays in reach of tools that look for lost memory.
xdictionary *keep(xdictionary *tree) {
    static xdictionary *kept = nullptr;
    kept = tree;
    return kept;
}

} // namespace

xdictionary *load_configuration(const std::string &path) {
    const std::vector<ConfigFinding> findings = check_store_config(path);
    for (const ConfigFinding &finding : findings)
        (finding.error ? log_error : log_info)(print_finding(path, finding));
    xdictionary *const tree = has_errors(findings) ? nullptr : keep(configurator_load(path.c_str()));
    if (tree == nullptr)
        throw Usage(kWrongConfiguration, "the configuration " + path + " cannot be used");
    return tree;
}

// The loader reads files only; this one is in memory.
xdictionary *load_built_in() {
    const Fd fd(memfd_create("varneld.conf", MFD_CLOEXEC));
    if (!fd || write(fd.get(), kBuiltIn.data(), kBuiltIn.size()) != static_cast<ssize_t>(kBuiltIn.size()))
        throw std::runtime_error(std::string("cannot write the built-in configuration: ") + std::strerror(errno));
    const std::string path = "/proc/self/fd/" + std::to_string(fd.get());
    xdictionary *const tree = keep(configurator_load(path.c_str()));
    if (tree == nullptr)
        throw std::runtime_error("cannot load the built-in configuration from " + path + ": is /proc mounted?");
    return tree;
}

std::vector<std::pair<std::string, std::string>> strings_of(const xdictionary *group) {
    std::vector<std::pair<std::string, std::string>> strings;
    for (std::uint32_t slot = 0; group != nullptr && slot < group->size; ++slot) {
        if (group->keys[slot] != nullptr && group->types[slot] == XDICTIONARY_STRING && group->values[slot] != nullptr)
            strings.emplace_back(group->keys[slot], static_cast<const char *>(group->values[slot]));
    }
    return strings;
}

void give_state_folder(xdictionary *tree, const std::string &folder) {
    const xdictionary *const backends = confparser_getdic(tree, "backends");
    for (std::uint32_t slot = 0; backends != nullptr && slot < backends->size; ++slot) {
        if (backends->keys[slot] == nullptr || backends->types[slot] != XDICTIONARY_GROUP)
            continue;
        auto *const settings = static_cast<xdictionary *>(backends->values[slot]);
        if (settings != nullptr && xdictionary_get(settings, "folder", nullptr) == nullptr)
            xdictionary_set(settings, "folder", folder.c_str(), XDICTIONARY_STRING);
    }
}

} // namespace varnel::daemon
