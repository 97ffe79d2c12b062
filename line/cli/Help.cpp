#include "cli/Help.h"

#include <fmt/format.h>

#include "cli/Tools.h"

namespace zelline {
namespace {

constexpr std::string_view kStatuses =
    "Exit status\n"
    "  0  the set answered success          3  no answer in time\n"
    "  1  it answered failure: a bad unit   4  the port cannot be opened, is taken or was lost\n"
    "  2  unusable arguments or file        5  a report, trace or record cannot be written\n"
    "  6  the stock is empty, or the store cannot be reached\n";

// A verb of either kind, as the pages show it.
struct Entry {
    std::string_view name;
    std::vector<std::string> forms;  // what stands behind the name
    std::string_view help;
    std::string_view more;
};

std::vector<Entry> Entries(const std::vector<VerbInfo>& verbs) {
    std::vector<Entry> entries;
    for (const VerbInfo& verb : verbs) {
        entries.push_back({verb.name, {}, verb.help, verb.more});
        for (const Form& form : verb.forms) {
            entries.back().forms.emplace_back(form.words);
        }
    }
    return entries;
}

std::vector<Entry> Entries(const std::vector<ToolVerb>& verbs) {
    std::vector<Entry> entries;
    for (const ToolVerb& verb : verbs) {
        std::string form(verb.words);
        for (const OptionInfo* option : verb.options) {
            const bool repeats = std::holds_alternative<std::vector<std::string> Options::*>(option->into);
            form += fmt::format("{}[{}{}{}]{}", form.empty() ? "" : " ", option->name,
                                option->value.empty() ? "" : " ", option->value, repeats ? "..." : "");
        }
        entries.push_back({verb.name, {form}, verb.help, verb.more});
    }
    return entries;
}

std::string OptionLines() {
    std::string lines = "Options, before or behind the verb\n";
    for (const OptionInfo& option : CommonOptions()) {
        lines += fmt::format("  {:<18}  {}\n", fmt::format("{} {}", option.name, option.value), option.help);
    }
    return lines +
           "  -h, --help          this page, or a verb's\n"
           "  --version           the tool's version\n";
}

}  // namespace

std::string HelpPage() {
    std::string page =
        "zelline: the line end of a television's factory serial protocol.\n\n"
        "  zelline [options] VERB ...\n"
        "  zelline VERB --help        more about one verb\n";
    for (const auto& [title, entries] :
         {std::pair("Ask the set", Entries(Verbs())), std::pair("Around it", Entries(ToolVerbs()))}) {
        page += fmt::format("\n{}\n", title);
        for (const Entry& entry : entries) {
            page += fmt::format("  {:<11} {}\n", entry.name, entry.help);
        }
    }
    return fmt::format(
        "{}\n{}\n{}\nA first try\n"
        "  export ZELLINE_PORT=/dev/ttyUSB0\n"
        "  zelline listen             is there a set?\n"
        "  zelline version            ask it something\n"
        "  zelline run plan.toml      a whole station\n",
        page, OptionLines(), kStatuses);
}

std::string HelpPage(std::string_view name) {
    for (const auto& entries : {Entries(Verbs()), Entries(ToolVerbs())}) {
        for (const Entry& entry : entries) {
            if (entry.name != name) {
                continue;
            }
            std::string page = fmt::format("{}.\n\n", entry.help);
            for (const std::string& form : entry.forms) {
                page += fmt::format("  zelline [options] {}{}{}\n", name, form.empty() ? "" : " ", form);
            }
            page += entry.more.empty() ? "" : fmt::format("\n{}\n", entry.more);
            return fmt::format("{}\n{}\n{}", page, OptionLines(), kStatuses);
        }
    }
    return HelpPage();
}

}  // namespace zelline
