#include "cli/Cli.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/Help.h"
#include "cli/ToolVerbs.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

constexpr const char* kVersion = "zelline " ZELLINE_VERSION;

void AddOption(CLI::App& app, const OptionInfo& info, Options& options) {
    const std::string name(info.name);
    const auto add = [&](auto member) {
        auto& into = options.*member;
        using Value = std::decay_t<decltype(into)>;
        if constexpr (std::is_same_v<Value, bool>) {
            app.add_flag(name, into);
        } else if constexpr (std::is_same_v<Value, long>) {
            app.add_option(name, into)->check(CLI::Range(info.least, info.most));
        } else if constexpr (std::is_same_v<Value, std::string>) {
            app.add_option(name, into)->envname(info.environment == nullptr ? "" : info.environment);
        } else {
            app.add_option(name, into)->take_all()->expected(1);
        }
    };
    std::visit(add, info.into);
}

void Describe(CLI::App& app, Options& options) {
    app.require_subcommand(1);
    app.set_help_flag("-h,--help");
    app.set_version_flag("--version", kVersion);
    for (const OptionInfo& option : CommonOptions()) {
        AddOption(app, option, options);
    }
    const auto addVerb = [&](std::string_view name, bool takesWords) {
        CLI::App* verb = app.add_subcommand(std::string(name))->fallthrough();
        verb->set_help_flag("-h,--help");
        if (takesWords) {
            verb->add_option("words", options.words);
        }
        return verb;
    };
    for (const VerbInfo& verb : Verbs()) {
        addVerb(verb.name, true);
    }
    for (const ToolVerb& verb : ToolVerbs()) {
        CLI::App* sub = addVerb(verb.name, !verb.words.empty());
        for (const OptionInfo* option : verb.options) {
            AddOption(*sub, *option, options);
        }
    }
}

// A value goes to standard output alone, so that a script can take it as it is; words do where there is none.
Exit AskTheSet(const Context& context, Words words) {
    const Console& console = context.console;
    words.insert(words.end(), context.options.words.begin(), context.options.words.end());
    const Action action = MakeAction(words);
    if (!action.stock.empty()) {
        Fail(Exit::Unusable, "{} stands for an item of the stock in plans only: see 'zelline run --help'",
             kFromStock);
    }
    if (action.kind == Action::Kind::Upload) {
        LoadFile(action.path);
    }
    const Session session(context);
    TerminalProgress progress(console, *session.transport);
    const Outcome outcome = Perform(*session.link, action, context.options.ForVerbs(), &progress);
    const bool showValue = outcome.hasValue && action.kind == Action::Kind::Ask;
    const bool noAnswer = outcome.status == Exit::NoAnswer;
    if (console.json || !noAnswer) {
        console.Result(outcome.json, showValue ? Printable(outcome.value) : outcome.words);
    }
    const bool wordsAreMissing =
        console.json ? outcome.status != Exit::Success : noAnswer || (showValue && outcome.value.empty());
    if (wordsAreMissing) {
        console.Note("zelline: " + outcome.words);
    }
    return outcome.status;
}

const ToolVerb* FindTool(const std::string& name) {
    const auto& tools = ToolVerbs();
    const auto tool = std::find_if(tools.begin(), tools.end(), [&](const ToolVerb& t) { return t.name == name; });
    return tool == tools.end() ? nullptr : &*tool;
}

Exit Dispatch(const Context& context, const std::string& verb) {
    const ToolVerb* tool = FindTool(verb);
    if (tool == nullptr) {
        return AskTheSet(context, {verb});
    }
    const bool takesAny = tool->words.size() > 3 && tool->words.substr(tool->words.size() - 3) == "...";
    const bool mayBeLeftOut = tool->words.substr(0, 1) == "[" && context.options.words.empty();
    if (!tool->words.empty() && !takesAny && !mayBeLeftOut && context.options.words.size() != 1) {
        Fail(Exit::Unusable, "write '{} {}'", tool->name, tool->words);
    }
    return tool->run(context);
}

}  // namespace

int RunCli(const std::vector<std::string>& arguments, Console console, const PortOpener& open, const Stop& stop) {
    CLI::App app;
    Options options;
    Describe(app, options);
    console.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    // The verb that was named, also when the rest of the line cannot be parsed.
    const auto named = std::find_if(arguments.begin(), arguments.end(), [](const std::string& text) {
        return FindVerb(text) != nullptr || FindTool(text) != nullptr;
    });
    std::string verb = named == arguments.end() ? std::string() : *named;
    try {
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
        app.parse(reversed);
        verb = app.get_subcommands().front()->get_name();
        console.json = options.json;
        return static_cast<int>(Dispatch({console, options, open, stop}, verb));
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
    } catch (const Error& error) {
        if (error.Status() != Exit::Interrupted) {
            console.Fail(error);
        }
        return static_cast<int>(error.Status());
    }
}

}  // namespace zelline
