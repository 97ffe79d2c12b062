#include "simset/core/middleware/Control.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <fnmatch.h>

#include <algorithm>
#include <optional>

#include "simset/base/Numbers.h"

namespace simset {
namespace {

using nlohmann::json;

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

const KeyInfo& KeyOf(const std::string& name) {
    if (const KeyInfo* const info = FindKey(name)) {
        return *info;
    }
    std::vector<std::string> names;
    for (const auto& info : Catalogue()) {
        names.emplace_back(info.key);
    }
    RefuseName("model key", name, names);
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

}  // namespace

const std::vector<Verb<Control>>& Control::Verbs() {
    static const std::vector<Verb<Control>> kVerbs = {
        {{"model", "get KEY", "a model value as JSON (a plain text as it is)", false}, &Control::GetModel},
        {{"model", "list GLOB", "the keys that match (* for all), each with its value as JSON, one a line", false},
         &Control::ListModel},
        {{"model", "set KEY JSON", "change it and notify observers"}, &Control::SetModel},
        {{"model", "notify KEY EVENT NUMBER",
          "tell its observers; EVENT state|update|error, or of its iterators\n"
          "commit|seek-row|seek-content|cursor|read-row|ready|iterator-update",
          true, When::On},
         &Control::TellModel},
        {{"model", "fail KEY STEP STATUS [--times N]",
          "STEP proxy|interface|root|connect|operate|execute|count|rows; 0 ends it"},
         &Control::FailModel},
        {{kModel, "fail", "the failures that were asked for; so of flash, meta, keys, apm, shell, mount, sync",
          false},
         &Control::ListFaults<kModel>},
        {{"flash", "get NAME", "a boot variable", false}, &Control::GetFlash},
        {{"flash", "list", "those that were ever set, as JSON", false}, &Control::ListFlash},
        {{"flash", "set NAME TEXT", ""}, &Control::SetFlash},
        {{"flash", "fail NAME STATUS [--times N]", ""}, &Control::FailFlash},
        {{kFlash, "fail", "", false}, &Control::ListFaults<kFlash>},
        {{"meta", "get ITEM", "factory metadata; items 6 and 8 are text", false}, &Control::GetMeta},
        {{"meta", "set ITEM VALUE", ""}, &Control::SetMeta},
        {{"meta", "fail ITEM|init|access-route STATUS [--times N]", ""}, &Control::FailMeta},
        {{kMeta, "fail", "", false}, &Control::ListFaults<kMeta>},
        {{"keys", "list", "installed keys as JSON", false}, &Control::ListKeys},
        {{"keys", "clear", "none is installed any more, nor a CI+ credential"}, &Control::ClearKeys},
        {{"keys", "fail KEY write|check STATUS [--times N]", ""}, &Control::FailKeys},
        {{kKeys, "fail", "", false}, &Control::ListFaults<kKeys>},
        {{"apm", "fail CALL STATUS [--times N]",
          "CALL rpc|adapter|registerApp|notifyAppStatusInfo|unRegisterApp of the application manager"},
         &Control::FailApm},
        {{kApm, "fail", "", false}, &Control::ListFaults<kApm>},
        {{"shell", "fail MATCH STATUS [--times N]",
          "shell commands that match as a whole end with STATUS (1 to 255) and do nothing"},
         &Control::FailShell},
        {{kShell, "fail", "", false}, &Control::ListFaults<kShell>},
        {{"mount", "fail PATH ERRNO [--times N]", "mounts and remounts of PATH, those of shell commands too"},
         &Control::FailMount},
        {{kMount, "fail", "", false}, &Control::ListFaults<kMount>},
        {{"sync", "fail STATUS [--times N]", "a sync saves nothing; a power cut then loses what was written"},
         &Control::FailSync},
        {{kSync, "fail", "", false}, &Control::ListFaults<kSync>},
        {{"disk", "", "size, use and room of partitions and sticks as JSON, in bytes", false},
         &Control::ListDisks},
        {{"disk", "PATH SIZE", "bytes, or with K or M behind; full: nothing more can be written; default"},
         &Control::ChangeDisk},
        {{"behave", "NAME on|off|MS",
          "factory-ready, preset, bluetooth, wifi, wired, supervisor\n(supervisor also: wrong)"},
         &Control::Behave},
        {{"behave", "", "the settings as JSON", false}, &Control::ListBehaviours},
        {{"services", "down|up", "the middleware dies under the application (calls answer 111), and comes back",
          true, When::On},
         &Control::SwitchServices},
        {{"press", "CODE [--type N]", "the application manager delivers a key event; type 0: pressed", true,
          When::On},
         &Control::Press},
        {{"apm", "request REQUEST [--text TEXT] [--second TEXT]",
          "the manager makes one of its requests: requestStop, requestPause, ...", true, When::On},
         &Control::AskApplication},
        {{"violations", "", "the rules that the application broke since simset started", false},
         &Control::ListViolations},
    };
    return kVerbs;
}

template <const char* Area>
std::string Control::ListFaults(const Arguments&) {
    return Print(m_parts.faults.List(Area));
}

std::string Control::Fail(const char* area, const std::string& name, const std::string& step,
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
    m_parts.faults.Arrange(area, name, step, *number, *times);
    return {};
}

std::string Control::GetModel(const Arguments& arguments) {
    return Print(m_parts.model.Value(std::string(KeyOf(arguments[0]).key)));
}

std::string Control::ListModel(const Arguments& arguments) {
    std::string lines;
    for (const auto& info : Catalogue()) {
        const std::string key(info.key);
        if (::fnmatch(arguments[0].c_str(), key.c_str(), 0) == 0) {
            lines += key + ' ' + Line(m_parts.model.Value(key));
        }
    }
    if (lines.empty()) {
        throw ControlError(fmt::format("no model key matches {}", arguments[0]));
    }
    return lines;
}

std::string Control::SetModel(const Arguments& arguments) {
    const KeyInfo& info = KeyOf(arguments[0]);
    if (!m_parts.powered() && !info.kept && info.found.empty()) {
        throw ControlError(fmt::format("the set is off, and forgets {} without power", info.key));
    }
    m_parts.model.Assign(info, ValueFor(info, arguments[1]));
    return {};
}

std::string Control::TellModel(const Arguments& arguments) {
    const KeyInfo& info = KeyOf(arguments[0]);
    if (Model::Events().count(arguments[1]) == 0) {
        std::vector<std::string> names;
        for (const auto& [name, ofIterator] : Model::Events()) {
            (void)ofIterator;
            names.push_back(name);
        }
        RefuseName("event", arguments[1], names);
    }
    const auto number = ParseNumber<std::int32_t>(arguments[2]);
    if (!number) {
        throw ControlError(
            fmt::format("\"{}\" is no number: give the code that comes with the event", arguments[2]));
    }
    if (m_parts.model.Tell(info, arguments[1], *number) == 0) {
        throw ControlError(fmt::format("nobody observes that of {} now", info.key));
    }
    return {};
}

std::string Control::SwitchServices(const Arguments& arguments) {
    m_parts.serve(arguments[0] == "up");
    return {};
}

std::string Control::FailModel(const Arguments& arguments) {
    const std::string& key = arguments[0];
    if (key.find_first_of(kWildcards) == std::string::npos) {
        KeyOf(key);
    }
    if (std::find(kModelSteps.begin(), kModelSteps.end(), arguments[1]) == kModelSteps.end()) {
        throw ControlError(
            fmt::format("there is no step \"{}\": give one of {}", arguments[1], fmt::join(kModelSteps, ", ")));
    }
    return Fail(kModel, key, arguments[1], arguments[2], arguments);
}

std::string Control::GetFlash(const Arguments& arguments) {
    return m_parts.flash.Value(arguments[0]) + '\n';
}

std::string Control::ListFlash(const Arguments&) {
    return Line(m_parts.flash.Values());
}

std::string Control::SetFlash(const Arguments& arguments) {
    m_parts.flash.Assign(arguments[0], arguments[1]);
    return {};
}

std::string Control::FailFlash(const Arguments& arguments) {
    return Fail(kFlash, arguments[0], kAnyStep, arguments[1], arguments);
}

std::string Control::GetMeta(const Arguments& arguments) {
    return Print(m_parts.metadata.Value(ItemOf(arguments[0])));
}

std::string Control::SetMeta(const Arguments& arguments) {
    const int item = ItemOf(arguments[0]);
    const auto number = ParseNumber<std::int32_t>(arguments[1]);
    if (!Metadata::IsText(item) && !number) {
        throw ControlError(fmt::format("metadata item {} holds a 32-bit integer: give a number such as 5", item));
    }
    m_parts.metadata.Assign(item, Metadata::IsText(item) ? json(arguments[1]) : json(*number));
    return {};
}

std::string Control::FailMeta(const Arguments& arguments) {
    const std::string& item = arguments[0];
    const bool named = item == "init" || item == "access-route" || item == "*";
    return Fail(kMeta, named ? item : std::to_string(ItemOf(item)), kAnyStep, arguments[1], arguments);
}

std::string Control::ListKeys(const Arguments&) {
    return Print(m_parts.keys.List());
}

std::string Control::ClearKeys(const Arguments&) {
    m_parts.keys.Clear();
    return {};
}

std::string Control::FailKeys(const Arguments& arguments) {
    const std::string& key = arguments[0];
    return Fail(kKeys, key == "*" ? key : KeyNumberOf(key), arguments[1], arguments[2], arguments);
}

std::string Control::FailApm(const Arguments& arguments) {
    const auto calls = AppManager::Calls();
    if (arguments[0] != "*" && std::find(calls.begin(), calls.end(), arguments[0]) == calls.end()) {
        RefuseName("call", arguments[0], calls);
    }
    return Fail(kApm, arguments[0], kAnyStep, arguments[1], arguments);
}

std::string Control::FailShell(const Arguments& arguments) {
    // What a process can end with; 0 takes the fault back.
    if (!ParseNumber<int>(arguments[1], 0, 255)) {
        throw ControlError(
            fmt::format("\"{}\" is no exit status: give 1 to 255, 0 to end the fault", arguments[1]));
    }
    return Fail(kShell, arguments[0], kAnyStep, arguments[1], arguments);
}

std::string Control::FailMount(const Arguments& arguments) {
    constexpr int kLastErrno = 133;
    if (arguments[0].empty() || std::string("/*?[").find(arguments[0][0]) == std::string::npos) {
        throw ControlError(
            fmt::format("\"{}\" is no path of the set: give one such as /zodata/factory, or *", arguments[0]));
    }
    if (!ParseNumber<int>(arguments[1], 0, kLastErrno)) {
        throw ControlError(
            fmt::format("\"{}\" is no errno: give a number such as 30 (EROFS), 0 to end the fault", arguments[1]));
    }
    return Fail(kMount, arguments[0], kAnyStep, arguments[1], arguments);
}

std::string Control::FailSync(const Arguments& arguments) {
    return Fail(kSync, "*", kAnyStep, arguments[0], arguments);
}

std::string Control::ListDisks(const Arguments&) {
    nlohmann::ordered_json disks = m_parts.disks();
    if (disks.is_null()) {
        for (const std::string& path : DiskSizes::Partitions()) {
            disks.push_back({{"path", path}, {"size", m_parts.diskSizes.Of(path)}});
        }
    }
    return disks.dump() + '\n';
}

std::string Control::ChangeDisk(const Arguments& arguments) {
    const std::string& path = arguments[0];
    if (!DiskSizes::IsDisk(path)) {
        RefuseName("partition", path, DiskSizes::Partitions());
    }
    const auto size = DiskSizes::Parse(path, arguments[1]);
    if (!size) {
        throw ControlError(
            fmt::format("\"{}\" is no size: give bytes such as 65536, 64K or 2M, full, or default", arguments[1]));
    }
    m_parts.resizeDisk(path, *size);
    m_parts.diskSizes.Change(path, *size);
    return {};
}

std::string Control::ListBehaviours(const Arguments&) {
    json settings = json::object();
    for (const auto& name : Behaviours::Names()) {
        settings[name] = m_parts.behaviours.Setting(name);
    }
    return Print(settings);
}

std::string Control::Behave(const Arguments& arguments) {
    const auto names = Behaviours::Names();
    if (std::find(names.begin(), names.end(), arguments[0]) == names.end()) {
        RefuseName("behaviour", arguments[0], names);
    }
    if (!m_parts.behaviours.Change(arguments[0], arguments[1])) {
        throw ControlError(
            fmt::format("\"{}\" is no setting: give on, off, or milliseconds from 0 to 86400000", arguments[1]));
    }
    return {};
}

std::string Control::Press(const Arguments& arguments) {
    const auto code = ParseNumber<std::int32_t>(arguments[0]);
    if (!code) {
        throw ControlError(
            fmt::format("\"{}\" is no key code: give a number such as 70, the power key", arguments[0]));
    }
    const auto type = ParseNumber<std::int32_t>(arguments.Option("--type").value_or("0"));
    if (!type) {
        throw ControlError("--type wants a number: 0 for a key that was pressed, others are the manager's own");
    }
    m_parts.await(m_parts.manager.Press(*code, *type));
    return {};
}

std::string Control::AskApplication(const Arguments& arguments) {
    const auto& requests = AppManager::Requests();
    const auto request = requests.find(arguments[0]);
    if (request == requests.end()) {
        std::vector<std::string> names;
        for (const auto& [name, texts] : requests) {
            (void)texts;
            names.push_back(name);
        }
        RefuseName("request", arguments[0], names);
    }
    std::vector<std::string> texts{arguments.Option("--text").value_or(""),
                                   arguments.Option("--second").value_or("")};
    texts.resize(request->second);
    m_parts.await(m_parts.manager.Ask(request->first, texts));
    return {};
}

std::string Control::ListViolations(const Arguments&) {
    return m_parts.violations.Lines();
}

}  // namespace simset
