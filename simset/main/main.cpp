#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "manual/Completion.h"
#include "manual/Page.h"
#include "simset/base/Errors.h"
#include "simset/board/folder/ControlSet.h"
#include "simset/board/host/Board.h"
#include "simset/board/host/RunOptions.h"
#include "simset/board/inside/Agent.h"
#include "simset/board/inside/Protocol.h"
#include "simset/board/scenario/ScenarioFormat.h"
#include "simset/main/Manual.h"
#include "simset/stick/StickCommand.h"

namespace {

constexpr const char* kAbout =
    "A simulated television set: runs the factory application, unchanged, in a set's file tree\n"
    "with a set's middleware, panel, serial line and USB sticks.\n";

constexpr const char* kRunFooter = R"(
When the application runs, one line of JSON goes to standard output:
  {"ready":true,"line":"/dev/pts/5","control":"DIR/control","pid":1234}
DIR/line links to the serial line; DIR/app.out and DIR/app.err hold what the application printed.
The last line says why the run ended: no-start, application, killed, stopped, power-cut, panel-lost,
set-lost, reboot-failed or failed:
  {"ended":"application","status":0}

Exit status: the application's own, 128 + N when signal N ended it (137 after a power cut), 0 after
SIGINT or SIGTERM; 2 unusable arguments, state in use, no application; 3 namespaces not allowed;
4 state folder or its database unusable (full disk); 5 no panel; 6 the set could not be built;
7 with --strict, when it would be 0 but the application broke a rule; 8 with --scenario, when it would
be 0 but something in the scenario did not happen.)";

int RunSet(const simset::RunOptions& options) {
    simset::Ended ended;
    try {
        simset::Board(options).Run(ended);
    } catch (const std::exception& error) {
        ended.status = simset::ExitStatus(error);  // also of one that came before Run
        std::fprintf(stderr, "simset: %s\n", error.what());
    }
    const std::string line = ToJson(ended).dump();
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
    return ended.status;
}

int RunControl(const std::string& state, const std::vector<std::string>& verb) {
    try {
        if (verb.empty()) {
            throw std::runtime_error("a verb is missing; simset ctl --help lists them");
        }
        const simset::Caller caller{
            std::filesystem::current_path().string(), [](const std::string& out) {
                if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size() || std::fflush(stdout) != 0) {
                    throw simset::SystemError("standard output");
                }
                return true;
            }};
        simset::ControlSet(state, simset::Board::AllVerbs(), verb, caller,
                           [](const std::string& line) { std::fprintf(stderr, "simset: %s\n", line.c_str()); });
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "simset: %s\n", error.what());
    }
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], simset::kAgentArgument) == 0) {
        return simset::RunAgent();
    }
    CLI::App app(kAbout, "simset");
    app.require_subcommand(1);

    simset::RunOptions options;
    CLI::App* run = app.add_subcommand("run", "Power a set on and keep it until the application ends");
    simset::AddRunOptions(*run, options);
    run->footer(kRunFooter);

    std::string state;
    CLI::App* control = app.add_subcommand("ctl", "Look into a set, and change it, whether it is on or off");
    control
        ->add_option("--state", state,
                     "Folder that holds the set; a verb that changes it makes one that is missing")
        ->required()
        ->type_name("DIR");
    control->prefix_command();
    control->footer("\nVerbs, with a star those that want a set that is on:\n" +
                    simset::HelpText(simset::Board::AllVerbs()) +
                    "\nExit status: 0, or 1 with a message on standard error.");

    simset::stick::StickOptions stickOptions;
    CLI::App* stick =
        app.add_subcommand("stick", "Make a sample USB stick, or check one before it goes to the line");
    simset::stick::AddStickCommands(*stick, stickOptions);

    CLI::App* page = app.add_subcommand("man", "Print the man page, of simset or of a file that it reads");
    std::string file;
    page->add_option("FILE", file, "scenario")->check(CLI::IsMember({"scenario"}))->type_name("FILE");
    CLI::App* completion =
        app.add_subcommand("completion", "Print what makes a shell complete commands and options");
    std::string shell;
    completion->add_option("SHELL", shell, "bash or zsh")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh"}))
        ->type_name("SHELL");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error);
        if (status == 0) {
            return 0;
        }
        return control->parsed() ? 1 : simset::kExitUsage;
    }
    if (page->parsed() || completion->parsed()) {
        const manual::Program told = simset::Describe(app, simset::Board::AllVerbs());
        const std::string text = !file.empty()     ? ManPage(simset::ScenarioFormat(), told.version)
                                 : page->parsed()  ? ManPage(told)
                                 : shell == "bash" ? BashCompletion(told)
                                                   : ZshCompletion(told);
        return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0 ? 0 : 1;
    }
    if (stick->parsed()) {
        return simset::stick::RunStick(stickOptions);
    }
    return run->parsed() ? RunSet(options) : RunControl(state, control->remaining());
}
