#include "cli/Tools.h"

#include <fmt/format.h>

#include "explain/Explain.h"
#include "explain/Reference.h"
#include "port/PortList.h"
#include "protocol/CommandCatalogue.h"

namespace zelline {
namespace {

Exit ShowPorts(const Context& context) {
    const auto ports = ListPorts();
    for (const ListedPort& port : ports) {
        std::string words = fmt::format("{:<16} {}", port.path, port.description);
        if (!port.socket.empty()) {
            words += fmt::format("  USB socket {}{}{}", port.socket, port.serial.empty() ? "" : ", serial number ",
                                 port.serial);
        }
        if (!port.holder.empty()) {
            words += fmt::format("  taken by {}", port.holder);
        }
        context.console.Result({{"v", 1},
                                {"type", "port"},
                                {"path", port.path},
                                {"description", port.description},
                                {"serial", port.serial.empty() ? Json(nullptr) : Json(port.serial)},
                                {"socket", port.socket.empty() ? Json(nullptr) : Json(port.socket)},
                                {"holder", port.holder.empty() ? Json(nullptr) : Json(port.holder)}},
                               words);
    }
    if (ports.empty()) {
        context.console.Note("no serial ports on this machine");
    }
    return Exit::Success;
}

Exit Decode(const Context& context) {
    const auto stretches = Dissect(FromHex(fmt::format("{}", fmt::join(context.options.words, " "))));
    if (stretches.empty()) {
        Fail(Exit::Unusable, "there are no bytes to decode: write them as 'zelline decode 79 00 12 73 ...'");
    }
    for (const Stretch& stretch : stretches) {
        Json object = {{"v", 1}, {"type", stretch.intact ? "frame" : "damage"}, {"at", stretch.at}};
        if (stretch.intact) {
            object["id"] = IdText(stretch.frame.CommandId());
            object["kind"] = stretch.frame.kind;
            object["length"] = stretch.frame.length;
            object["payload"] = ToHex(stretch.frame.payload.data(), stretch.frame.length);
            object["trailer"] = {stretch.frame.trailerA, stretch.frame.trailerB};
        }
        object["hex"] = ToHex(stretch.bytes);
        object["words"] = stretch.words;
        context.console.Result(
            object, fmt::format("{:5}  {}\n       {}", stretch.at, ToHex(stretch.bytes), stretch.words));
    }
    return Exit::Success;
}

Exit ShowCommands(const Context& context) {
    const Console& console = context.console;
    if (context.options.markdown) {
        console.out << ProtocolReference();
        return Exit::Success;
    }
    if (context.options.lua) {
        console.out << DissectorScript();
        return Exit::Success;
    }
    for (const zel::CommandInfo& row : zel::kCommandCatalogue) {
        if (row.reply == zel::ReplyRule::None && row.name.empty() && !console.json) {
            continue;
        }
        console.Result({{"v", 1},
                        {"type", "command"},
                        {"id", IdText(row.id)},
                        {"decimal", row.id},
                        {"name", row.name},
                        {"payload", row.payloadText},
                        {"answer", row.answerText}},
                       fmt::format("{}  {:<26} {}\n{:36}-> {}", IdText(row.id), row.name,
                                   row.payloadText.empty() ? "none" : row.payloadText, "", row.answerText));
    }
    if (!console.json) {
        console.Note("Ids from 0x1273 to 0x12BA that are not listed are dropped by the set.");
    }
    return Exit::Success;
}

}  // namespace

const std::vector<ToolVerb>& ToolVerbs() {
    static const std::vector<ToolVerb> kVerbs = {
        {"listen",
         "",
         {&kListenFor},
         "Show what arrives: ready frames, key presses, answers, noise",
         "Sends nothing. Ends with Ctrl-C, or after --for. A set reports keys only once it is connected.",
         Listen},
        {"ports", "", {}, "List the serial ports of this machine, and who holds them", "", ShowPorts},
        {"run",
         "PLAN.toml",
         {&kUnit, &kStation, &kLedgerFile, &kDryRun, &kOneByOne, &kReport, &kSet, &kAnswer},
         "Work through a station plan",
         "Prints a table of the steps and ends with the status of the worst one. A report's kind follows its\n"
         "name: .json, .xml (JUnit), .csv or .html; {unit}, {run}, {plan}, {date} and {time} in it are\n"
         "filled in, and a file that is there already is kept beside it. --dry-run prints what would be sent and "
         "sends nothing.\n"
         "Steps go out together where that cannot change the verdict; --one-by-one asks each alone, which\n"
         "takes 0.5 s a step longer.\n"
         "  zelline run docs/plans/demo.toml --set sn=AB12 --report result.xml --report result.html\n"
         "Steps with ask, confirm and 'await key' are put to the operator at the terminal; --answer answers\n"
         "them beforehand, and must where there is no terminal or with --json.\n"
         "--unit is the serial number, ${unit} in the plan. With --store, @stock in 'key send TYPE @stock' and\n"
         "'mac write @stock' stands for the unit's own item, and ${stock.TYPE} for its address or CRC-32.",
         RunPlan},
        {"validate",
         "PLAN.toml",
         {&kUnit, &kSet},
         "Check a station plan without a set",
         "Each mistake is told with its file and line.",
         ValidatePlan},
        {"replay",
         "FILE",
         {},
         "Send the requests of a trace again and compare the answers",
         "FILE was recorded with --trace, also as a capture. Status 1 when an answer differs.",
         Replay},
        {"stock",
         "add|status|check|export|retire ...",
         {},
         "Keep the stock of keys and addresses",
         "  zelline stock add TYPE FOLDER      take in a folder of key files\n"
         "  zelline stock add mac FIRST LAST   take in a range of addresses\n"
         "  zelline stock status               how many of each type are free, reserved, written, verified, "
         "spent\n"
         "  zelline stock check                hold each item against what was taken in; status 1 for problems\n"
         "  zelline stock export FILE          which unit has what, as .csv or .json, without the keys "
         "themselves\n"
         "  zelline stock retire TYPE NAME     use an item no more; its unit gets another the next time\n"
         "  zelline stock retire ledger NAME   a station's ledger is lost: spend what it had\n"
         "The store is a file or a PostgreSQL database (--store). What it has or had is never taken in twice.",
         WorkOnStock,
         StockForms()},
        {"history",
         "",
         {&kUnit, &kLast},
         "List the runs that were recorded, the latest last",
         "Of one unit with --unit; the last 20 unless --last says otherwise. One that is UNFINISHED is still "
         "under\n"
         "way, or its tool was killed.",
         ShowHistory},
        {"yield",
         "",
         {&kSince},
         "How many units passed, at once and in the end, and which steps failed",
         "By plan, over all runs of the store, or those since a date (--since 2026-05-04, UTC). Runs without a "
         "unit\n"
         "and those that were stopped are left out.",
         ShowYield},
        {"report",
         "RUN",
         {&kReport},
         "Show a recorded run, and make its reports again",
         "RUN is a run's name or the beginning of it, or 'last'.\n"
         "  zelline report last --report {unit}-{run}.html",
         ReportRun},
        {"station",
         "STATION.toml",
         {},
         "Run a station of several slots, with a page for its operator",
         "Prints the page's address and, as it changes, what each slot does. Numbers that are scanned are taken\n"
         "from the page, and from standard input, a line each. Ends with Ctrl-C or SIGTERM: units at work are\n"
         "stopped, and their teardown runs.",
         RunStation},
        {"decode",
         "HEX ...",
         {},
         "Explain frames in words, several in a row, damaged ones too",
         "  zelline decode 79 00 12 72 01 02 00 01 78 FE",
         Decode},
        {"commands",
         "",
         {&kMarkdown, &kLua},
         "List the commands of the protocol",
         "--markdown prints the whole protocol reference, --lua what lets Wireshark read a --trace FILE.pcapng.",
         ShowCommands},
        {"man", "", {}, "Print the man page", "  zelline man | man -l -", ShowManual},
        {"completion",
         "bash|zsh",
         {},
         "Print what makes a shell complete verbs, options and files",
         "An installed zelline brings it along. Otherwise, for this session of bash:\n"
         "  source <(zelline completion bash)",
         ShowCompletion},
    };
    return kVerbs;
}

}  // namespace zelline
