// SPDX-License-Identifier: MIT
// From the command line to an exit code.
#include "ctl/run_command.h"

#include "common/nearest_name.h"
#include "common/text.h"
#include "ctl/arguments.h"
#include "ctl/commands.h"
#include "ctl/failure.h"
#include "ctl/options.h"
#include "ctl/output.h"

#include <algorithm>
#include <iostream>
#include <iterator>

namespace varnel::ctl {

namespace {

constexpr const char *kDescription = "Read and change the settings that varneld keeps.\n"
                                     "\n"
                                     "Keys are layer:group:name. An empty layer, as in :network:mtu, is the default\n"
                                     "layer; where a value is wanted, network:mtu says the same.";

constexpr const char *kFooter = "'varnelctl COMMAND --help' tells more, with examples; so does varnelctl(1).\n"
                                "\n"
                                "Exit codes: 0 done; 1 no such value or group; 2 wrong use; 3 the daemon cannot be\n"
                                "reached; 4 the daemon refused.";

constexpr const char *kOptionsOfAll = "\n\nFor all commands: --socket PATH, --udp HOST:PORT, --timeout SECONDS";

// Arguments as manual pages have them: [KEY...] for any number, also none.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_usage(const CLI::Option *option) const override {
        const std::string name = make_option_name(option, true) + (option->get_expected_max() > 1 ? "..." : "");
        return option->get_required() ? name : "[" + name + "]";
    }
};

void add_commands(CLI::App &app, Session &session) {
    app.fallthrough(); // options of all commands may stand behind one
    app.require_subcommand(1);
    for (const Command &command : kCommands) {
        CLI::App *const sub = app.add_subcommand(command.name, command.summary);
        sub->footer(std::string("Examples:\n") + command.examples + kOptionsOfAll);
        command.add(*sub, session);
    }
}

// The first word that nobody knows, where there is no command that may have options of its own.
std::string describe_unknown(const std::string &word) {
    if (word.front() == '-')
        return "there is no option " + in_quotes(word);
    std::vector<std::string> names;
    std::transform(std::begin(kCommands), std::end(kCommands), std::back_inserter(names),
                   [](const Command &command) { return command.name; });
    const std::string nearest = nearest_name(word, names);
    return "there is no command " + in_quotes(word) + (nearest.empty() ? "" : "; perhaps " + nearest + " is meant");
}

// Help is success; everything else that ends parsing is wrong use.
int end_of_parsing(const CLI::App &app, const CLI::ParseError &error) {
    if (error.get_exit_code() == 0)
        return app.exit(error, std::cout, std::cerr);
    const auto commands = app.get_subcommands();
    const std::string command = commands.empty() ? "" : " " + commands.front()->get_name();
    const std::vector<std::string> unknown = app.remaining();
    const bool word_unknown = commands.empty() && !unknown.empty() && !unknown.front().empty();
    complain((word_unknown ? describe_unknown(unknown.front()) : error.what()) + "\n('varnelctl" + command +
             " --help' shows how it is used)");
    return kUsage;
}

int parse_and_run(CLI::App &app, const Session &session, std::vector<std::string> options) {
    std::reverse(options.begin(), options.end()); // as the parser takes them
    try {
        app.parse(std::move(options));
    } catch (const CLI::ParseError &error) {
        return end_of_parsing(app, error);
    }
    flush_output();
    return session.result;
}

// What a command throws, in words and as an exit code.
template <class Body> int report_errors(const Session &session, Body body) {
    try {
        return body();
    } catch (const BrokenPipe &) {
        return kRefused; // who read the output has seen enough
    } catch (const Failure &failure) {
        complain(failure.what());
        return failure.code();
    } catch (const conversation::Error &error) {
        complain(explain_error(error, session.path()));
        return exit_code_of(error);
    } catch (const std::exception &error) {
        complain(error.what());
        return kRefused;
    }
}

} // namespace

int run(int argc, const char *const *argv, const char *version) {
    Session session;
    return report_errors(session, [&] {
        Arguments arguments = prepare_arguments(argc, argv);
        session.words = std::move(arguments.words);
        CLI::App app(kDescription, "varnelctl");
        app.footer(kFooter);
        app.formatter(std::make_shared<HelpFormatter>());
        app.set_version_flag("--version", std::string("varnelctl ") + version);
        add_connection_options(app, session);
        add_commands(app, session);
        return parse_and_run(app, session, std::move(arguments.options));
    });
}

} // namespace varnel::ctl
