#include "Verbs.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "Error.h"
#include "protocol/CommandCatalogue.h"

namespace zelline {
namespace {

namespace id = zel::command;

constexpr std::string_view kPing = "ETHPING=";
constexpr std::size_t kMacLength = 17;

[[noreturn]] void Unusable(const std::string& message) {
    throw Error(Exit::Unusable, message);
}

void Count(const Words& arguments, std::size_t least, std::size_t most, std::string_view forms) {
    if (arguments.size() < least || arguments.size() > most) {
        Unusable(fmt::format("write {}", forms));
    }
}

Action Ask(std::uint16_t command, std::string payload = {}) {
    Action action;
    action.request.id = command;
    action.request.payload = std::move(payload);
    return action;
}

std::string Fitting(const std::string& text, std::string_view what) {
    if (text.empty()) {
        Unusable(fmt::format("the {} is empty: the set drops it without an answer", what));
    }
    if (text.size() > zel::kMaxPayload) {
        Unusable(fmt::format("the {} has {} characters; a frame carries {} at most", what, text.size(),
                             zel::kMaxPayload));
    }
    return text;
}

int Number(const std::string& text, int least, int most, std::string_view what) {
    int value = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (status != std::errc{} || end != text.data() + text.size() || value < least || value > most) {
        Unusable(fmt::format("'{}' is no {}: write a number from {} to {}", text, what, least, most));
    }
    return value;
}

// The one of `choices` that the user wrote; `forms` is shown when there is none.
std::size_t Choice(const std::string& text, const Words& choices, std::string_view forms) {
    const auto at = std::find(choices.begin(), choices.end(), text);
    if (at == choices.end()) {
        Unusable(fmt::format("'{}' does not fit: write {}", text, forms));
    }
    return static_cast<std::size_t>(at - choices.begin());
}

template <std::uint16_t kId>
Action Plain(const Words& arguments) {
    if (!arguments.empty()) {
        Unusable(fmt::format("'{}' is too much: this verb takes no arguments", arguments.front()));
    }
    return Ask(kId);
}

Action ReadOrWrite(const Words& arguments, std::uint16_t readId, std::uint16_t writeId, std::string_view forms) {
    Count(arguments, 1, 2, forms);
    const bool isWrite = Choice(arguments[0], {"read", "write"}, forms) == 1;
    Count(arguments, isWrite ? 2 : 1, isWrite ? 2 : 1, forms);
    return isWrite ? Ask(writeId, arguments[1]) : Ask(readId);
}

Action SerialNumber(const Words& arguments) {
    Action action = ReadOrWrite(arguments, id::kReadPcbSn, id::kWritePcbSn, "'sn read' or 'sn write TEXT'");
    if (action.request.id == id::kWritePcbSn) {
        Fitting(action.request.payload, "serial number");
    }
    return action;
}

Action MacAddress(const Words& arguments) {
    Action action = ReadOrWrite(arguments, id::kReadMac, id::kWriteMac, "'mac read' or 'mac write TEXT'");
    if (action.request.id == id::kWriteMac && action.request.payload.size() != kMacLength) {
        Unusable(
            fmt::format("'{}' has {} characters: a MAC address has {}, such as 00:11:22:33:44:55; the set drops "
                        "any other length without an answer",
                        action.request.payload, action.request.payload.size(), kMacLength));
    }
    return action;
}

Action Result(const Words& arguments) {
    Count(arguments, 1, 1, "'result TEXT'");
    return Ask(id::kWriteTestResult, Fitting(arguments[0], "test result"));
}

Action Backlight(const Words& arguments) {
    constexpr std::string_view kForms = "'backlight read', 'backlight on' or 'backlight off'";
    Count(arguments, 1, 1, kForms);
    constexpr std::uint16_t kIds[] = {id::kReadBacklight, id::kBacklightFull, id::kBacklightOff};
    return Ask(kIds[Choice(arguments[0], {"read", "on", "off"}, kForms)]);
}

Action Volume(const Words& arguments) {
    Count(arguments, 1, 1, "'volume N', N from 0 to 100");
    return Ask(id::kSetVolume, std::string(1, static_cast<char>(Number(arguments[0], 0, 100, "volume"))));
}

Action Led(const Words& arguments) {
    constexpr std::string_view kForms = "'led red on', 'led red off', 'led green on' or 'led green off'";
    Count(arguments, 2, 2, kForms);
    const bool green = Choice(arguments[0], {"red", "green"}, kForms) == 1;
    const bool off = Choice(arguments[1], {"on", "off"}, kForms) == 1;
    return Ask(id::kLed, fmt::format("{}_{}", green ? "GREEN" : "RED", off ? "OFF" : "ON"));
}

Action Aspect(const Words& arguments) {
    constexpr std::string_view kForms = "'aspect 16:9', 'aspect 4:3' or 'aspect full'";
    Count(arguments, 1, 1, kForms);
    constexpr std::string_view kTexts[] = {"ASPECT=16_9", "ASPECT=4_3", "ASPECT=FULL"};
    return Ask(id::kPanelAspectEthernet,
               std::string(kTexts[Choice(arguments[0], {"16:9", "4:3", "full"}, kForms)]));
}

Action Panel(const Words& arguments) {
    constexpr std::string_view kForms = "'panel vcc on|off' or 'panel backlight on|off'";
    Count(arguments, 2, 2, kForms);
    const bool backlight = Choice(arguments[0], {"vcc", "backlight"}, kForms) == 1;
    const bool off = Choice(arguments[1], {"on", "off"}, kForms) == 1;
    return Ask(id::kPanelAspectEthernet, fmt::format("PANEL_{}_{}", backlight ? "BL" : "VCC", off ? "OFF" : "ON"));
}

Action Source(const Words& arguments) {
    Count(arguments, 1, 1, "'source NAME', such as 'source HDMI1'");
    return Ask(id::kSourceCheck, Fitting(arguments[0], "input name"));
}

Action Ping(const Words& arguments) {
    Count(arguments, 1, 1, "'ping IP'");
    return Ask(id::kPanelAspectEthernet, Fitting(std::string(kPing) + arguments[0], "address with its tag"));
}

Action Usb(const Words& arguments) {
    Count(arguments, 1, 1, "'usb N', N from 1 to 4");
    return Ask(id::kUsbPort, fmt::format("USB{}", Number(arguments[0], 1, 4, "number of sticks")));
}

Action Query(const Words& arguments) {
    Count(arguments, 1, 1, "'query NAME', such as 'query ETH_IP'");
    return Ask(id::kNamedQuery, Fitting(arguments[0], "query name"));
}

Action Key(const Words& arguments) {
    constexpr std::string_view kForms = "'key send TYPE FILE' or 'key crc TYPE'";
    Count(arguments, 2, 3, kForms);
    const bool crc = Choice(arguments[0], {"send", "crc"}, kForms) == 1;
    Count(arguments, crc ? 2 : 3, crc ? 2 : 3, kForms);
    const FileType& type = FindKeyType(arguments[1]);
    if (crc) {
        return Ask(type.query);
    }
    Action action;
    action.kind = Action::Kind::Upload;
    action.type = &type;
    action.path = arguments[2];
    return action;
}

Action Config(const Words& arguments) {
    Count(arguments, 1, 1, "'config FILE'");
    Action action;
    action.kind = Action::Kind::Upload;
    action.type = &kConfigurationType;
    action.path = arguments[0];
    return action;
}

Action Leave(const Words& arguments) {
    Action action = Plain<id::kLeaveFactory>(arguments);
    action.kind = Action::Kind::Leave;
    return action;
}

Action Raw(const Words& arguments) {
    Count(arguments, 1, 1 + zel::kMaxPayload, "'raw ID [HEX]', such as 'raw 0x129F 14'");
    std::string hex;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        hex += arguments[i] + ' ';
    }
    const Bytes bytes = FromHex(hex);
    if (bytes.size() > zel::kMaxPayload) {
        Unusable(fmt::format("{} payload bytes are too many; a frame carries {} at most", bytes.size(),
                             zel::kMaxPayload));
    }
    return Ask(ParseId(arguments[0]), std::string(bytes.begin(), bytes.end()));
}

}  // namespace

const std::vector<VerbInfo>& Verbs() {
    static const std::vector<VerbInfo> kVerbs = {
        {"connect", "", "Tell the set that the line is here; ends its ready frames",
         "Every other verb does this by itself; a station uses it to see that a set is there at all:\n"
         "  zelline --timeout 500 --retries 60 connect     waits half a minute for a set to come up",
         Plain<id::kConnect>},
        {"sn", "sn read\nsn write TEXT", "PCB serial number", "TEXT has 1 to 64 characters.", SerialNumber},
        {"result", "result TEXT", "Store the test result, which the set then shows on its screen",
         "TEXT has 1 to 64 characters.", Result},
        {"mac", "mac read\nmac write TEXT", "Ethernet MAC address", "  zelline mac write 00:11:22:33:44:55",
         MacAddress},
        {"wifi-mac", "", "Read the MAC address of the Wi-Fi radio", "", Plain<id::kReadWifiMac>},
        {"version", "", "Read the software version", "", Plain<id::kReadSoftwareVersion>},
        {"uptime", "", "Read how long the set has been running in its life", "A set that does not know says 10.",
         Plain<id::kReadRunningTime>},
        {"backlight", "backlight read\nbacklight on\nbacklight off", "Panel backlight: its level, full, or dark",
         "", Backlight},
        {"volume", "volume N", "Set the main volume, 0 to 100", "", Volume},
        {"led", "led red|green on|off", "Drive the two-colour LED",
         "It is one output: 'red off' lights green, and 'green off' lights red.", Led},
        {"aspect", "aspect 16:9|4:3|full", "Set the picture format", "", Aspect},
        {"panel", "panel vcc on|off\npanel backlight on|off", "Switch the panel's supply or its backlight", "",
         Panel},
        {"source", "source NAME", "Show an input, and set the sound for measuring",
         "NAME is one of DTV, DTV-C, DTV-T, DTV-T2, DTV-S2, ATV, VGA, AV1 to AV3, HDMI1 to HDMI4, SCART1,\n"
         "YPBPR1, YPBPR2. The first tuner input takes several seconds longer: the set learns its tuners.",
         Source},
        {"cam", "", "Is a CI module in?", "", Plain<id::kCamDetected>},
        {"network", "", "Does the wired network have an address?", "", Plain<id::kWiredNetwork>},
        {"ping", "ping IP", "Let the set ping an address over Ethernet",
         "A set that has an address of its own answers success without a ping.", Ping},
        {"wifi", "", "How far the Wi-Fi test is",
         "101 less the number of search rounds that found an access point.", Plain<id::kWifiProgress>},
        {"bluetooth", "", "Search for Bluetooth devices; success when one was found", "Takes about 10 seconds.",
         Plain<id::kBluetoothSearch>},
        {"usb", "usb N", "Are at least N marked USB sticks plugged in? N from 1 to 4", "", Usb},
        {"query", "query NAME", "Ask for a text by name",
         "NAME is one of MAC, WIFIMAC, ESN, ETH_IP; the set answers \"xxx\" to any other name.", Query},
        {"key", "key send TYPE FILE\nkey crc TYPE", "Install a key file, or read the checksum of the last one",
         "TYPE is one of hdcp1, hdcp2, ciplus, esn-ulpk-mac, widevine, netflix, ciplusecp. FILE has 1 to 16320\n"
         "bytes. A transfer counts as done only when the set has said so and its checksum is the file's; one\n"
         "that is lost or damaged on the way is repeated (--retries, 3 unless given).\n"
         "  zelline key send hdcp1 keys/0001.bin --pace 20",
         Key},
        {"config", "config FILE", "Install the configuration file",
         "Seven lines of text; sent and checked as a key is.", Config},
        {"finish", "", "Finish the set: it records that its factory time is over", "Takes up to 20 seconds.",
         Plain<id::kFinish>},
        {"leave", "", "Make the set leave factory mode; its line stays silent until it restarts",
         "The set does not answer this command. It goes out behind a connect, whose answer shows that the set\n"
         "was listening.",
         Leave},
        {"raw", "raw ID [HEX]", "Send any command",
         "  zelline raw 0x129F 14        main volume 20\n"
         "  zelline --no-connect raw 1297    as it is, with no connect in front",
         Raw},
    };
    return kVerbs;
}

Action MakeAction(const Words& words) {
    if (words.empty()) {
        Unusable("a verb is missing; 'zelline --help' lists them");
    }
    const auto& verbs = Verbs();
    const auto verb =
        std::find_if(verbs.begin(), verbs.end(), [&](const VerbInfo& v) { return v.name == words[0]; });
    if (verb == verbs.end()) {
        Unusable(
            fmt::format("'{}' is no verb that asks the set for something; 'zelline --help' lists them", words[0]));
    }
    Action action = verb->make(Words(words.begin() + 1, words.end()));
    action.verb = fmt::format("{}", fmt::join(words, " "));
    return action;
}

Words SplitWords(std::string_view line) {
    Words words;
    std::string word;
    char quote = 0;
    bool open = false;
    for (const char c : line) {
        if (quote != 0) {
            if (c == quote) {
                quote = 0;
            } else {
                word.push_back(c);
            }
        } else if (c == '"' || c == '\'') {
            quote = c;
            open = true;
        } else if (c == ' ' || c == '\t') {
            if (open) {
                words.push_back(std::move(word));
                word.clear();
            }
            open = false;
        } else {
            word.push_back(c);
            open = true;
        }
    }
    if (quote != 0) {
        Unusable(fmt::format("the quote {} is not closed in: {}", quote, line));
    }
    if (open) {
        words.push_back(std::move(word));
    }
    return words;
}

}  // namespace zelline
