#include "station/Board.h"

#include <utility>

namespace zelline {
namespace {

Json OrNull(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

Json QuestionJson(const std::optional<SlotQuestion>& question) {
    if (!question) {
        return nullptr;
    }
    const char* kind = question->kind == Action::Kind::Confirm ? "confirm"
                       : question->kind == Action::Kind::Press ? "key"
                                                               : "text";
    return {{"number", question->number},     {"kind", kind},
            {"words", question->words},       {"key", OrNull(question->key)},
            {"note", OrNull(question->note)}, {"doubt", OrNull(question->doubt)},
            {"said", OrNull(question->said)}};
}

Json SlotJson(const SlotState& state) {
    const bool works = state.phase != SlotPhase::Idle;
    const auto since = std::chrono::duration_cast<Millis>(std::chrono::steady_clock::now() - state.begun);
    return {{"v", 1},
            {"type", "slot"},
            {"slot", state.name},
            {"phase", PhaseWord(state.phase)},
            {"place", state.place},
            {"port", OrNull(state.port)},
            {"unit", OrNull(state.unit)},
            {"run", OrNull(state.run)},
            {"step", OrNull(state.step)},
            {"done", state.done},
            {"steps", state.steps},
            {"percent", state.percent ? Json(*state.percent) : Json(nullptr)},
            {"question", QuestionJson(state.question)},
            {"verdict", OrNull(state.verdict)},
            {"reason", OrNull(state.reason)},
            {"failed", OrNull(state.failed)},
            {"words", state.words},
            {"ms", works ? state.elapsed.value_or(since).count() : 0}};
}

Json LineJson(const LineState& line) {
    Json stock = Json::array();
    for (const StockCount& count : line.stock) {
        stock.push_back({{"stock", count.type}, {"free", count.free}});
    }
    std::size_t units = 0;
    std::size_t firstPass = 0;
    std::size_t passed = 0;
    for (const PlanYield& yield : line.yield) {
        units += yield.units;
        firstPass += yield.firstPass;
        passed += yield.passed;
    }
    return {{"v", 1},
            {"type", "line"},
            {"known", line.known},
            {"stock", stock},
            {"since", OrNull(line.shift)},
            {"units", units},
            {"first_pass", firstPass},
            {"passed", passed},
            {"problem", OrNull(line.problem)},
            {"goes_on", line.goesOn}};
}

}  // namespace

const char* PhaseWord(SlotPhase phase) {
    switch (phase) {
        case SlotPhase::AwaitingPort:
            return "port";
        case SlotPhase::AwaitingSet:
            return "set";
        case SlotPhase::Running:
            return "running";
        case SlotPhase::Over:
            return "over";
        default:
            return "idle";
    }
}

Board::Board(std::string station, const std::vector<SlotState>& slots) : m_station(std::move(station)) {
    Count(m_asked.number);
    for (const SlotState& slot : slots) {
        m_slots.push_back({slot, 0});
        Count(m_slots.back().number);
    }
    Count(m_line.number);
}

void Board::Count(std::uint64_t& number) {
    number = ++m_last;
    m_changed.notify_all();
}

void Board::Change(std::size_t slot, const std::function<void(SlotState& state)>& change) {
    const std::lock_guard lock(m_mutex);
    change(m_slots[slot].state);
    Count(m_slots[slot].number);
}

void Board::Change(const LineState& line) {
    const std::lock_guard lock(m_mutex);
    m_line.state = line;
    Count(m_line.number);
}

void Board::Ask(const std::string& unit) {
    const std::lock_guard lock(m_mutex);
    if (m_asked.state != unit) {
        m_asked.state = unit;
        Count(m_asked.number);
    }
}

SlotState Board::At(std::size_t slot) const {
    const std::lock_guard lock(m_mutex);
    return m_slots[slot].state;
}

Board::News Board::Await(std::uint64_t since, Millis time) const {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, time, [&] { return m_last > since; });
    News news;
    news.last = m_last;
    if (m_asked.number > since) {
        news.objects.push_back(
            {{"v", 1}, {"type", "station"}, {"name", m_station}, {"unit", OrNull(m_asked.state)}});
    }
    for (const auto& slot : m_slots) {
        if (slot.number > since) {
            news.objects.push_back(SlotJson(slot.state));
        }
    }
    if (m_line.number > since) {
        news.objects.push_back(LineJson(m_line.state));
    }
    return news;
}

}  // namespace zelline
