#include "verbs/Verbs.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <optional>

#include "protocol/CommandCatalogue.h"
#include "protocol/Sources.h"
#include "wire/Address.h"
#include "wire/Error.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

namespace id = zel::command;

using Make = std::function<Action(const Words&)>;

// A request whose payload is made from the words, without one when `payload` is missing. What the set would drop
// without an answer is refused. `doubt` says why any set refuses the first word.
Make Ask(std::uint16_t command, std::string (*payload)(const Words&) = nullptr,
         std::string (*doubt)(const std::string&) = nullptr) {
    return [=](const Words& words) {
        Action action;
        action.request.id = command;
        action.request.payload = payload == nullptr ? std::string() : payload(words);
        const std::string& text = action.request.payload;
        if (text.size() > zel::kMaxPayload) {
            Fail(Exit::Unusable, "'{}' has {} characters; a frame carries {} at most", text, text.size(),
                 zel::kMaxPayload);
        }
        if (const std::string reason = DropReason(command, text); payload != nullptr && !reason.empty()) {
            Fail(Exit::Unusable, "'{}' has {} characters: {}", text, text.size(), reason);
        }
        action.doubt = doubt == nullptr ? std::string() : doubt(words[0]);
        return action;
    };
}

int Number(const std::string& text, int least, int most, std::string_view what) {
    int value = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (status != std::errc{} || end != text.data() + text.size() || value < least || value > most) {
        Fail(Exit::Unusable, "'{}' is no {}: write a number from {} to {}", text, what, least, most);
    }
    return value;
}

std::string Capitals(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::string Text(const Words& words) {
    if (words[0].empty()) {
        Fail(Exit::Unusable, "an empty text says nothing to the set");
    }
    return words[0];
}

constexpr std::array<std::string_view, 4> kQueries = {"MAC", "WIFIMAC", "ESN", "ETH_IP"};

const std::vector<std::string_view> kSources = NamesIn(zel::kSources, &zel::SourceInfo::name);

std::string SourceDoubt(const std::string& name) {
    const bool known = std::find(kSources.begin(), kSources.end(), name) != kSources.end();
    return known ? std::string()
                 : fmt::format("the set knows no source '{}'; there are {}", name, fmt::join(kSources, ", "));
}

// A set's own address, which is written with colons.
std::string OwnAddressDoubt(const std::string& text) {
    const auto address = text.find('-') == std::string::npos ? ParseAddress(text) : std::nullopt;
    return address
               ? AddressDoubt(*address)
               : fmt::format("'{}' is no MAC address, which is six pairs of hexadecimal digits with colons", text);
}

std::string IpDoubt(const std::string& text) {
    in_addr address{};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1
               ? std::string()
               : fmt::format("'{}' is no IP address, such as 192.168.1.1", text);
}

std::string Volume(const Words& words) {
    return std::string(1, static_cast<char>(Number(words[0], 0, 100, "volume")));
}

std::string Led(const Words& words) {
    return Capitals(words[0] + '_' + words[1]);
}

std::string Aspect(const Words& words) {
    std::string format = Capitals(words[0]);
    std::replace(format.begin(), format.end(), ':', '_');
    return "ASPECT=" + format;
}

std::string PanelSupply(const Words& words) {
    return "PANEL_VCC_" + Capitals(words[0]);
}

std::string PanelLight(const Words& words) {
    return "PANEL_BL_" + Capitals(words[0]);
}

std::string Ping(const Words& words) {
    return "ETHPING=" + words[0];
}

std::string Usb(const Words& words) {
    return fmt::format("USB{}", Number(words[0], 1, 4, "number of sticks"));
}

Action Leave(const Words& words) {
    Action action = Ask(id::kLeaveFactory)(words);
    action.kind = Action::Kind::Leave;
    return action;
}

Action Raw(const Words& words) {
    const Bytes bytes = FromHex(fmt::format("{}", fmt::join(words.begin() + 1, words.end(), " ")));
    if (bytes.size() > zel::kMaxPayload) {
        Fail(Exit::Unusable, "{} payload bytes are too many; a frame carries {} at most", bytes.size(),
             zel::kMaxPayload);
    }
    Action action;
    action.request.id = ParseId(words[0]);
    action.request.payload.assign(bytes.begin(), bytes.end());
    return action;
}

Action Upload(const zel::KeyFileInfo& type, const std::string& path) {
    Action action;
    action.kind = Action::Kind::Upload;
    action.type = &type;
    action.path = path;
    return action;
}

Action SendKey(const Words& words) {
    Action action = Upload(FindKeyType(words[0]), words[1]);
    action.stock = words[1] == kFromStock ? words[0] : std::string();
    return action;
}

Action WriteAddress(const Words& words) {
    if (words[0] != kFromStock) {
        return Ask(id::kWriteMac, Text, OwnAddressDoubt)(words);
    }
    Action action;
    action.request = {id::kWriteMac, kFromStock, 0, 0};
    action.stock = kAddressStock;
    return action;
}

Action KeyChecksum(const Words& words) {
    return Ask(FindKeyType(words[0]).checksum)({});
}

Action SendConfiguration(const Words& words) {
    return Upload(zel::InfoOf(zel::KeyFile::Config), words[0]);
}

// The words that a form is made from; nothing when `words` are not of the form.
std::optional<Words> Chosen(std::string_view form, const Words& words) {
    Words chosen;
    std::size_t at = 0;
    while (!form.empty()) {
        const auto end = std::min(form.find(' '), form.size());
        const std::string_view word = form.substr(0, end);
        form.remove_prefix(std::min(end + 1, form.size()));
        if (word.front() == '[') {
            chosen.insert(chosen.end(), words.begin() + static_cast<std::ptrdiff_t>(at), words.end());
            return chosen;
        }
        if (at == words.size()) {
            return std::nullopt;
        }
        const bool isFree = std::isupper(static_cast<unsigned char>(word.front())) != 0;
        const bool isChoice = word.find('|') != std::string_view::npos;
        const std::string choices = fmt::format("|{}|", word);
        if (!isFree && choices.find(fmt::format("|{}|", words[at])) == std::string::npos) {
            return std::nullopt;
        }
        if (isFree || isChoice) {
            chosen.push_back(words[at]);
        }
        ++at;
    }
    return at == words.size() ? std::optional(chosen) : std::nullopt;
}

}  // namespace

const std::vector<VerbInfo>& Verbs() {
    static const std::vector<VerbInfo> kVerbs = {
        {"connect",
         {{"", Ask(id::kConnect)}},
         "Tell the set that the line is here; ends its ready frames",
         "Every other verb does this by itself; a station uses it to see that a set is there at all:\n"
         "  zelline --timeout 500 --retries 60 connect     waits half a minute for a set to come up"},
        {"sn",
         {{"read", Ask(id::kReadPcbSn)}, {"write TEXT", Ask(id::kWritePcbSn, Text)}},
         "PCB serial number",
         "TEXT has 1 to 64 characters."},
        {"result",
         {{"TEXT", Ask(id::kWriteTestResult, Text)}},
         "Store the test result, which the set then shows on its screen",
         "TEXT has 1 to 64 characters."},
        {"mac",
         {{"read", Ask(id::kReadMac)}, {"write TEXT", WriteAddress}},
         "Ethernet MAC address",
         "  zelline mac write 00:11:22:33:44:55"},
        {"wifi-mac", {{"", Ask(id::kReadWifiMac)}}, "Read the MAC address of the Wi-Fi radio", ""},
        {"version", {{"", Ask(id::kReadSoftwareVersion)}}, "Read the software version", ""},
        {"uptime",
         {{"", Ask(id::kReadRunningTime)}},
         "Read how long the set has been running in its life",
         "A set that does not know says 10."},
        {"backlight",
         {{"read", Ask(id::kReadBacklight)}, {"on", Ask(id::kBacklightFull)}, {"off", Ask(id::kBacklightOff)}},
         "Panel backlight: its level, full, or dark",
         ""},
        {"volume", {{"N", Ask(id::kSetVolume, Volume)}}, "Set the main volume, 0 to 100", ""},
        {"led",
         {{"red|green on|off", Ask(id::kLed, Led)}},
         "Drive the two-colour LED",
         "It is one output: 'red off' lights green, and 'green off' lights red."},
        {"aspect", {{"16:9|4:3|full", Ask(id::kPanelAspectEthernet, Aspect)}}, "Set the picture format", ""},
        {"panel",
         {{"vcc on|off", Ask(id::kPanelAspectEthernet, PanelSupply)},
          {"backlight on|off", Ask(id::kPanelAspectEthernet, PanelLight)}},
         "Switch the panel's supply or its backlight",
         ""},
        {"source",
         {{"NAME", Ask(id::kSourceCheck, Text, SourceDoubt)}},
         "Show an input, and set the sound for measuring",
         fmt::format("NAME is one of {},\n{}.\n", fmt::join(kSources.begin(), kSources.begin() + 10, ", "),
                     fmt::join(kSources.begin() + 10, kSources.end(), ", ")) +
             "The first tuner input takes several seconds longer: the set learns its tuners.",
         kSources},
        {"cam", {{"", Ask(id::kCamDetected)}}, "Is a CI module in?", ""},
        {"network", {{"", Ask(id::kWiredNetwork)}}, "Does the wired network have an address?", ""},
        {"ping",
         {{"IP", Ask(id::kPanelAspectEthernet, Ping, IpDoubt)}},
         "Let the set ping an address over Ethernet",
         "A set that has an address of its own answers success without a ping."},
        {"wifi",
         {{"", Ask(id::kWifiProgress)}},
         "How far the Wi-Fi test is",
         "101 less the number of search rounds that found an access point."},
        {"bluetooth",
         {{"", Ask(id::kBluetoothSearch)}},
         "Search for Bluetooth devices; success when one was found",
         "Takes about 10 seconds."},
        {"usb", {{"N", Ask(id::kUsbPort, Usb)}}, "Are at least N marked USB sticks plugged in? N from 1 to 4", ""},
        {"query",
         {{"NAME", Ask(id::kNamedQuery, Text)}},
         "Ask for a text by name",
         fmt::format("NAME is one of {}; the set answers \"xxx\" to any other name.", fmt::join(kQueries, ", ")),
         {kQueries.begin(), kQueries.end()}},
        {"key",
         {{"send TYPE FILE", SendKey}, {"crc TYPE", KeyChecksum}},
         "Install a key file, or read the checksum of the last one",
         fmt::format("TYPE is one of {}. FILE has 1 to {}\n", KeyTypeNames(), zel::kMaxKeyFile) +
             "bytes. A transfer counts as done only when the set has said so and its checksum is the file's; one\n"
             "that is lost or damaged on the way is repeated (--retries, 3 unless given). The set's word is its "
             "check\n"
             "of the key in its store: where a new key cannot be written over an older good one, that is "
             "success.\n"
             "An ESN/ULPK/MAC file succeeds where a Widevine keybox is installed, and fails where there is none.\n"
             "  zelline key send hdcp1 keys/0001.bin --pace 20"},
        {"config",
         {{"FILE", SendConfiguration}},
         "Install the configuration file",
         "Seven lines of text; sent and checked as a key is."},
        {"finish",
         {{"", Ask(id::kFinish)}},
         "Finish the set: it records that its factory time is over",
         "Takes up to 20 seconds."},
        {"leave",
         {{"", Leave}},
         "Make the set leave factory mode; its line stays silent until it restarts",
         "The set does not answer this command. It goes out behind a connect, whose answer shows that the set\n"
         "was listening."},
        {"raw",
         {{"ID [HEX]", Raw}},
         "Send any command",
         "  zelline raw 0x129F 14        main volume 20\n"
         "  zelline --no-connect raw 1297    as it is, with no connect in front"},
    };
    return kVerbs;
}

const VerbInfo* FindVerb(std::string_view name) {
    const auto verb =
        std::find_if(Verbs().begin(), Verbs().end(), [&](const VerbInfo& v) { return v.name == name; });
    return verb == Verbs().end() ? nullptr : &*verb;
}

void TakeItem(Action& action, const std::string& content) {
    (action.kind == Action::Kind::Upload ? action.content : action.request.payload) = content;
}

Action MakeAction(const Words& words) {
    if (words.empty()) {
        Fail(Exit::Unusable, "a verb is missing; 'zelline --help' lists them");
    }
    const VerbInfo* verb = FindPlanVerb(words[0]);
    if (verb == nullptr) {
        Fail(Exit::Unusable, "'{}' is no verb that asks the set for something; 'zelline --help' lists them",
             words[0]);
    }
    const std::string written = fmt::format("{}", fmt::join(words, " "));
    std::string forms;
    for (const Form& form : verb->forms) {
        if (const auto chosen = Chosen(form.words, Words(words.begin() + 1, words.end()))) {
            Action action = form.make(*chosen);
            action.verb = written;
            return action;
        }
        forms += fmt::format("{}'{}{}{}'", forms.empty() ? "" : " or ", verb->name, form.words.empty() ? "" : " ",
                             form.words);
    }
    Fail(Exit::Unusable, "'{}' does not fit: write {}; 'zelline {} --help' explains", written, forms,
         FindVerb(verb->name) == nullptr ? "run" : verb->name);
}

}  // namespace zelline
