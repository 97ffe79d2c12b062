#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "page/PageServer.h"
#include "plan/PlanFile.h"
#include "record/UnitItems.h"
#include "station/Station.h"
#include "tools/Tools.h"

namespace zelline {
namespace {

constexpr char kAnyUnit[] = "00000000";  // in the place of a serial number that is not known yet
constexpr Millis kEndPause{200};         // between two looks whether all have ended

// The file and the plans that it names, or nothing when there was a mistake, which is told then.
std::optional<StationFile> LoadChecked(const Context& context) {
    std::vector<PlanProblem> problems;
    StationFile station = LoadStation(context.options.words[0], problems);
    std::set<std::string> plans;
    for (const SlotPlace& slot : station.slots) {
        if (slot.plan.empty() || !plans.insert(slot.plan).second) {
            continue;
        }
        const std::size_t before = problems.size();
        const Plan plan = LoadPlan(slot.plan, station.variables, problems, ProvidedVariables(kAnyUnit));
        if (problems.size() == before && station.store.empty() && !ItemTypesOf(plan).empty()) {
            problems.push_back({slot.plan, 0, "takes items from the stock, and the station has no 'store'"});
        }
    }
    TellOf(context.console, problems);
    return problems.empty() ? std::optional(std::move(station)) : std::nullopt;
}

// Writes what the station says; two threads do.
class StationVoice {
  public:
    explicit StationVoice(const Console& console) : m_console(console) {}

    void Say(const Json& object, const std::string& words) {
        const std::lock_guard lock(m_mutex);
        if (m_console.json || !words.empty()) {
            m_console.Result(object, words);
        }
    }

    // For people only what a slot begins and ends with.
    void Say(const Json& news) {
        std::string words;
        if (news["type"] == "slot") {
            const std::string slot = news["slot"];
            const std::string phase = news["phase"];
            if (m_phases[slot] != phase && phase != "idle") {
                const std::string unit = news["unit"].is_null() ? "" : std::string(news["unit"]);
                const std::string what = phase == "over"   ? std::string(news["verdict"])
                                         : phase == "port" ? "waits for its port"
                                         : phase == "set"  ? "waits for its set"
                                                           : "runs";
                const std::string failed = news["failed"].is_null() ? "" : std::string(news["failed"]) + ": ";
                words = fmt::format("{:<8} {:<16} {}  {}{}", slot, unit, what, failed, std::string(news["words"]));
            }
            m_phases[slot] = phase;
            const Json& question = news["question"];
            if (!question.is_null() && m_asked[slot] != question["number"]) {
                m_asked[slot] = question["number"];
                const std::string asked = question["kind"] == "key" ? "press " + std::string(question["key"])
                                                                    : std::string(question["words"]);
                const std::string note = question["note"].is_null() ? "" : std::string(question["note"]) + ": ";
                words = fmt::format("{:<8} {:<16} asks  {}{}", slot, std::string(news["unit"]), note, asked);
            }
        }
        if (news["type"] == "line") {
            const std::string problem = news["problem"].is_null() ? "" : std::string(news["problem"]);
            if (problem != m_problem) {
                words = problem.empty()
                            ? "The store answers again"
                            : problem + (news["goes_on"] ? "; the slots work on with what the station has" : "");
            }
            m_problem = problem;
        }
        Say(news, words);
    }

  private:
    const Console& m_console;
    std::mutex m_mutex;
    std::map<std::string, std::string> m_phases;
    std::string m_problem;  // of the store
    std::map<std::string, std::uint64_t> m_asked;
};

// The lines of standard input. It is read as it comes, so that waiting for it does not outlast the station.
class InputLines {
  public:
    static constexpr std::size_t kMostLetters = 1000;  // more without an end are dropped

    // False at the end of the input.
    bool Take(const std::function<void(const std::string& line)>& take) {
        std::array<char, 256> bytes{};
        const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count <= 0) {
            return false;
        }
        m_rest.append(bytes.data(), static_cast<std::size_t>(count));
        for (auto end = m_rest.find('\n'); end != std::string::npos; end = m_rest.find('\n')) {
            take(m_rest.substr(0, end));
            m_rest.erase(0, end + 1);
        }
        if (m_rest.size() > kMostLetters) {
            m_rest.clear();
        }
        return true;
    }

  private:
    std::string m_rest;
};

void TakeLine(Station& station, StationVoice& voice, const std::string& line) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) {
        return;
    }
    const ScanReply reply = station.Scan(line);
    voice.Say({{"v", 1},
               {"type", "scan"},
               {"reply", ReplyWord(reply.kind)},
               {"slot", reply.slot.empty() ? Json(nullptr) : Json(reply.slot)},
               {"unit", reply.unit.empty() ? Json(nullptr) : Json(reply.unit)}},
              fmt::format("{:<8} {:<16} {}", reply.slot, reply.unit, ReplyWord(reply.kind)));
}

// Takes what is scanned until the station is to end.
void Serve(const Stop& stop, Station& station, StationVoice& voice) {
    InputLines input;
    bool reads = true;
    for (;;) {
        std::array<pollfd, 2> watched = {{{stop.Descriptor(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
        if (::poll(watched.data(), reads ? 2 : 1, -1) < 0) {
            continue;  // a signal; one to stop by makes the descriptor readable
        }
        if (stop.Await(Millis(0))) {
            return;
        }
        if (reads && watched[1].revents != 0) {
            reads = input.Take([&](const std::string& line) { TakeLine(station, voice, line); });
        }
    }
}

}  // namespace

Exit RunStation(const Context& context) {
    auto file = LoadChecked(context);
    if (!file) {
        Fail(Exit::Unusable, "{} cannot run as it is; nothing was sent", context.options.words[0]);
    }
    Station station(std::move(*file), context.open, ZELLINE_VERSION);
    std::optional<PageServer> page;
    if (!station.File().page.host.empty()) {
        page.emplace(station);
    }
    StationVoice voice(context.console);
    const std::string url = page ? page->Url() : std::string();
    voice.Say({{"v", 1}, {"type", "serving"}, {"page", page ? Json(url) : Json(nullptr)}},
              page ? "The operator's page: " + url : "The station is ready");
    std::atomic<bool> ended = false;
    std::thread teller([&] {
        for (std::uint64_t since = 0;;) {
            const bool last = ended;
            const Board::News news = station.Shown().Await(since, last ? Millis(0) : kEndPause);
            for (const Json& object : news.objects) {
                voice.Say(object);
            }
            since = news.last;
            if (last) {
                return;
            }
        }
    });
    Serve(context.stop, station, voice);
    station.End();
    while (!station.AwaitEnd(kEndPause)) {
        if (context.stop.Await(Millis(0))) {
            station.End();
        }
    }
    ended = true;
    teller.join();
    return Exit::Success;
}

}  // namespace zelline
