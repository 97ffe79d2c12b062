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

#include "manual/FileSection.h"
#include "plan/TomlText.h"
#include "station/StationFormat.h"
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
        const Section section = Read(table, StationTable::Station);
        StationFile station;
        station.name = section.Text("name").value_or("");
        station.scan = section.Text("scan").value_or("");
        station.store = Beside(section, "store");
        station.ledger = Beside(section, "ledger");
        if (station.ledger.empty() && IsServer(station.store)) {
            station.ledger = m_file + ".ledger";
        }
        for (const std::string& report : Texts(section, "reports")) {
            station.reports.push_back(Beside(report));
        }
        ReadVariables(section, station.variables);
        ReadShifts(section, station.shifts);
        ReadPage(section, station.page);
        ReadSlots(section, station);
        if (station.name.empty()) {
            Problem(0, "the station has no 'name'; records name it");
        }
        CheckScan(section, station);
        return station;
    }

  private:
    using Section = manual::FileSection;

    void Problem(std::size_t line, const std::string& words) { m_problems.push_back({m_file, line, words}); }

    // The table with its unknown keys told of.
    Section Read(const toml::table& table, StationTable keys) {
        Section section(table, KeysOf(keys),
                        [this](std::size_t line, const std::string& words) { Problem(line, words); });
        section.TellOfUnknown();
        return section;
    }

    static std::vector<std::string> Texts(const Section& section, std::string_view key) {
        std::vector<std::string> texts;
        const toml::node* node = section.Node(key);
        const auto* list = node == nullptr ? nullptr : node->as_array();
        if (node != nullptr && (list == nullptr || !(list->empty() || list->is_homogeneous<std::string>()))) {
            section.Refuse(key);
            return texts;
        }
        for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
            texts.push_back(*list->get(i)->value<std::string>());
        }
        return texts;
    }

    std::string Beside(const Section& section, std::string_view key) const {
        return Beside(section.Text(key).value_or(""));
    }

    std::string Beside(const std::string& name) const {
        return name.empty() || name.find("://") != std::string::npos
                   ? name
                   : (std::filesystem::path(m_file).parent_path() / name).lexically_normal().string();
    }

    static void ReadShifts(const Section& section, std::vector<std::string>& shifts) {
        static const std::regex kTime("([01][0-9]|2[0-3]):[0-5][0-9]");
        shifts = Texts(section, "shifts");
        for (const std::string& shift : shifts) {
            if (!std::regex_match(shift, kTime)) {
                section.Problem(*section.Node("shifts"),
                                fmt::format("'{}' is no time of day, such as 06:00", shift));
            }
        }
        if (shifts.empty()) {
            shifts = {"00:00"};
        }
        std::sort(shifts.begin(), shifts.end());
    }

    void ReadPage(const Section& section, PagePlace& page) {
        const toml::table* table = section.Table("page");
        if (table == nullptr) {
            return;
        }
        const Section own = Read(*table, StationTable::Page);
        page.token = own.Text("token").value_or("");
        page.language = own.Text("language").value_or("");
        page.host = "127.0.0.1";
        const std::string address = own.Text("address").value_or("");
        static const std::regex kAddress(R"((?:\[([0-9A-Fa-f:.]+)\]|([0-9.]+)):([0-9]{1,5}))");
        std::smatch parts;
        if (!address.empty() && !std::regex_match(address, parts, kAddress)) {
            own.Problem(*table->get("address"),
                        fmt::format("'{}' is no address, such as 127.0.0.1:8080", address));
            return;
        }
        if (!address.empty()) {
            page.host = parts[1].matched ? parts[1] : parts[2];
            const int port = std::stoi(parts[3]);
            page.port = static_cast<std::uint16_t>(port);
            if (!IsIpAddress(page.host) || port > kLastPort) {
                own.Problem(*table->get("address"),
                            fmt::format("'{}' is no address, such as 127.0.0.1:8080", address));
            }
        }
        const bool plain = std::all_of(page.token.begin(), page.token.end(), [](unsigned char c) {
            return std::isalnum(c) != 0 || c == '-' || c == '_';
        });
        if (!plain || (!page.token.empty() && page.token.size() < kLeastToken)) {
            own.Problem(*table->get("token"),
                        fmt::format("'token' must be {} letters, digits, '-' and '_' at least", kLeastToken));
        }
        if (!page.IsLoopback() && page.token.empty()) {
            own.Problem(*table->get("address"),
                        "others than this machine can reach that address: 'token' is missing");
        }
    }

    void ReadSlots(const Section& section, StationFile& station) {
        const std::string plan = Beside(section, "plan");
        const toml::array* list = section.Tables("slot");
        if (list == nullptr && section.Node("slot") != nullptr) {
            return;
        }
        if (list == nullptr || list->empty() || list->size() > kMostSlots) {
            Problem(list == nullptr ? 0 : Section::LineOf(*list),
                    fmt::format("there must be 1 to {} slots, each written as [[slot]]", kMostSlots));
            return;
        }
        std::set<std::string> names;
        std::set<std::string> ports;
        for (std::size_t i = 0; i < list->size(); ++i) {
            const Section own = Read(*list->get(i)->as_table(), StationTable::Slot);
            SlotPlace slot;
            slot.name = own.Text("name").value_or(std::to_string(i + 1));
            slot.port = {Beside(own, "port"), own.Text("serial").value_or(""), own.Text("socket").value_or("")};
            slot.plan = own.Node("plan") == nullptr ? plan : Beside(own, "plan");
            const int given = (slot.port.path.empty() ? 0 : 1) + (slot.port.serial.empty() ? 0 : 1) +
                              (slot.port.socket.empty() ? 0 : 1);
            if (given != 1) {
                own.Problem(
                    own.Line(),
                    "a slot has one of 'port' (a path), 'serial' (of its USB adapter) and 'socket' (of the hub)");
            } else if (!ports.insert(slot.port.Words()).second) {
                own.Problem(own.Line(), fmt::format("{} is the port of another slot", slot.port.Words()));
            }
            if (!names.insert(slot.name).second) {
                own.Problem(own.Line(), fmt::format("the name '{}' is taken by another slot", slot.name));
            }
            if (slot.plan.empty()) {
                own.Problem(own.Line(), "the slot has no 'plan', and the station has none either");
            }
            station.slots.push_back(slot);
        }
    }

    void CheckScan(const Section& section, const StationFile& station) {
        if (station.scan.empty()) {
            Problem(0, "'scan' is missing: the regular expression of a serial number, such as \"[A-Z0-9]{8}\"");
            return;
        }
        try {
            const std::regex form(station.scan);
            for (const SlotPlace& slot : station.slots) {
                if (std::regex_match(slot.name, form)) {
                    section.Problem(*section.Node("scan"),
                                    fmt::format("the slot's name '{}' could be a serial number", slot.name));
                }
            }
        } catch (const std::regex_error&) {
            section.Problem(*section.Node("scan"), "'scan' is no regular expression");
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
