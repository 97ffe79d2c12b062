#include "simset/stick/StickCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "simset/stick/Checker.h"

namespace simset::stick {
namespace {

constexpr int kUsable = 0;
constexpr int kProblems = 1;
constexpr int kUnusableArguments = 2;

constexpr const char* kCheckFooter =
    "\nExit status: 0 a line can use the stick, 1 it has problems, 2 unusable arguments.\n"
    "The folder is looked at as a set would; the order of a stick's own folders may differ.";

const char* Word(Finding::Level level) {
    return level == Finding::Level::Problem ? "problem" : "note";
}

void PrintJson(const std::string& folder, const Report& report) {
    nlohmann::ordered_json findings = nlohmann::ordered_json::array();
    for (const Finding& finding : report.findings) {
        findings.push_back({{"level", Word(finding.level)}, {"path", finding.path}, {"text", finding.text}});
    }
    const Expectation& expected = report.expected;
    nlohmann::ordered_json json{{"v", 1},
                                {"stick", folder},
                                {"usable", report.Usable()},
                                {"findings", findings},
                                {"expected",
                                 {{"action", expected.imports ? "import" : "export"},
                                  {"endsAging", expected.endsAging},
                                  {"steps", expected.steps},
                                  {"status", expected.status},
                                  {"message", expected.message},
                                  {"screen", expected.screen},
                                  {"sets", nullptr}}}};
    if (expected.sets) {
        json["expected"]["sets"] = *expected.sets;
    }
    std::printf("%s\n", json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

void PrintText(const Report& report) {
    for (const Finding& finding : report.findings) {
        std::printf("%s: %s%s%s\n", Word(finding.level), finding.path.c_str(), finding.path.empty() ? "" : ": ",
                    finding.text.c_str());
    }
    const Expectation& expected = report.expected;
    std::printf("In USB update mode a set will\n");
    for (const std::string& step : expected.steps) {
        std::printf("  %s\n", step.c_str());
    }
    std::printf("  end with status %d and show \"%s\"\n", expected.status, expected.screen.c_str());
    if (expected.sets) {
        std::printf("Sets that the stick serves: %llu\n", static_cast<unsigned long long>(*expected.sets));
    }
    std::printf("A set in aging mode %s\n", expected.endsAging ? "starts the update when it is switched on with it"
                                                               : "goes on aging in spite of it");
    std::printf("%s\n", report.Usable() ? "The stick is usable" : "The stick has problems");
}

}  // namespace

void AddStickCommands(CLI::App& command, StickOptions& options) {
    constexpr unsigned kMostKeys = 9999;
    command.require_subcommand(1);

    CLI::App* make = command.add_subcommand("make", "Fill an empty folder with a sample stick");
    make->add_option("DIR", options.folder, "Folder, made when it is missing")->required();
    make->add_option("--keys", options.sample.keys, "Key files of each kind (default 1)")
        ->check(CLI::Range(1U, kMostKeys))
        ->type_name("N");
    make->add_option("--range", options.sample.range, "Address range of mac.txt")->type_name("FIRST--LAST");
    make->add_flag("--oem", options.sample.oem, "With OEM_data");
    make->add_flag("--copy", options.sample.copy, "With a CopyRW9602CustomerFile as a set exports it");
    make->callback([&options] { options.make = true; });

    CLI::App* check = command.add_subcommand("check", "Say what a set will do with a stick, and what is wrong");
    check->add_option("DIR", options.folder, "The stick, or a folder that will become one")->required();
    check->add_flag("--json", options.json, "One line of JSON instead of words");
    check->footer(kCheckFooter);
}

int RunStick(const StickOptions& options) {
    try {
        if (options.make) {
            MakeStick(options.folder, options.sample);
            return kUsable;
        }
        const Report report = CheckStick(options.folder);
        if (options.json) {
            PrintJson(options.folder, report);
        } else {
            PrintText(report);
        }
        return report.Usable() ? kUsable : kProblems;
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "simset: %s\n", error.what());
        return kUnusableArguments;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "simset: %s\n", error.what());
        return kProblems;
    }
}

}  // namespace simset::stick
