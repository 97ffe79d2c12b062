#include "Cli.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>

#include "Help.h"
#include "Link.h"
#include "Plan.h"
#include "Tools.h"
#include "Trace.h"
#include "Verbs.h"

namespace zelline {
namespace {

constexpr const char* kVersion = "zelline 1.0.0";

struct Options {
    Globals globals;
    long timeout = 0;
    int retries = -1;
    long pace = 0;
    bool noConnect = false;
    Words words;  // a verb's own
    bool markdown = false;
    long listenFor = 0;
    RunOptions run;
};

void Describe(CLI::App& app, Options& options) {
    app.require_subcommand(1);
    app.set_help_flag("-h,--help");
    app.set_version_flag("--version", kVersion);
    app.add_option("--port", options.globals.port)->envname("ZELLINE_PORT");
    app.add_option("--timeout", options.timeout)->check(CLI::Range(1L, 3600000L));
    app.add_option("--retries", options.retries)->check(CLI::Range(0, 1000));
    app.add_option("--pace", options.pace)->check(CLI::Range(0L, 60000L));
    app.add_option("--trace", options.globals.trace);
    app.add_flag("--trace-key-bytes", options.globals.traceKeyBytes);
    app.add_flag("--json", options.globals.json);
    app.add_flag("--no-connect", options.noConnect);
    for (const VerbInfo& verb : Verbs()) {
        CLI::App* sub = app.add_subcommand(std::string(verb.name))->fallthrough();
        sub->set_help_flag("-h,--help");
        sub->add_option("words", options.words);
    }
    for (const ToolVerb& verb : ToolVerbs()) {
        CLI::App* sub = app.add_subcommand(std::string(verb.name))->fallthrough();
        sub->set_help_flag("-h,--help");
        if (verb.name == "listen") {
            sub->add_option("--for", options.listenFor)->check(CLI::Range(1L, 86400000L));
        } else if (verb.name == "commands") {
            sub->add_flag("--markdown", options.markdown);
        } else if (verb.name == "run" || verb.name == "validate") {
            sub->add_option("plan", options.run.path)->required();
            sub->add_option("--set", options.run.variables)->take_all()->expected(1);
            if (verb.name == "run") {
                sub->add_flag("--dry-run", options.run.dryRun);
                sub->add_option("--report", options.run.reports)->take_all()->expected(1);
            }
        } else if (verb.name != "ports") {
            sub->add_option("words", options.words)->required();
        }
    }
}

std::string OneFile(const Words& words, const char* verb) {
    if (words.size() != 1) {
        throw Error(Exit::Unusable, fmt::format("write '{} FILE'", verb));
    }
    return words[0];
}

// The opened port with its trace.
struct Session {
    std::unique_ptr<Trace> trace;
    std::unique_ptr<NoiseSink> noise;
    std::unique_ptr<Transport> transport;
    std::unique_ptr<Link> link;

    Session(const Globals& globals, const Console& console, const PortOpener& open, bool showNoise) {
        if (globals.port.empty()) {
            throw Error(Exit::Unusable,
                        "which port? Write --port PATH or set ZELLINE_PORT; 'zelline ports' lists them");
        }
        if (!globals.trace.empty()) {
            trace = std::make_unique<Trace>(globals.trace, globals.traceKeyBytes);
        }
        LineObserver* observer = trace.get();
        if (showNoise) {
            noise = std::make_unique<NoiseSink>(console, observer);
            observer = noise.get();
        }
        transport = open(globals.port);
        link = std::make_unique<Link>(*transport, observer);
    }
};

// A value goes to standard output alone, so that a script can take it as it is; words do where there is none.
Exit AskTheSet(const Console& console, const Options& options, const Words& words, const PortOpener& open) {
    const Action action = MakeAction(words);
    if (action.kind == Action::Kind::Upload) {
        LoadFile(action.path);
    }
    Session session(options.globals, console, open, false);
    TerminalProgress progress(console, *session.transport);
    const Outcome outcome = Perform(*session.link, action, options.globals.settings, &progress);
    const bool showValue = outcome.hasValue && action.kind == Action::Kind::Ask;
    if (outcome.status == Exit::NoAnswer && !console.json) {
        console.Note("zelline: " + outcome.words);
        return outcome.status;
    }
    console.Result(outcome.json, showValue ? Printable(outcome.value) : outcome.words);
    if (console.json && outcome.status != Exit::Success) {
        console.Note("zelline: " + outcome.words);
    } else if (!console.json && showValue && outcome.value.empty()) {
        console.Note("zelline: " + outcome.words);
    }
    return outcome.status;
}

Exit Dispatch(const Console& console, const Options& options, const std::string& verb, const PortOpener& open) {
    if (verb == "ports") {
        return ShowPorts(console);
    }
    if (verb == "decode") {
        return Decode(console, fmt::format("{}", fmt::join(options.words, " ")));
    }
    if (verb == "commands") {
        return ShowCommands(console, options.markdown);
    }
    if (verb == "validate") {
        return ValidatePlan(console, options.run);
    }
    if (verb == "run") {
        const auto connect = [&]() { return std::make_unique<Session>(options.globals, console, open, false); };
        std::unique_ptr<Session> session;
        return RunPlan(console, options.run, options.globals.settings, [&]() -> Link& {
            session = connect();
            return *session->link;
        });
    }
    if (verb == "listen") {
        Session session(options.globals, console, open, true);
        return Listen(console, *session.link,
                      options.listenFor > 0 ? std::optional(Millis(options.listenFor)) : std::nullopt);
    }
    if (verb == "replay") {
        const std::string path = OneFile(options.words, "replay");
        ReadTrace(path);
        Session session(options.globals, console, open, false);
        return Replay(console, *session.link, path, options.globals.settings);
    }
    Words words = {verb};
    words.insert(words.end(), options.words.begin(), options.words.end());
    return AskTheSet(console, options, words, open);
}

// The verb that was named, also when the rest of the line could not be parsed.
std::string NamedVerb(const std::vector<std::string>& arguments) {
    const auto isVerb = [](const std::string& text) {
        const auto named = [&](const auto& verb) { return verb.name == text; };
        return std::any_of(Verbs().begin(), Verbs().end(), named) ||
               std::any_of(ToolVerbs().begin(), ToolVerbs().end(), named);
    };
    const auto verb = std::find_if(arguments.begin(), arguments.end(), isVerb);
    return verb == arguments.end() ? std::string() : *verb;
}

}  // namespace

int RunCli(const std::vector<std::string>& arguments, Console console, const PortOpener& open) {
    CLI::App app;
    Options options;
    Describe(app, options);
    console.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    std::string verb = NamedVerb(arguments);
    try {
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
        app.parse(reversed);
        verb = app.get_subcommands().front()->get_name();
    } catch (const CLI::CallForHelp&) {
        console.out << (verb.empty() ? HelpPage() : HelpPage(verb));
        return 0;
    } catch (const CLI::CallForVersion&) {
        console.out << kVersion << std::endl;
        return 0;
    } catch (const CLI::ParseError& error) {
        std::string text = error.what();
        if (arguments.empty()) {
            text = "a verb is missing";
        } else if (verb.empty() && arguments[0].substr(0, 1) != "-") {
            text = fmt::format("'{}' is no verb", Printable(arguments[0]));
        }
        console.Fail(Error(Exit::Unusable, fmt::format("{}; 'zelline {}--help' explains", text,
                                                       verb.empty() ? std::string() : verb + " ")));
        return static_cast<int>(Exit::Unusable);
    }
    console.json = options.globals.json;
    Settings& settings = options.globals.settings;
    settings.timeout = options.timeout > 0 ? std::optional(Millis(options.timeout)) : std::nullopt;
    settings.retries = options.retries >= 0 ? std::optional(options.retries) : std::nullopt;
    settings.connect = !options.noConnect;
    settings.pace = Millis(options.pace);
    try {
        return static_cast<int>(Dispatch(console, options, verb, open));
    } catch (const Error& error) {
        if (error.Status() != Exit::Interrupted) {
            console.Fail(error);
        }
        return static_cast<int>(error.Status());
    }
}

}  // namespace zelline
