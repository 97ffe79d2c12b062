#include "station/StationFormat.h"

namespace zelline {
namespace {

using manual::Form;
using manual::Key;

const Form kFilledText = {"a text that is not empty", 1};
const Form kTextList = {"a list of texts"};

std::vector<Key> StationKeys() {
    return {
        {"name", kFilledText, "The station's name, in the records; it must be there", ""},
        {"plan", kFilledText, "The file of the plan", "each slot has one of its own"},
        {"scan", kFilledText, "The regular expression of a whole serial number; it must be there", ""},
        {"store", kFilledText,
         "Where runs are recorded and the stock is: a file, or postgresql://USER@HOST/DATABASE",
         "nothing is recorded"},
        {"ledger", kFilledText, "The station's own file beside a server", "STATION.toml.ledger, beside a server"},
        {"reports", kTextList,
         "Reports of each run, by the ending of their names: .json, .xml (JUnit), .csv or .html; {unit}, {run}, "
         "{plan}, {date} and {time} are filled in",
         "none"},
        {"shifts", kTextList, "When a shift begins, in local time, such as 06:00", "00:00"},
        {"vars",
         {"written as [vars]"},
         "Values of the plans' variables, each NAME = VALUE with a text, a number, or true or false",
         ""},
        {"page", {"written as [page]"}, "The operator's page in a browser", "there is no page"},
        {"slot", {"written as [[slot]]"}, "A slot, with the port of its sets; there are 1 to 32", ""},
    };
}

std::vector<Key> PageKeys() {
    return {
        {"address", kFilledText,
         "The address and port at which the page is, such as 127.0.0.1:8080; any but this machine's own wants a "
         "token",
         "a free port of this machine"},
        {"token", kFilledText,
         "What whoever opens the page from elsewhere must know: 16 letters, digits, '-' and '_' at least", "none"},
        {"language", kFilledText, "The language in which the page opens, such as zh", "en"},
    };
}

std::vector<Key> SlotKeys() {
    return {
        {"name", kFilledText, "The slot's name, on its label and the page", "its number"},
        {"port", kFilledText, "The path of its port", ""},
        {"serial", kFilledText, "The serial number of its USB adapter, wherever that is plugged in", ""},
        {"socket", kFilledText, "The socket of the hub, whatever adapter is in it, as 'zelline ports' tells it",
         ""},
        {"plan", kFilledText, "The file of its plan", "the station's"},
    };
}

}  // namespace

const manual::FileFormat& StationFormat() {
    static const manual::FileFormat kFormat = {
        "zelline-station",
        "zelline",
        "a station of zelline: its slots, plan, store and page",
        "A station's file is in TOML, and 'zelline station STATION.toml' starts the station. A mistake in it, "
        "also\n"
        "a key that is not told of here, is told with its line, and nothing is started. Names of files are those\n"
        "of files beside it.",
        {{"In the station", "in a station", "", StationKeys()},
         {"In [page]", "in 'page'", "", PageKeys()},
         {"In [[slot]]", "in a slot", "One of port, serial and socket must be there.", SlotKeys()}},
        {{"Example",
          "  name = \"Final test 3\"\n"
          "  plan = \"final.toml\"\n"
          "  scan = \"[A-Z]{2}[0-9]{8}\"\n"
          "  store = \"line.db\"\n"
          "  [page]\n"
          "  address = \"127.0.0.1:8080\"\n"
          "  [[slot]]\n"
          "  name = \"A\"\n"
          "  socket = \"1-1.4\"\n"}}};
    return kFormat;
}

const manual::FileTable& KeysOf(StationTable table) {
    return StationFormat().tables.at(static_cast<std::size_t>(table));
}

}  // namespace zelline
