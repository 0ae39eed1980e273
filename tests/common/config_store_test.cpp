// SPDX-License-Identifier: MIT
// check_store_config: what varneld makes of its configuration file.
#include "findings.h"

#include "protocol/limits.h"

#include <gtest/gtest.h>

namespace {

constexpr const char *kRest = "backends = {\nm = {\n}\n}\nlayers = {\nl = {\nm = {\n}\n}\n}\n";

// The findings of a group "varneld" with one setting, in line 2, and a store that is right.
std::string daemon_of(const std::string &setting) {
    return store_of("varneld = {\n" + setting + "\n}\n" + kRest);
}

// The findings of a backend with one setting, in line 3.
std::string backend_of(const std::string &name, const std::string &setting) {
    return store_of("backends = {\n" + name + " = {\n" + setting + "\n}\n}\nlayers = {\nl = {\n" + name +
                    " = {\n}\n}\n}\n");
}

std::string expected_of(std::string_view content) {
    const SettingsFile file(content);
    const auto findings = varnel::check_store_config(file.path());
    return findings.size() == 1 ? findings[0].expected : findings_text(findings);
}

TEST(StoreConfig, NothingToFind) {
    const std::string all = R"(
varneld = {
    socket = /run/varnel/varneld.sock
    owner = root
    group = 0
    mode = 0660
    udp = 127.0.0.1:4711
    modules = /usr/lib/varnel
    state = /var/lib/varnel
    flush_interval = 1000
    limits = {
        clients = 256
        rate = 2147483647
    }
}
other = 1
backends = {
    user = {
        library = sqlite.so
        priority = -0x10
        folder = /var/lib/varnel
        journal = wal
        sync = full
        anything = else
        function = {
            get = other_get
        }
    }
    defaults = {
        readonly = yes
        file = /etc/varnel/defaults.conf
        required = no
    }
}
layers = {
    default = user
    user = {
        durability = folder
        readonly = no
        user = {
            journal = persist
        }
        defaults = {
        }
    }
    factory = {
        readonly = true
        defaults = {
        }
    }
}
)";
    EXPECT_EQ(store_of(all), "");
    EXPECT_EQ(store_of(kRest), "");
    EXPECT_EQ(daemon_of(""), "");
}

TEST(StoreConfig, SyntaxComesFirst) {
    EXPECT_EQ(store_of(std::string("x\n") + kRest), "1:1 error \"x\" is neither a setting nor a brace\n");
    EXPECT_EQ(store_of("layers = {\n"), "1:10 error the group \"layers\" is not closed\n")
        << "nobody knows what would be in which group";
    EXPECT_EQ(store_of(std::string("varneld = {\nmode = 9\nx\n}\n") + kRest),
              "2:8 error \"9\" cannot be \"mode\"\n3:1 error \"x\" is neither a setting nor a brace\n");
}

TEST(StoreConfig, GroupsThatMustBeThere) {
    EXPECT_EQ(store_of(""), "0:0 error there is no group \"backends\"\n0:0 error there is no group \"layers\"\n");
    EXPECT_EQ(store_of("backends = {\n}\nlayers = {\n}\n"),
              "1:1 error the group \"backends\" is empty\n3:1 error the group \"layers\" is empty\n");
    EXPECT_EQ(store_of("backends = 1\nlayers = 2\nvarneld = 3\n"), "1:1 error \"backends\" is no group\n"
                                                                   "2:1 error \"layers\" is no group\n"
                                                                   "3:1 error \"varneld\" is no group\n");
    EXPECT_EQ(store_of("}\n" + std::string(kRest) + "g = {\n"),
              "0:0 error there is no group \"backends\"\n0:0 error there is no group \"layers\"\n"
              "1:1 warning a } that closes no group: nothing from here on is taken in\n"
              "12:5 warning the group \"g\" is not closed\n")
        << "the loader takes nothing in";
}

TEST(StoreConfig, NamesThatLookLikeTheDaemons) {
    EXPECT_EQ(store_of(std::string("varnelds = {\n}\nnetwork = {\n}\n") + kRest),
              "1:1 warning \"varnelds\" is not looked at\n");
}

TEST(DaemonConfig, UnknownSettings) {
    EXPECT_EQ(daemon_of("  sockt = /x"), "2:3 warning there is no setting \"sockt\"\n");
    EXPECT_EQ(expected_of("varneld = {\nsockt = /x\n}\n" + std::string(kRest)), "socket");
    EXPECT_EQ(expected_of("varneld = {\nlimit = {\n}\n}\n" + std::string(kRest)), "limits");
    EXPECT_EQ(expected_of("varneld = {\nzzzzzz = 1\n}\n" + std::string(kRest)),
              "socket, owner, group, mode, udp, modules, state, flush_interval, limits");
}

TEST(DaemonConfig, TextsOfTheWrongForm) {
    const struct {
        const char *name;
        std::vector<std::string> good, bad;
    } rows[] = {
        {"socket", {"/s", "s", std::string(107, 's')}, {"\" \"", std::string(108, 's')}},
        {"owner", {"root", "0", "4294967294", "_apt", "www-data"}, {"\" \"", "-1", "4294967295", "a b", "a:b"}},
        {"group", {"varnel", "12"}, {"\" \"", "-x", "a/b"}},
        {"mode", {"0660", "600", "0"}, {"0888", "rw", "1777", "-1"}},
        {"udp", {"4711", "127.0.0.1:32767"}, {"localhost:1", "127.0.0.1", "0", "32768", ":1", "::1"}},
        {"modules", {"/m", "m"}, {"\" \""}},
        {"state", {"/m", "m"}, {"\" \""}},
        {"flush_interval", {"10", "1000", "3600000"}, {"9", "3600001", "1s", "-10", "\" \""}},
    };
    for (const auto &row : rows) {
        for (const std::string &text : row.good)
            EXPECT_EQ(daemon_of(std::string(row.name) + " = " + text), "") << row.name;
        for (const std::string &text : row.bad)
            EXPECT_NE(daemon_of(std::string(row.name) + " = " + text).find(" error "), std::string::npos)
                << row.name << " = " << text;
        EXPECT_EQ(daemon_of(std::string(row.name) + " = {\n}"),
                  "2:1 error \"" + std::string(row.name) + "\" is a group\n");
    }
    EXPECT_EQ(daemon_of(" mode  =  \"rw\" "), "2:12 error \"rw\" cannot be \"mode\"\n");
}

TEST(DaemonConfig, LimitsHaveBounds) {
    for (const varnel::protocol::LimitRow &row : varnel::protocol::kLimits) {
        const std::string start = std::string("limits = {\n") + row.name + " = ";
        EXPECT_EQ(daemon_of(start + std::to_string(row.least) + "\n}"), "") << row.name;
        EXPECT_EQ(daemon_of(start + std::to_string(row.most) + "\n}"), "") << row.name;
        for (const std::uint64_t number : {std::uint64_t{row.least} - 1, std::uint64_t{row.most} + 1}) {
            const std::string text = std::to_string(number);
            const std::string column = std::to_string(std::string(row.name).size() + 4);
            EXPECT_EQ(daemon_of(start + text + "\n}"),
                      "3:" + column + " error \"" + text + "\" cannot be the limit \"" + row.name + "\"\n");
        }
    }
    EXPECT_EQ(daemon_of("limits = {\nclients = many\n}"), "3:11 error \"many\" cannot be the limit \"clients\"\n");
    EXPECT_EQ(expected_of("varneld = {\nlimits = {\nclients = 0\n}\n}\n" + std::string(kRest)),
              "1 to 65536 connections");
    EXPECT_EQ(daemon_of("limits = {\nclients = {\n}\n}"), "3:1 error \"clients\" is a group\n");
    EXPECT_EQ(daemon_of("limits = 5"), "2:1 error \"limits\" is no group\n");
}

TEST(DaemonConfig, UnknownLimits) {
    EXPECT_EQ(daemon_of("limits = {\nclint = 1\n}"), "3:1 error there is no limit \"clint\"\n");
    EXPECT_EQ(expected_of("varneld = {\nlimits = {\nclint = 1\n}\n}\n" + std::string(kRest)), "clients");
}

TEST(BackendConfig, SettingsOfTheWrongForm) {
    for (const char *const text : {"0", "10", "-5", "+5", "0x1f", "010", "2147483647", "-2147483648"})
        EXPECT_EQ(backend_of("m", std::string("priority = ") + text), "") << text;
    for (const char *const text : {"high", "1.5", "08", "2147483648", "-2147483649", "1 2", "0x", "\" \""})
        EXPECT_NE(backend_of("m", std::string("priority = ") + text).find("warning"), std::string::npos) << text;
    EXPECT_EQ(backend_of("m", "priority = high"), "3:12 warning \"high\" cannot be \"priority\"\n");
    EXPECT_EQ(backend_of("m", "readonly = on"), "3:12 warning \"on\" cannot be \"readonly\"\n");
    for (const char *const text : {"no", "0", "false", "never"})
        EXPECT_EQ(backend_of("m", std::string("readonly = ") + text), "") << text;
    EXPECT_EQ(backend_of("m", "library = \" \""), "3:12 error \"\" cannot be \"library\"\n") << "no such file";
    EXPECT_EQ(backend_of("m", "priority = {\n}"), "3:1 warning \"priority\" is a group and not looked at\n");
    EXPECT_EQ(backend_of("m", "library = {\n}"), "3:1 warning \"library\" is a group and not looked at\n");
}

TEST(BackendConfig, SettingsOfTheModules) {
    for (const char *const text : {"wal", "delete", "truncate", "persist"})
        EXPECT_EQ(backend_of("sqlite", std::string("journal = ") + text), "") << text;
    for (const char *const text : {"full", "extra", "normal", "off"})
        EXPECT_EQ(backend_of("sqlite", std::string("sync = ") + text), "") << text;
    EXPECT_EQ(backend_of("sqlite", "journal = memory"), "3:11 warning \"memory\" cannot be \"journal\"\n");
    EXPECT_EQ(backend_of("sqlite", "sync = yes"), "3:8 warning \"yes\" cannot be \"sync\"\n");
    EXPECT_EQ(backend_of("m", "library = sqlite.so\nsync = yes"), "4:8 warning \"yes\" cannot be \"sync\"\n");
    EXPECT_EQ(backend_of("m", "sync = yes"), "") << "another module's setting";
    EXPECT_EQ(
        backend_of("defaults", "readonly = yes\nrequired = on"),
        "4:12 warning \"on\" cannot be \"required\"\n8:1 warning all backends of the layer \"l\" are read-only\n");
}

TEST(BackendConfig, TheBoundOfAStore) {
    for (const char *const module : {"sqlite", "memory"}) {
        for (const char *const text : {"4096", "16777216", "4294967295"})
            EXPECT_EQ(backend_of(module, std::string("max_bytes = ") + text), "") << text;
        for (const std::string text : {"4095", "4294967296", "-1", "16m", "0x10000", "+5000", "5000.0"})
            EXPECT_EQ(backend_of(module, "max_bytes = " + text),
                      "3:13 warning \"" + text + "\" cannot be \"max_bytes\"\n");
        EXPECT_EQ(backend_of(module, "max_bytes = {\n}"), "3:1 warning \"max_bytes\" is a group and not looked at\n");
    }
    EXPECT_EQ(backend_of("m", "library = memory\nmax_bytes = 1"), "4:13 warning \"1\" cannot be \"max_bytes\"\n");
    EXPECT_EQ(backend_of("m", "max_bytes = 1"), "") << "another module's setting";
    EXPECT_EQ(expected_of("backends = {\nmemory = {\nmax_bytes = 1\n}\n}\nlayers = {\nl = {\nmemory = {\n}\n}\n}\n"),
              "a number of bytes from 4096 to 4294967295");
}

TEST(BackendConfig, Functions) {
    EXPECT_EQ(backend_of("m", "function = get"), "3:1 warning \"function\" is no group and not looked at\n");
    EXPECT_EQ(backend_of("m", "function = {\nget = {\n}\n}"), "4:1 warning \"get\" is a group and not looked at\n");
    EXPECT_EQ(backend_of("m", "function = {\nget = \" \"\n}"), "4:8 error \"get\" has no symbol\n");
}

TEST(BackendConfig, SettingsBetweenTheBackends) {
    EXPECT_EQ(store_of("backends = {\nx = 1\nm = {\n}\n}\nlayers = {\nl = {\nm = {\n}\n}\n}\n"),
              "2:1 warning \"x\" is no backend and not looked at\n");
}

// The findings of a group of layers, in lines 9 and following, over the backends m and r, which is read-only.
std::string layers_of(const std::string &layers) {
    return store_of("backends = {\nm = {\n}\nr = {\nreadonly = yes\n}\n}\nlayers = {\n" + layers + "\n}\n");
}

TEST(LayerConfig, BackendsThatAreNotThere) {
    EXPECT_EQ(layers_of("l = {\nm = {\n}\n  n = {\n}\n}"),
              "12:3 error the layer \"l\" names a backend that is not there: \"n\"\n");
    EXPECT_EQ(store_of("backends = {\nx = 1\nm = {\n}\n}\nlayers = {\nl = {\nx = {\n}\n}\n}\n"),
              "2:1 warning \"x\" is no backend and not looked at\n"
              "8:1 error the layer \"l\" names a backend that is not there: \"x\"\n");
    EXPECT_EQ(expected_of("backends = {\nsqlite = {\n}\n}\nlayers = {\nl = {\nsqlit = {\n}\n}\n}\n"), "sqlite");
    EXPECT_EQ(store_of("layers = {\nl = {\nm = {\n}\n}\n}\n"), "0:0 error there is no group \"backends\"\n")
        << "one mistake";
}

TEST(LayerConfig, LayersWithoutBackends) {
    EXPECT_EQ(layers_of("l = {\n}"), "9:1 error the layer \"l\" has no backends\n");
    EXPECT_EQ(layers_of("l = {\nreadonly = no\n}"), "9:1 warning the layer \"l\" has no backends\n")
        << "the library takes it";
}

TEST(LayerConfig, TheDefaultLayer) {
    const std::string layer = "\nl = {\nm = {\n}\n}";
    EXPECT_EQ(layers_of("default = l" + layer), "");
    EXPECT_EQ(layers_of("default = L" + layer), "") << "folded to lower case";
    EXPECT_EQ(layers_of("default = k" + layer), "9:11 error there is no layer \"k\"\n");
    EXPECT_EQ(layers_of("default = default" + layer), "9:11 error there is no layer \"default\"\n");
    EXPECT_EQ(layers_of("default = k\nk = 1" + layer), "9:11 error there is no layer \"k\"\n"
                                                       "10:1 warning \"k\" is no layer and not looked at\n");
    EXPECT_EQ(layers_of("default = {\nm = {\n}\n}"), "9:1 warning this is a layer that is named \"default\"\n");
    EXPECT_EQ(layers_of("default = l"), "8:1 error there is no layer\n");
}

TEST(LayerConfig, Settings) {
    const std::string end = "\nm = {\n}\n}";
    for (const char *const text : {"memory", "file", "folder"})
        EXPECT_EQ(layers_of(std::string("l = {\ndurability = ") + text + end), "") << text;
    EXPECT_EQ(layers_of("l = {\ndurability = disk" + end), "10:14 error \"disk\" cannot be \"durability\"\n");
    EXPECT_EQ(layers_of("l = {\nreadonly = on" + end), "10:12 warning \"on\" cannot be \"readonly\"\n");
    EXPECT_EQ(layers_of("l = {\nread_only = yes" + end), "10:1 warning layers have no setting \"read_only\"\n");
}

TEST(LayerConfig, SettingsLaidOverThoseOfABackend) {
    EXPECT_EQ(layers_of("l = {\nm = {\npriority = high\n}\n}"), "11:12 warning \"high\" cannot be \"priority\"\n");
    EXPECT_EQ(store_of("backends = {\nm = {\nlibrary = sqlite\n}\n}\nlayers = {\nl = {\nm = {\nsync = 1\n}\n}\n}\n"),
              "9:8 warning \"1\" cannot be \"sync\"\n");
}

TEST(LayerConfig, LayersThatNobodyCanWrite) {
    const std::string warning = "9:1 warning all backends of the layer \"l\" are read-only\n";
    EXPECT_EQ(layers_of("l = {\nr = {\n}\n}"), warning);
    EXPECT_EQ(layers_of("l = {\nr = {\n}\nm = {\nreadonly = yes\n}\n}"), warning);
    EXPECT_EQ(layers_of("l = {\nr = {\n}\nm = {\n}\n}"), "");
    EXPECT_EQ(layers_of("l = {\nr = {\nreadonly = no\n}\n}"), "") << "the layer's word counts";
    EXPECT_EQ(layers_of("l = {\nr = {\n}\nreadonly = yes\n}"), "") << "it is meant";
    EXPECT_EQ(store_of("backends = {\nd = {\nlibrary = defaults\n}\n}\nlayers = {\nl = {\nd = {\n}\n}\n}\n"),
              "7:1 warning all backends of the layer \"l\" are read-only\n")
        << "a module that takes no changes";
}

} // namespace

TEST(StoreConfig, NamesOfLayersThatNoKeyCouldHaveOrNoFile) {
    const auto layer_of = [](const std::string &name) {
        return store_of("backends = {\nm = {\n}\n}\nlayers = {\n" + name + " = {\nm = {\n}\n}\n}\n");
    };
    for (const char *const name : {"a.b", "a b", "\xc3\xa4", "-", ".."})
        EXPECT_EQ(layer_of(name), "") << name;
    EXPECT_EQ(layer_of(std::string(255, 'a')), "");
    for (const char *const name : {"a:b", "a/b", "/", ":", "a\x01", "\xff"})
        EXPECT_EQ(layer_of(name).rfind("6:1 error ", 0), 0U) << name << layer_of(name);
    EXPECT_EQ(layer_of("a/b"), "6:1 error \"a/b\" cannot be the name of a layer\n");
    EXPECT_EQ(layer_of(std::string(256, 'a')).rfind("6:1 error ", 0), 0U);
}
