#include "simset/core/middleware/Control.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <fnmatch.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>

#include "simset/base/Numbers.h"

namespace simset {
namespace {

using nlohmann::json;
using Parts = Control::Parts;

constexpr char kWildcards[] = "*?[";
const std::vector<std::string> kModelSteps = {"proxy",   "interface", "root",  "connect",
                                              "operate", "execute",   "count", "rows"};

// The areas of faults.
constexpr char kModel[] = "model";
constexpr char kFlash[] = "flash";
constexpr char kMeta[] = "meta";
constexpr char kKeys[] = "keys";
constexpr char kApm[] = "apm";
constexpr char kShell[] = "shell";
constexpr char kMount[] = "mount";
constexpr char kSync[] = "sync";
constexpr char kAnyStep[] = "any";

std::string Line(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace) + '\n';
}

std::string Print(const json& value) {
    if (value.is_string()) {
        return value.get<std::string>() + '\n';
    }
    return Line(value);
}

template <typename Named>
std::vector<std::string> NamesIn(const Named& named) {
    std::vector<std::string> names;
    for (const auto& [name, ignored] : named) {
        (void)ignored;
        names.push_back(name);
    }
    return names;
}

std::vector<std::string> ModelKeys() {
    std::vector<std::string> keys;
    for (const KeyInfo& info : Catalogue()) {
        keys.emplace_back(info.key);
    }
    return keys;
}

VerbForm::Values ModelWords() {
    return {{"KEY", ModelKeys()}, {"STEP", kModelSteps}, {"EVENT", NamesIn(Model::Events())}};
}

VerbForm::Values FlashWords() {
    return {{"NAME", {Flash::Names().begin(), Flash::Names().end()}}};
}

VerbForm::Values KeyTypeWords() {
    return {{"KEY", KeyStore::Names()}};
}

VerbForm::Values ManagerWords() {
    return {{"CALL", AppManager::Calls()}, {"REQUEST", NamesIn(AppManager::Requests())}};
}

VerbForm::Values BehaviourWords() {
    return {{"NAME", Behaviours::Names()}};
}

VerbForm::Values DiskWords() {
    return {{"PATH", DiskSizes::Partitions()}, {"SIZE", {"full", "default"}}};
}

// What the words of a verb's forms may be.
const std::map<std::string_view, VerbForm::Values (*)()> kWords = {
    {kModel, ModelWords}, {kFlash, FlashWords},       {kKeys, KeyTypeWords},
    {kApm, ManagerWords}, {"behave", BehaviourWords}, {"disk", DiskWords},
};

const KeyInfo& KeyOf(const std::string& name) {
    if (const KeyInfo* const info = FindKey(name)) {
        return *info;
    }
    RefuseName("model key", name, ModelKeys());
}

json ValueFor(const KeyInfo& info, const std::string& text) {
    const json value = json::parse(text, nullptr, false);
    if (info.kind == Kind::Text && !value.is_string()) {
        return text;  // a text need not be quoted
    }
    if (Fits(info.kind, value)) {
        return value;
    }
    switch (info.kind) {
        case Kind::Integer:
            throw ControlError(fmt::format("{} holds a 32-bit integer: give a number such as 5", info.key));
        case Kind::Integers:
            throw ControlError(fmt::format("{} holds a list of integers: give one such as [1,2,3]", info.key));
        case Kind::Texts:
            throw ControlError(fmt::format("{} holds a list of texts: give one such as [\"a\",\"b\"]", info.key));
        case Kind::Table:
            throw ControlError(
                fmt::format("{} is a table: give rows such as [[\"a\",\"b\"],[\"c\",\"d\"]]", info.key));
        default:
            throw ControlError(
                fmt::format("{} is an action and cannot be set; model get shows its last use", info.key));
    }
}

int ItemOf(const std::string& text) {
    const auto item = ParseNumber<int>(text, 0, 255);
    if (!item) {
        throw ControlError(fmt::format("\"{}\" is no metadata item: give its number, 0 to 255", text));
    }
    return *item;
}

std::string KeyNumberOf(const std::string& name) {
    const auto number = KeyStore::Number(name);
    if (!number) {
        RefuseName("key type", name, KeyStore::Names());
    }
    return std::to_string(*number);
}

auto ListFaults(const char* area) {
    return [area](const Parts& set, const Arguments&) { return Print(set.faults.List(area)); };
}

std::string Fail(const Parts& set, const char* area, const std::string& name, const std::string& step,
                 const std::string& status, const Arguments& arguments) {
    const auto number = ParseNumber<std::int32_t>(status);
    if (!number) {
        throw ControlError(fmt::format("\"{}\" is no status: give a 32-bit number, 0 to end the fault", status));
    }
    const auto counted = arguments.Option("--times");
    const auto times = counted ? ParseNumber<std::uint32_t>(*counted, 1) : std::optional<std::uint32_t>(0);
    if (!times) {
        throw ControlError("--times wants a number from 1 on; leave it out for a fault without end");
    }
    set.faults.Arrange(area, name, step, *number, *times);
    return {};
}

std::string GetModel(const Parts& set, const Arguments& arguments) {
    return Print(set.model.Value(std::string(KeyOf(arguments[0]).key)));
}

std::string ListModel(const Parts& set, const Arguments& arguments) {
    std::string lines;
    for (const auto& info : Catalogue()) {
        const std::string key(info.key);
        if (::fnmatch(arguments[0].c_str(), key.c_str(), 0) == 0) {
            lines += key + ' ' + Line(set.model.Value(key));
        }
    }
    if (lines.empty()) {
        throw ControlError(fmt::format("no model key matches {}", arguments[0]));
    }
    return lines;
}

std::string SetModel(const Parts& set, const Arguments& arguments) {
    const KeyInfo& info = KeyOf(arguments[0]);
    if (!set.powered() && !info.kept && info.found.empty()) {
        throw ControlError(fmt::format("the set is off, and forgets {} without power", info.key));
    }
    set.model.Assign(info, ValueFor(info, arguments[1]));
    return {};
}

std::string TellModel(const Parts& set, const Arguments& arguments) {
    const KeyInfo& info = KeyOf(arguments[0]);
    if (Model::Events().count(arguments[1]) == 0) {
        RefuseName("event", arguments[1], NamesIn(Model::Events()));
    }
    const auto number = ParseNumber<std::int32_t>(arguments[2]);
    if (!number) {
        throw ControlError(
            fmt::format("\"{}\" is no number: give the code that comes with the event", arguments[2]));
    }
    if (set.model.Tell(info, arguments[1], *number) == 0) {
        throw ControlError(fmt::format("nobody observes that of {} now", info.key));
    }
    return {};
}

std::string SwitchServices(const Parts& set, const Arguments& arguments) {
    set.serve(arguments[0] == "up");
    return {};
}

std::string FailModel(const Parts& set, const Arguments& arguments) {
    const std::string& key = arguments[0];
    if (key.find_first_of(kWildcards) == std::string::npos) {
        KeyOf(key);
    }
    if (std::find(kModelSteps.begin(), kModelSteps.end(), arguments[1]) == kModelSteps.end()) {
        throw ControlError(
            fmt::format("there is no step \"{}\": give one of {}", arguments[1], fmt::join(kModelSteps, ", ")));
    }
    return Fail(set, kModel, key, arguments[1], arguments[2], arguments);
}

std::string GetFlash(const Parts& set, const Arguments& arguments) {
    return set.flash.Value(arguments[0]) + '\n';
}

std::string ListFlash(const Parts& set, const Arguments&) {
    return Line(set.flash.Values());
}

std::string SetFlash(const Parts& set, const Arguments& arguments) {
    set.flash.Assign(arguments[0], arguments[1]);
    return {};
}

std::string FailFlash(const Parts& set, const Arguments& arguments) {
    return Fail(set, kFlash, arguments[0], kAnyStep, arguments[1], arguments);
}

std::string GetMeta(const Parts& set, const Arguments& arguments) {
    return Print(set.metadata.Value(ItemOf(arguments[0])));
}

std::string SetMeta(const Parts& set, const Arguments& arguments) {
    const int item = ItemOf(arguments[0]);
    const auto number = ParseNumber<std::int32_t>(arguments[1]);
    if (!Metadata::IsText(item) && !number) {
        throw ControlError(fmt::format("metadata item {} holds a 32-bit integer: give a number such as 5", item));
    }
    set.metadata.Assign(item, Metadata::IsText(item) ? json(arguments[1]) : json(*number));
    return {};
}

std::string FailMeta(const Parts& set, const Arguments& arguments) {
    const std::string& item = arguments[0];
    const bool named = item == "init" || item == "access-route" || item == "*";
    return Fail(set, kMeta, named ? item : std::to_string(ItemOf(item)), kAnyStep, arguments[1], arguments);
}

std::string ListKeys(const Parts& set, const Arguments&) {
    return Print(set.keys.List());
}

std::string ClearKeys(const Parts& set, const Arguments&) {
    set.keys.Clear();
    return {};
}

std::string FailKeys(const Parts& set, const Arguments& arguments) {
    const std::string& key = arguments[0];
    return Fail(set, kKeys, key == "*" ? key : KeyNumberOf(key), arguments[1], arguments[2], arguments);
}

std::string FailApm(const Parts& set, const Arguments& arguments) {
    const auto calls = AppManager::Calls();
    if (arguments[0] != "*" && std::find(calls.begin(), calls.end(), arguments[0]) == calls.end()) {
        RefuseName("call", arguments[0], calls);
    }
    return Fail(set, kApm, arguments[0], kAnyStep, arguments[1], arguments);
}

std::string FailShell(const Parts& set, const Arguments& arguments) {
    // What a process can end with; 0 takes the fault back.
    if (!ParseNumber<int>(arguments[1], 0, 255)) {
        throw ControlError(
            fmt::format("\"{}\" is no exit status: give 1 to 255, 0 to end the fault", arguments[1]));
    }
    return Fail(set, kShell, arguments[0], kAnyStep, arguments[1], arguments);
}

std::string FailMount(const Parts& set, const Arguments& arguments) {
    constexpr int kLastErrno = 133;
    if (arguments[0].empty() || std::string("/*?[").find(arguments[0][0]) == std::string::npos) {
        throw ControlError(
            fmt::format("\"{}\" is no path of the set: give one such as /zodata/factory, or *", arguments[0]));
    }
    if (!ParseNumber<int>(arguments[1], 0, kLastErrno)) {
        throw ControlError(
            fmt::format("\"{}\" is no errno: give a number such as 30 (EROFS), 0 to end the fault", arguments[1]));
    }
    return Fail(set, kMount, arguments[0], kAnyStep, arguments[1], arguments);
}

std::string FailSync(const Parts& set, const Arguments& arguments) {
    return Fail(set, kSync, "*", kAnyStep, arguments[0], arguments);
}

std::string ListDisks(const Parts& set, const Arguments&) {
    nlohmann::ordered_json disks = set.disks();
    if (disks.is_null()) {
        for (const std::string& path : DiskSizes::Partitions()) {
            disks.push_back({{"path", path}, {"size", set.diskSizes.Of(path)}});
        }
    }
    return disks.dump() + '\n';
}

std::string ChangeDisk(const Parts& set, const Arguments& arguments) {
    const std::string& path = arguments[0];
    if (!DiskSizes::IsDisk(path)) {
        RefuseName("partition", path, DiskSizes::Partitions());
    }
    const auto size = DiskSizes::Parse(path, arguments[1]);
    if (!size) {
        throw ControlError(
            fmt::format("\"{}\" is no size: give bytes such as 65536, 64K or 2M, full, or default", arguments[1]));
    }
    set.resizeDisk(path, *size);
    set.diskSizes.Change(path, *size);
    return {};
}

std::string ListBehaviours(const Parts& set, const Arguments&) {
    json settings = json::object();
    for (const auto& name : Behaviours::Names()) {
        settings[name] = set.behaviours.Setting(name);
    }
    return Print(settings);
}

std::string Behave(const Parts& set, const Arguments& arguments) {
    const auto names = Behaviours::Names();
    if (std::find(names.begin(), names.end(), arguments[0]) == names.end()) {
        RefuseName("behaviour", arguments[0], names);
    }
    if (!set.behaviours.Change(arguments[0], arguments[1])) {
        throw ControlError(
            fmt::format("\"{}\" is no setting: give on, off, or milliseconds from 0 to 86400000", arguments[1]));
    }
    return {};
}

std::string Press(const Parts& set, const Arguments& arguments) {
    const auto code = ParseNumber<std::int32_t>(arguments[0]);
    if (!code) {
        throw ControlError(
            fmt::format("\"{}\" is no key code: give a number such as 70, the power key", arguments[0]));
    }
    const auto type = ParseNumber<std::int32_t>(arguments.Option("--type").value_or("0"));
    if (!type) {
        throw ControlError("--type wants a number: 0 for a key that was pressed, others are the manager's own");
    }
    set.await(set.manager.Press(*code, *type));
    return {};
}

std::string AskApplication(const Parts& set, const Arguments& arguments) {
    const auto& requests = AppManager::Requests();
    const auto request = requests.find(arguments[0]);
    if (request == requests.end()) {
        RefuseName("request", arguments[0], NamesIn(requests));
    }
    std::vector<std::string> texts{arguments.Option("--text").value_or(""),
                                   arguments.Option("--second").value_or("")};
    texts.resize(request->second);
    set.await(set.manager.Ask(request->first, texts));
    return {};
}

std::string ListViolations(const Parts& set, const Arguments&) {
    return set.violations.Lines();
}

}  // namespace

const std::vector<Verb<Control::Parts>>& Control::Verbs() {
    static const std::vector<Verb<Parts>> kVerbs = {
        {{"model", "get KEY", "a model value as JSON (a plain text as it is)", false}, GetModel},
        {{"model", "list GLOB", "the keys that match (* for all), each with its value as JSON, one a line", false},
         ListModel},
        {{"model", "set KEY JSON", "change it and notify observers"}, SetModel},
        {{"model", "notify KEY EVENT NUMBER",
          "tell its observers; EVENT state|update|error, or of its iterators\n"
          "commit|seek-row|seek-content|cursor|read-row|ready|iterator-update",
          true, When::On},
         TellModel},
        {{"model", "fail KEY STEP STATUS [--times N]",
          "STEP proxy|interface|root|connect|operate|execute|count|rows; 0 ends it"},
         FailModel},
        {{kModel, "fail", "the failures that were asked for; so of flash, meta, keys, apm, shell, mount, sync",
          false},
         ListFaults(kModel)},
        {{"flash", "get NAME", "a boot variable", false}, GetFlash},
        {{"flash", "list", "those that were ever set, as JSON", false}, ListFlash},
        {{"flash", "set NAME TEXT", ""}, SetFlash},
        {{"flash", "fail NAME STATUS [--times N]", ""}, FailFlash},
        {{kFlash, "fail", "", false}, ListFaults(kFlash)},
        {{"meta", "get ITEM", "factory metadata; items 6 and 8 are text", false}, GetMeta},
        {{"meta", "set ITEM VALUE", ""}, SetMeta},
        {{"meta", "fail ITEM|init|access-route STATUS [--times N]", ""}, FailMeta},
        {{kMeta, "fail", "", false}, ListFaults(kMeta)},
        {{"keys", "list", "installed keys as JSON", false}, ListKeys},
        {{"keys", "clear", "none is installed any more, nor a CI+ credential"}, ClearKeys},
        {{"keys", "fail KEY write|check STATUS [--times N]", ""}, FailKeys},
        {{kKeys, "fail", "", false}, ListFaults(kKeys)},
        {{"apm", "fail CALL STATUS [--times N]",
          "CALL rpc|adapter|registerApp|notifyAppStatusInfo|unRegisterApp of the application manager"},
         FailApm},
        {{kApm, "fail", "", false}, ListFaults(kApm)},
        {{"shell", "fail MATCH STATUS [--times N]",
          "shell commands that match as a whole end with STATUS (1 to 255) and do nothing"},
         FailShell},
        {{kShell, "fail", "", false}, ListFaults(kShell)},
        {{"mount", "fail PATH ERRNO [--times N]", "mounts and remounts of PATH, those of shell commands too"},
         FailMount},
        {{kMount, "fail", "", false}, ListFaults(kMount)},
        {{"sync", "fail STATUS [--times N]", "a sync saves nothing; a power cut then loses what was written"},
         FailSync},
        {{kSync, "fail", "", false}, ListFaults(kSync)},
        {{"disk", "", "size, use and room of partitions and sticks as JSON, in bytes", false}, ListDisks},
        {{"disk", "PATH SIZE", "bytes, or with K or M behind; full: nothing more can be written; default"},
         ChangeDisk},
        {{"behave", "NAME on|off|MS",
          "factory-ready, preset, bluetooth, wifi, wired, supervisor\n(supervisor also: wrong)"},
         Behave},
        {{"behave", "", "the settings as JSON", false}, ListBehaviours},
        {{"services", "down|up", "the middleware dies under the application (calls answer 111), and comes back",
          true, When::On},
         SwitchServices},
        {{"press", "CODE [--type N]", "the application manager delivers a key event; type 0: pressed", true,
          When::On},
         Press},
        {{"apm", "request REQUEST [--text TEXT] [--second TEXT]",
          "the manager makes one of its requests: requestStop, requestPause, ...", true, When::On},
         AskApplication},
        {{"violations", "", "the rules that the application broke since simset started", false}, ListViolations},
    };
    return kVerbs;
}

std::vector<VerbForm> Control::Forms() {
    std::vector<VerbForm> forms = FormsOf(Verbs());
    for (VerbForm& form : forms) {
        const auto words = kWords.find(form.verb);
        form.values = words == kWords.end() ? nullptr : words->second;
    }
    return forms;
}

}  // namespace simset
