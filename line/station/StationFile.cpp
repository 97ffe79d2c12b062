#include "station/StationFile.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <toml++/toml.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "plan/TomlText.h"
#include "store/Store.h"

namespace zelline {
namespace {

constexpr std::size_t kMostSlots = 32;
constexpr std::size_t kLeastToken = 16;  // letters: short ones are guessed
constexpr int kLastPort = 65535;

bool IsIpAddress(const std::string& text) {
    in6_addr ignored{};
    return ::inet_pton(AF_INET, text.c_str(), &ignored) == 1 || ::inet_pton(AF_INET6, text.c_str(), &ignored) == 1;
}

// Reads one station file.
class StationReader {
  public:
    StationReader(const std::string& file, std::vector<PlanProblem>& problems)
        : m_file(file), m_problems(problems) {}

    StationFile Read(const toml::table& table) {
        Allow(table, {"name", "plan", "scan", "store", "ledger", "reports", "shifts", "vars", "page", "slot"},
              "in a station");
        StationFile station;
        station.name = Text(table, "name");
        station.scan = Text(table, "scan");
        station.store = Beside(Text(table, "store"));
        station.ledger = Beside(Text(table, "ledger"));
        if (station.ledger.empty() && IsServer(station.store)) {
            station.ledger = m_file + ".ledger";
        }
        for (const std::string& report : Texts(table, "reports")) {
            station.reports.push_back(Beside(report));
        }
        ReadVariables(table, station.variables);
        ReadShifts(table, station.shifts);
        ReadPage(table, station.page);
        ReadSlots(table, station);
        if (station.name.empty()) {
            Problem(0, "the station has no 'name'; records name it");
        }
        CheckScan(table, station);
        return station;
    }

  private:
    void Problem(std::size_t line, const std::string& words) { m_problems.push_back({m_file, line, words}); }
    void Problem(const toml::node& node, const std::string& words) { Problem(node.source().begin.line, words); }

    void Allow(const toml::table& table, const std::set<std::string_view>& known, std::string_view where) {
        for (const auto& [key, node] : table) {
            if (known.count(key.str()) == 0) {
                Problem(key.source().begin.line,
                        fmt::format("'{}' is unknown {}; there are {}", key.str(), where, fmt::join(known, ", ")));
            }
        }
    }

    std::string Text(const toml::table& table, std::string_view key) {
        const toml::node* node = table.get(key);
        const auto text = node == nullptr ? std::nullopt : node->value_exact<std::string>();
        if (node != nullptr && (!text || text->empty())) {
            Problem(*node, fmt::format("'{}' must be a text that is not empty", key));
        }
        return text.value_or("");
    }

    std::vector<std::string> Texts(const toml::table& table, std::string_view key) {
        std::vector<std::string> texts;
        const toml::node* node = table.get(key);
        const auto* list = node == nullptr ? nullptr : node->as_array();
        if (node != nullptr && (list == nullptr || !(list->empty() || list->is_homogeneous<std::string>()))) {
            Problem(*node, fmt::format("'{}' must be a list of texts", key));
            return texts;
        }
        for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
            texts.push_back(*list->get(i)->value<std::string>());
        }
        return texts;
    }

    std::string Beside(const std::string& name) const {
        return name.empty() || name.find("://") != std::string::npos
                   ? name
                   : (std::filesystem::path(m_file).parent_path() / name).lexically_normal().string();
    }

    void ReadVariables(const toml::table& table, Variables& variables) {
        const toml::node* node = table.get("vars");
        if (node == nullptr) {
            return;
        }
        if (!node->is_table()) {
            Problem(*node, "'vars' must be written as [vars]");
            return;
        }
        for (const auto& [key, value] : *node->as_table()) {
            const std::string name(key.str());
            const auto text = TextOf(value);
            const std::string doubt = !text ? fmt::format("'{}' must be a text, a number, true or false", name)
                                            : VariableDoubt(name, *text);
            if (!doubt.empty()) {
                Problem(value, doubt);
            }
            variables[name] = text.value_or("");
        }
    }

    void ReadShifts(const toml::table& table, std::vector<std::string>& shifts) {
        static const std::regex kTime("([01][0-9]|2[0-3]):[0-5][0-9]");
        shifts = Texts(table, "shifts");
        for (const std::string& shift : shifts) {
            if (!std::regex_match(shift, kTime)) {
                Problem(*table.get("shifts"), fmt::format("'{}' is no time of day, such as 06:00", shift));
            }
        }
        if (shifts.empty()) {
            shifts = {"00:00"};
        }
        std::sort(shifts.begin(), shifts.end());
    }

    void ReadPage(const toml::table& table, PagePlace& page) {
        const toml::node* node = table.get("page");
        if (node == nullptr) {
            return;
        }
        if (!node->is_table()) {
            Problem(*node, "'page' must be written as [page]");
            return;
        }
        const toml::table& own = *node->as_table();
        Allow(own, {"address", "token", "language"}, "in 'page'");
        page.token = Text(own, "token");
        page.language = Text(own, "language");
        page.host = "127.0.0.1";
        const std::string address = Text(own, "address");
        static const std::regex kAddress(R"((?:\[([0-9A-Fa-f:.]+)\]|([0-9.]+)):([0-9]{1,5}))");
        std::smatch parts;
        if (!address.empty() && !std::regex_match(address, parts, kAddress)) {
            Problem(*own.get("address"), fmt::format("'{}' is no address, such as 127.0.0.1:8080", address));
            return;
        }
        if (!address.empty()) {
            page.host = parts[1].matched ? parts[1] : parts[2];
            const int port = std::stoi(parts[3]);
            page.port = static_cast<std::uint16_t>(port);
            if (!IsIpAddress(page.host) || port > kLastPort) {
                Problem(*own.get("address"), fmt::format("'{}' is no address, such as 127.0.0.1:8080", address));
            }
        }
        const bool plain = std::all_of(page.token.begin(), page.token.end(), [](unsigned char c) {
            return std::isalnum(c) != 0 || c == '-' || c == '_';
        });
        if (!plain || (!page.token.empty() && page.token.size() < kLeastToken)) {
            Problem(*own.get("token"),
                    fmt::format("'token' must be {} letters, digits, '-' and '_' at least", kLeastToken));
        }
        if (!page.IsLoopback() && page.token.empty()) {
            Problem(*own.get("address"), "others than this machine can reach that address: 'token' is missing");
        }
    }

    void ReadSlots(const toml::table& table, StationFile& station) {
        const std::string plan = Beside(Text(table, "plan"));
        const toml::node* node = table.get("slot");
        const auto* list = node == nullptr ? nullptr : node->as_array();
        if (list == nullptr || !list->is_homogeneous(toml::node_type::table) || list->size() > kMostSlots) {
            Problem(node == nullptr ? 0 : node->source().begin.line,
                    fmt::format("there must be 1 to {} slots, each written as [[slot]]", kMostSlots));
            return;
        }
        std::set<std::string> names;
        std::set<std::string> ports;
        for (std::size_t i = 0; i < list->size(); ++i) {
            const toml::table& own = *list->get(i)->as_table();
            Allow(own, {"name", "port", "serial", "socket", "plan"}, "in a slot");
            SlotPlace slot;
            slot.name = own.contains("name") ? Text(own, "name") : std::to_string(i + 1);
            slot.port = {Beside(Text(own, "port")), Text(own, "serial"), Text(own, "socket")};
            slot.plan = own.contains("plan") ? Beside(Text(own, "plan")) : plan;
            const int given = (slot.port.path.empty() ? 0 : 1) + (slot.port.serial.empty() ? 0 : 1) +
                              (slot.port.socket.empty() ? 0 : 1);
            if (given != 1) {
                Problem(
                    own,
                    "a slot has one of 'port' (a path), 'serial' (of its USB adapter) and 'socket' (of the hub)");
            } else if (!ports.insert(slot.port.Words()).second) {
                Problem(own, fmt::format("{} is the port of another slot", slot.port.Words()));
            }
            if (!names.insert(slot.name).second) {
                Problem(own, fmt::format("the name '{}' is taken by another slot", slot.name));
            }
            if (slot.plan.empty()) {
                Problem(own, "the slot has no 'plan', and the station has none either");
            }
            station.slots.push_back(slot);
        }
    }

    void CheckScan(const toml::table& table, const StationFile& station) {
        if (station.scan.empty()) {
            Problem(0, "'scan' is missing: the regular expression of a serial number, such as \"[A-Z0-9]{8}\"");
            return;
        }
        try {
            const std::regex form(station.scan);
            for (const SlotPlace& slot : station.slots) {
                if (std::regex_match(slot.name, form)) {
                    Problem(*table.get("scan"),
                            fmt::format("the slot's name '{}' could be a serial number", slot.name));
                }
            }
        } catch (const std::regex_error&) {
            Problem(*table.get("scan"), "'scan' is no regular expression");
        }
    }

    const std::string& m_file;
    std::vector<PlanProblem>& m_problems;
};

}  // namespace

bool PagePlace::IsLoopback() const {
    return host.empty() || host == "::1" || host.rfind("127.", 0) == 0;
}

StationFile LoadStation(const std::string& path, std::vector<PlanProblem>& problems) {
    std::ifstream bytes(path, std::ios::binary);
    if (!bytes) {
        problems.push_back({path, 0, "there is no such station file"});
        return {};
    }
    const std::string text{std::istreambuf_iterator<char>(bytes), {}};
    try {
        return StationReader(path, problems).Read(toml::parse(text, path));
    } catch (const toml::parse_error& error) {
        problems.push_back({path, error.source().begin.line, WordsOf(error)});
        return {};
    }
}

}  // namespace zelline
