#include "cli/Help.h"

#include <fmt/format.h>

#include "cli/ToolVerbs.h"
#include "manual/Completion.h"
#include "manual/Page.h"
#include "plan/PlanFormat.h"
#include "protocol/KeyFiles.h"
#include "station/StationFormat.h"

namespace zelline {
namespace {

struct StatusInfo {
    int status;
    std::string_view words;
};

constexpr StatusInfo kStatuses[] = {
    {0, "the set answered success"},
    {1, "it answered failure: a bad unit"},
    {2, "unusable arguments or file"},
    {3, "no answer in time"},
    {4, "the port cannot be opened, is taken or was lost"},
    {5, "a report, trace or record cannot be written"},
    {6, "the stock is empty, or the store cannot be reached"},
    {130, "stopped by Ctrl-C, SIGTERM or SIGHUP"},
};

manual::Option Described(const OptionInfo& option) {
    const bool repeats = std::holds_alternative<std::vector<std::string> Options::*>(option.into);
    return {std::string(option.name), std::string(option.value), std::string(option.help), repeats};
}

manual::Command Described(const VerbInfo& verb) {
    manual::Command command{std::string(verb.name), {}, {}, std::string(verb.help), verb.more, {}};
    for (const Form& form : verb.forms) {
        command.forms.emplace_back(form.words);
    }
    if (!verb.names.empty()) {
        command.values["NAME"] = {verb.names.begin(), verb.names.end()};
    }
    return command;
}

manual::Command Described(const ToolVerb& verb) {
    manual::Command command{std::string(verb.name),
                            {verb.forms.begin(), verb.forms.end()},
                            {},
                            std::string(verb.help),
                            std::string(verb.more),
                            {}};
    if (command.forms.empty()) {
        command.forms.emplace_back(verb.words);
    }
    for (const OptionInfo* option : verb.options) {
        command.options.push_back(Described(*option));
    }
    return command;
}

template <typename Row>
std::vector<manual::Command> DescribedAll(const std::vector<Row>& rows) {
    std::vector<manual::Command> commands;
    for (const Row& row : rows) {
        commands.push_back(Described(row));
    }
    return commands;
}

manual::Program MakeDescription() {
    manual::Program program;
    program.name = "zelline";
    program.version = ZELLINE_VERSION;
    program.summary = "the line end of a television's factory serial protocol";
    program.synopsis = {"[options] VERB ...", "VERB --help"};
    for (const OptionInfo& option : CommonOptions()) {
        program.options.push_back(Described(option));
    }
    program.options.push_back({"-h,--help", "", "the help page of the tool, or of a verb", false});
    program.options.push_back({"--version", "", "the tool's version", false});
    program.groups = {{"Ask the set", "", {}, DescribedAll(Verbs())},
                      {"Around it", "", {}, DescribedAll(ToolVerbs())}};
    std::string statuses;
    for (const StatusInfo& row : kStatuses) {
        statuses += fmt::format("  {:<3}  {}\n", row.status, row.words);
    }
    std::string environment;
    for (const OptionInfo& option : CommonOptions()) {
        if (option.environment != nullptr) {
            environment += fmt::format("  {:<15}  in the place of {}\n", option.environment, option.name);
        }
    }
    program.sections = {{"Exit status", statuses}, {"Environment", environment}};
    program.values["STORE"] = {"<file>"};
    for (const zel::KeyFileInfo& type : zel::kKeyFiles) {
        if (type.file != zel::KeyFile::Config) {
            program.values["TYPE"].emplace_back(type.name);
        }
    }
    return program;
}

std::string OptionLines() {
    std::string lines = "Options, before or behind the verb\n";
    for (const manual::Option& option : Description().options) {
        std::string name = fmt::format("{} {}", option.name, option.value);
        if (const auto comma = name.find(','); comma != std::string::npos) {
            name.insert(comma + 1, " ");
        }
        lines += fmt::format("  {:<18}  {}\n", name, option.help);
    }
    return lines;
}

std::string Statuses() {
    const manual::Section& section = Description().sections.front();
    return fmt::format("{}\n{}", section.title, section.text);
}

std::string VerbPage(const manual::Command& verb) {
    std::string page = fmt::format("{}.\n\n", verb.help);
    std::string optional;
    std::string told;
    for (const manual::Option& option : verb.options) {
        const std::string name = fmt::format("{}{}{}", option.name, option.value.empty() ? "" : " ", option.value);
        optional += fmt::format(" [{}]{}", name, option.repeats ? "..." : "");
        told += fmt::format("  {:<18}  {}\n", name, option.help);
    }
    for (const std::string& form : verb.forms) {
        page += fmt::format("  zelline [options] {}{}{}{}\n", verb.name, form.empty() ? "" : " ", form, optional);
    }
    page += verb.more.empty() ? "" : fmt::format("\n{}\n", verb.more);
    page += told.empty() ? "" : fmt::format("\nOptions of this verb\n{}", told);
    return fmt::format("{}\n{}\n{}", page, OptionLines(), Statuses());
}

const manual::FileFormat& FormatOf(const std::string& file) {
    if (file != "plan" && file != "station") {
        Fail(Exit::Unusable, "there are pages of the files 'plan' and 'station'");
    }
    return file == "plan" ? PlanFormat() : StationFormat();
}

}  // namespace

const manual::Program& Description() {
    static const manual::Program kProgram = MakeDescription();
    return kProgram;
}

Exit ShowManual(const Context& context) {
    const Words& words = context.options.words;
    context.console.out << (words.empty() ? manual::ManPage(Description())
                                          : manual::ManPage(FormatOf(words[0]), ZELLINE_VERSION));
    return Exit::Success;
}

Exit ShowFormat(const Context& context) {
    const manual::FileFormat& format = FormatOf(context.options.words[0]);
    context.console.out << (context.options.markdown ? manual::MarkdownTables(format) : manual::PlainPage(format));
    return Exit::Success;
}

Exit ShowCompletion(const Context& context) {
    const std::string& shell = context.options.words[0];
    if (shell != "bash" && shell != "zsh") {
        Fail(Exit::Unusable, "there is completion for bash and for zsh");
    }
    context.console.out << (shell == "bash" ? manual::BashCompletion(Description())
                                            : manual::ZshCompletion(Description()));
    return Exit::Success;
}

std::string HelpPage() {
    std::string page =
        "zelline: the line end of a television's factory serial protocol.\n\n"
        "  zelline [options] VERB ...\n"
        "  zelline VERB --help        more about one verb\n";
    for (const manual::Group& group : Description().groups) {
        page += fmt::format("\n{}\n", group.title);
        for (const manual::Command& verb : group.commands) {
            page += fmt::format("  {:<11} {}\n", verb.name, verb.help);
        }
    }
    return fmt::format(
        "{}\n{}\n{}\nA first try\n"
        "  export ZELLINE_PORT=/dev/ttyUSB0\n"
        "  zelline listen             is there a set?\n"
        "  zelline version            ask it something\n"
        "  zelline run plan.toml      a whole station\n",
        page, OptionLines(), Statuses());
}

std::string HelpPage(std::string_view name) {
    for (const manual::Group& group : Description().groups) {
        for (const manual::Command& verb : group.commands) {
            if (verb.name == name) {
                return VerbPage(verb);
            }
        }
    }
    return HelpPage();
}

}  // namespace zelline
