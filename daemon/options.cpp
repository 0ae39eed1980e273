// SPDX-License-Identifier: MIT
#include "daemon/options.h"

#include "common/config_rules.h"
#include "common/setting_text.h"
#include "daemon/configuration.h"
#include "daemon/log.h"

#include "protocol/defaults.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <sstream>
#include <utility>

namespace varnel::daemon {

namespace {

constexpr int kWrongUse = 2;
constexpr const char *kDefaultState = "/var/lib/varnel";

constexpr const char *kDescription =
    "varneld, the settings daemon: serves layered settings over a UNIX socket, in the foreground.\n"
    "Without --config it keeps the layer \"user\" in the state folder, above the factory defaults of\n"
    "/etc/varnel/defaults.conf, and the layer \"volatile\" in memory.";

constexpr const char *kFooter =
    "Example: varneld --socket /tmp/varneld.sock --state /tmp/varnel --limits clients=32,rate=1000\n"
    "SIGTERM and SIGINT end it. \"varneld: ready on PATH\" on standard output tells that it serves.\n"
    "Exit codes: 0 ended by a signal, 1 cannot start, 2 wrong use or configuration.";

// As given on the command line; what is empty was not.
struct CommandLine {
    std::string config, modules, state, socket, owner, group, mode, udp, flush_interval;
    std::vector<std::string> limits;
};

std::string relative_to_program(const char *path) {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : (program.parent_path() / path).lexically_normal().string();
}

// The folder of the modules: beside the program, where it was installed or built, or where it was meant to be
// installed.
std::string default_modules() {
    for (const char *const place : {VARNEL_MODULES_FROM_PROGRAM, "../modules"}) {
        std::string folder = relative_to_program(place);
        if (!folder.empty() && std::filesystem::is_directory(folder))
            return folder;
    }
    return VARNEL_INSTALLED_MODULES;
}

std::uint32_t milliseconds_of(const std::string &text) {
    constexpr std::uint32_t kLeast = 10;
    constexpr std::uint32_t kMost = 3600000;
    const std::optional<std::uint32_t> number = parse_count(text, kLeast, kMost);
    if (!number)
        throw Usage(kWrongUse, "flush_interval: \"" + text + "\" is no number from " + std::to_string(kLeast) + " to " +
                                   std::to_string(kMost));
    return *number;
}

mode_t mode_of(const std::string &text) {
    const std::optional<std::uint32_t> mode = parse_mode(text);
    if (!mode)
        throw Usage(kWrongUse, "mode: \"" + text + "\" is no octal number from 0 to 777");
    return *mode;
}

// What the configuration's check refuses is refused on the command line.
const std::string &expect_setting(const char *name, const std::string &text) {
    const SettingRule *const rule = find_rule(daemon_rules(), name);
    if (rule != nullptr && !text.empty() && !rule->accepts(text))
        throw Usage(kWrongUse, std::string(name) + ": \"" + text + "\" is not " + rule->expected);
    return text;
}

void set_limit(Limits &limits, const std::string &name, const std::string &text) {
    if (const std::optional<std::string> wrong = limits.set(name, text))
        throw Usage(kWrongUse, *wrong);
}

void set_limits(Limits &limits, const std::vector<std::string> &settings) {
    for (const std::string &setting : settings) {
        const std::size_t equals = setting.find('=');
        if (equals == std::string::npos)
            throw Usage(kWrongUse, "--limits: \"" + setting + "\" is no NAME=NUMBER");
        set_limit(limits, setting.substr(0, equals), setting.substr(equals + 1));
    }
}

std::string first_of(const std::string &given, const xdictionary *tree, const char *path, const std::string &fallback) {
    return !given.empty() ? given : confparser_getstring(tree, path, fallback.c_str());
}

CommandLine parse(int argc, char **argv) {
    CommandLine line;
    CLI::App app(kDescription, "varneld");
    app.footer(kFooter);
    app.set_version_flag("--version", std::string("varneld ") + VARNEL_VERSION);
    app.add_option("--config", line.config, "Configuration file, instead of the built-in configuration");
    app.add_option("--modules", line.modules, "Folder of the storage modules");
    app.add_option("--state", line.state, std::string("Folder of the stored values [") + kDefaultState + "]");
    app.add_option("--socket", line.socket, std::string("Path of the socket [") + protocol::kDefaultSocket + "]");
    app.add_option("--owner", line.owner, "User (name or number) that the socket belongs to");
    app.add_option("--group", line.group, "Group (name or number) that the socket belongs to");
    app.add_option("--mode", line.mode, "Mode of the socket, octal [0660]");
    app.add_option("--udp", line.udp, "Serve UDP, too, at ADDRESS:PORT, or at PORT on loopback");
    app.add_option("--flush-interval", line.flush_interval,
                   "Milliseconds until changes in memory are brought to the storage [1000]");
    app.add_option("--limits", line.limits, "NAME=NUMBER,...: see \"varnelctl status --limits\" for the names")
        ->delimiter(',');
    for (CLI::Option *const option : app.get_options()) {
        if (option->get_items_expected_max() != 0)
            option->check([](const std::string &text) { return std::string(text.empty() ? "is empty" : ""); });
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ExtrasError &) {
        throw Usage(kWrongUse, "there is no option \"" + app.remaining().front() + "\"; --help lists those there are");
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() != 0)
            throw Usage(kWrongUse, error.what());
        std::ostringstream out;
        app.exit(error, out);
        std::string text = out.str();
        text.erase(text.find_last_not_of('\n') + 1); // whoever prints it adds one
        throw Usage(0, text);
    }
    return line;
}

} // namespace

void read_options(int argc, char **argv, Options &options) {
    const CommandLine line = parse(argc, argv);
    options.tree = line.config.empty() ? load_built_in() : load_configuration(line.config);
    const xdictionary *const tree = options.tree;
    options.modules = first_of(line.modules, tree, "varneld:modules", default_modules());
    options.state = first_of(line.state, tree, "varneld:state", kDefaultState);
    options.udp = expect_setting("udp", first_of(line.udp, tree, "varneld:udp", ""));
    options.socket.path =
        expect_setting("socket", first_of(line.socket, tree, "varneld:socket", protocol::kDefaultSocket));
    options.socket.owner = expect_setting("owner", first_of(line.owner, tree, "varneld:owner", ""));
    options.socket.group = expect_setting("group", first_of(line.group, tree, "varneld:group", ""));
    options.socket.mode = mode_of(first_of(line.mode, tree, "varneld:mode", "0660"));
    options.flush_interval = milliseconds_of(first_of(line.flush_interval, tree, "varneld:flush_interval", "1000"));
    for (const auto &[name, text] : strings_of(confparser_getdic(tree, "varneld:limits")))
        set_limit(options.limits, name, text);
    set_limits(options.limits, line.limits);
    if (const std::optional<std::string> note = options.limits.fit())
        log_info(*note);
    give_state_folder(options.tree, options.state);
}

} // namespace varnel::daemon
