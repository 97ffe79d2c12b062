#include "cli/Options.h"

namespace zelline {

const std::vector<OptionInfo>& CommonOptions() {
    static const std::vector<OptionInfo> kOptions = {
        {"--port", "PATH", &Options::port, "the serial port; without it the environment's ZELLINE_PORT", 0, 0,
         "ZELLINE_PORT"},
        {"--timeout", "MS", &Options::timeout,
         "how long to wait for an answer; each command has a fitting one of its own", 1, 3600000},
        {"--retries", "N", &Options::retries, "how often to try again without an answer (usually 1, for files 3)",
         0, 1000},
        {"--json", "", &Options::json, "JSON Lines on standard output, for scripts"},
        {"--trace", "FILE", &Options::trace,
         "record every frame both ways, key bytes left out; a .pcapng is a capture"},
        {"--trace-key-bytes", "", &Options::traceKeyBytes,
         "write the bytes of key files into the trace too, in clear"},
        {"--store", "STORE", &Options::store,
         "of stock and records: a file or postgresql://...; else $ZELLINE_STORE", 0, 0, "ZELLINE_STORE"},
        {"--no-connect", "", &Options::noConnect, "do not put a connect in front of the first command"},
        {"--pace", "MS", &Options::pace, "key and config: pause behind each chunk (0: all in one burst)", 0,
         60000},
    };
    return kOptions;
}

const OptionInfo kListenFor = {
    "--for", "MS", &Options::listenFor, "how long to listen; without it, until Ctrl-C", 1, 86400000};
const OptionInfo kMarkdown = {"--markdown", "", &Options::markdown, "the whole protocol reference"};
const OptionInfo kLua = {"--lua", "", &Options::lua, "a dissector of the protocol for Wireshark"};
const OptionInfo kDryRun = {"--dry-run", "", &Options::dryRun, "print what would be sent, and send nothing"};
const OptionInfo kOneByOne = {"--one-by-one", "", &Options::oneByOne, "ask each step alone"};
const OptionInfo kReport = {"--report", "FILE", &Options::reports,
                            "write a report; .json, .xml (JUnit), .csv or .html"};
const OptionInfo kSet = {"--set", "NAME=VALUE", &Options::variables, "the value of a plan's variable"};
const OptionInfo kAnswer = {"--answer", "STEP=TEXT", &Options::answers,
                            "the answer to what a step asks the operator, by its id or name"};
const OptionInfo kUnit = {"--unit", "SERIAL", &Options::unit, "the unit's serial number"};
const OptionInfo kLast = {"--last", "N", &Options::last, "how many runs", 1, 1000000};
const OptionInfo kSince = {"--since", "DATE", &Options::since, "from this day on (2026-05-04, UTC)"};
const OptionInfo kLedgerFile = {"--ledger", "FILE", &Options::ledger, "the station's own file beside a server",
                                0,          0,      "ZELLINE_LEDGER"};
const OptionInfo kStation = {"--station", "NAME", &Options::station,
                             "the station's name in the record; the machine's unless given"};

Settings Options::ForVerbs() const {
    Settings settings;
    if (timeout > 0) {
        settings.timeout = Millis(timeout);
    }
    if (retries >= 0) {
        settings.retries = static_cast<int>(retries);
    }
    settings.connect = !noConnect;
    settings.pace = Millis(pace);
    return settings;
}

}  // namespace zelline
