#include "simset/main/Manual.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <sstream>

namespace simset {
namespace {

constexpr const char* kControlCommand = "ctl";

// What the command line shows for a value, without what it says of the check behind it; the choices of one that
// has few go to `values`.
std::string ValueName(CLI::Option& option, manual::Values& values) {
    std::string name = option.get_type_size() == 0 ? "" : option.get_type_name();
    for (int i = 0;; ++i) {
        std::string check;
        try {
            check = option.get_validator(i)->get_description();
        } catch (const CLI::OptionNotFound&) {
            break;
        }
        const auto at = check.empty() ? std::string::npos : name.rfind(':' + check);
        if (at == std::string::npos) {
            continue;
        }
        name.erase(at);
        if (check.front() == '{') {
            std::istringstream words(check.substr(1, check.size() - 2));
            for (std::string word; std::getline(words, word, ',');) {
                values[name].push_back(word);
            }
        }
    }
    return name;
}

manual::Command FromApp(const CLI::App& app) {
    manual::Command command{app.get_name(), {}, {}, app.get_description(), app.get_footer(), {}};
    std::string form;
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional()) {
            form += (form.empty() ? "" : " ") + option->get_name(true);
            ValueName(const_cast<CLI::Option&>(*option), command.values);
            continue;
        }
        if (option->get_name() == "--help") {
            continue;
        }
        manual::Option told{option->get_name(), ValueName(const_cast<CLI::Option&>(*option), command.values),
                            option->get_description(), option->get_items_expected_max() > 1};
        if (option->get_required()) {
            told.help += " (required)";
        }
        command.options.push_back(std::move(told));
    }
    command.forms.push_back(form);
    return command;
}

// Options are what stands in brackets, and the words that begin with --.
manual::Command FromVerb(const VerbForm& form) {
    manual::Command command{form.verb, {""}, {}, form.help, "", {}};
    for (auto& [word, names] : form.values == nullptr ? VerbForm::Values() : form.values()) {
        command.values[word] = names;
        command.values[word].emplace_back("<any>");  // wildcards, and paths of the set
    }
    if (form.when == When::On) {
        command.more = "Only of a set that is on.";
    }
    std::istringstream words(form.arguments);
    for (std::string word; words >> word;) {
        const bool inBrackets = word.front() == '[';
        const bool isWhole = inBrackets && word.back() == ']';
        const std::string bare =
            word.substr(inBrackets ? 1 : 0, word.size() - (inBrackets ? 1 : 0) - (isWhole ? 1 : 0));
        if (bare.substr(0, 2) != "--") {
            command.forms[0] += (command.forms[0].empty() ? "" : " ") + bare;
            continue;
        }
        std::istringstream names(bare);
        for (std::string name; std::getline(names, name, '|');) {
            command.options.push_back({name, "", "", false});
        }
        const bool takesText = !isWhole && bare.find('|') == std::string::npos && words.rdbuf()->in_avail() > 0;
        if (takesText && words >> word) {
            command.options.back().value = word.back() == ']' ? word.substr(0, word.size() - 1) : word;
        }
    }
    return command;
}

// Words of the form that stand for themselves belong to the name, so that forms of one verb have help of their
// own.
void TakeFixedWords(manual::Command& command) {
    std::string& form = command.forms[0];
    const auto end = std::min(form.find(' '), form.size());
    const std::string first = form.substr(0, end);
    bool fixed = !first.empty();
    for (const char c : first) {
        fixed = fixed && c != '|' && std::isupper(static_cast<unsigned char>(c)) == 0;
    }
    if (fixed) {
        command.name += ' ' + first;
        form.erase(0, std::min(end + 1, form.size()));
    }
}

}  // namespace

manual::Program Describe(const CLI::App& app, const std::vector<VerbForm>& verbs) {
    manual::Program program;
    program.name = app.get_name();
    program.version = SIMSET_VERSION;
    program.summary = "a simulated television set that runs the factory application";
    program.synopsis = {"run --state DIR [options]", "ctl --state DIR VERB ...", "stick make|check DIR [options]"};
    program.options = {{"-h,--help", "", "the help page of simset, or of a command", false}};
    program.groups.push_back({"Commands", "", {}, {}});
    for (const CLI::App* command : app.get_subcommands({})) {
        const auto inner = command->get_subcommands({});
        manual::Command told = FromApp(*command);
        const bool isControl = told.name == kControlCommand;
        if (!isControl && inner.empty()) {
            program.groups.front().commands.push_back(told);
            continue;
        }
        manual::Group group{program.name + ' ' + told.name, told.name, told.options, {}};
        for (const CLI::App* part : inner) {
            group.commands.push_back(FromApp(*part));
        }
        for (const VerbForm& verb : isControl ? verbs : std::vector<VerbForm>()) {
            group.commands.push_back(FromVerb(verb));
            TakeFixedWords(group.commands.back());
        }
        program.groups.push_back(group);
    }
    program.values = {{"PATH", {"<any>"}}};  // of the set, not of this machine
    return program;
}

}  // namespace simset
