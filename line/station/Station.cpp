#include "station/Station.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <ctime>
#include <optional>

#include "record/StationLedger.h"

namespace zelline {
namespace {

constexpr std::chrono::seconds kStoreAge{60};  // after which the store is looked at again
constexpr std::chrono::seconds kStoreAway{5};  // the same for one that could not be reached
constexpr ServerPatience kLookPatience{std::chrono::seconds(5), std::chrono::seconds(30)};

std::string WithoutBlanks(const std::string& text) {
    const char* const blanks = " \t\r\n";
    const auto begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? std::string()
                                      : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::vector<SlotState> FirstStates(const StationFile& file) {
    std::vector<SlotState> states;
    for (const SlotPlace& slot : file.slots) {
        SlotState state;
        state.name = slot.name;
        state.place = slot.port.Words();
        states.push_back(state);
    }
    return states;
}

}  // namespace

const char* ReplyWord(ScanReply::Kind kind) {
    switch (kind) {
        case ScanReply::Kind::Begun:
            return "begun";
        case ScanReply::Kind::WhichSlot:
            return "which-slot";
        case ScanReply::Kind::WhichUnit:
            return "which-unit";
        case ScanReply::Kind::Busy:
            return "busy";
        case ScanReply::Kind::Twice:
            return "twice";
        case ScanReply::Kind::Answered:
            return "answered";
        case ScanReply::Kind::WhichAnswer:
            return "which-answer";
        case ScanReply::Kind::WhichQuestion:
            return "which-question";
        default:
            return "no-unit";
    }
}

Station::Station(StationFile file, PortOpener open, const std::string& tool)
    : m_file(std::move(file)),
      m_open(std::move(open)),
      m_form(m_file.scan),
      m_board(std::make_unique<Board>(m_file.name, FirstStates(m_file))),
      m_parts{m_file, *m_board, m_open, tool, [this] {
                  const std::lock_guard lock(m_storeMutex);
                  m_storeIsOld = true;
                  m_storeChanged.notify_all();
              }} {
    for (std::size_t number = 0; number < m_file.slots.size(); ++number) {
        m_slots.push_back(std::make_unique<StationSlot>(m_parts, number));
    }
    if (!m_file.store.empty()) {
        m_storeThread = std::thread([this] { AskTheStore(); });
    }
}

Station::~Station() {
    End();
    m_slots.clear();
    {
        const std::lock_guard lock(m_storeMutex);
        m_ending = true;
        m_storeChanged.notify_all();
    }
    if (m_storeThread.joinable()) {
        m_storeThread.join();
    }
}

ScanReply Station::Scan(const std::string& text) {
    using Kind = ScanReply::Kind;
    const std::string word = WithoutBlanks(text);
    const std::lock_guard lock(m_scanning);
    const auto named =
        std::find_if(m_file.slots.begin(), m_file.slots.end(), [&](const SlotPlace& s) { return s.name == word; });
    if (named != m_file.slots.end()) {
        const auto slot = static_cast<std::size_t>(named - m_file.slots.begin());
        if (m_slots[slot]->Person().Asks()) {
            m_chosen = slot;
            m_choseQuestion = true;
            return {Kind::WhichAnswer, word, ""};
        }
        if (!m_slots[slot]->Unit().empty()) {
            return {Kind::Busy, word, m_unit};
        }
        if (!m_unit.empty()) {
            return Begin(slot, m_unit);
        }
        m_chosen = slot;
        m_choseQuestion = false;
        return {Kind::WhichUnit, word, ""};
    }
    if (auto reply = AsAnswer(word)) {
        return *reply;
    }
    if (!std::regex_match(word, m_form)) {
        return {Kind::NoUnit, "", word};
    }
    for (std::size_t slot = 0; slot < m_slots.size(); ++slot) {
        if (m_slots[slot]->Unit() == word) {
            return {Kind::Twice, m_file.slots[slot].name, word};
        }
    }
    if (m_chosen) {
        return Begin(*m_chosen, word);
    }
    std::vector<std::size_t> free;
    for (std::size_t slot = 0; slot < m_slots.size(); ++slot) {
        if (m_slots[slot]->Unit().empty()) {
            free.push_back(slot);
        }
    }
    if (free.size() == 1) {
        return Begin(free[0], word);
    }
    if (free.empty()) {
        return {Kind::Busy, "", word};
    }
    m_unit = word;
    m_board->Ask(word);
    return {Kind::WhichSlot, "", word};
}

// What is made of the text where a slot asks; nothing when it is no answer.
std::optional<ScanReply> Station::AsAnswer(const std::string& word) {
    using Kind = ScanReply::Kind;
    std::vector<std::size_t> asking;
    for (std::size_t slot = 0; slot < m_slots.size(); ++slot) {
        if (m_slots[slot]->Person().Asks()) {
            asking.push_back(slot);
        }
    }
    const bool isNamed = m_chosen && std::find(asking.begin(), asking.end(), *m_chosen) != asking.end();
    if (m_chosen && !m_choseQuestion) {
        return std::nullopt;  // the slot waits for its unit
    }
    const std::size_t slot = isNamed ? *m_chosen : asking.empty() ? 0 : asking[0];
    m_chosen.reset();  // also where its question is no longer put
    if (asking.empty()) {
        return std::nullopt;
    }
    const bool isUnit = std::regex_match(word, m_form) && m_slots.size() > 1 && m_slots[slot]->Unit() != word;
    if (!isNamed && isUnit) {
        return std::nullopt;
    }
    if (!isNamed && asking.size() > 1) {
        return ScanReply{Kind::WhichQuestion, "", word};
    }
    const bool taken = m_slots[slot]->Person().Answer(std::nullopt, word);
    return ScanReply{taken ? Kind::Answered : Kind::Busy, m_file.slots[slot].name, m_slots[slot]->Unit()};
}

// `unit` by value: it may be m_unit, which goes.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
ScanReply Station::Begin(std::size_t slot, std::string unit) {
    const bool taken = m_slots[slot]->Take(unit);
    m_unit.clear();
    m_chosen.reset();
    m_board->Ask("");
    return {taken ? ScanReply::Kind::Begun : ScanReply::Kind::Busy, m_file.slots[slot].name, unit};
}

void Station::Forget() {
    const std::lock_guard lock(m_scanning);
    m_unit.clear();
    m_chosen.reset();
    m_board->Ask("");
}

bool Station::AnswerQuestion(const std::string& slot, std::uint64_t number, const std::string& text) {
    for (std::size_t place = 0; place < m_slots.size(); ++place) {
        if (m_file.slots[place].name == slot) {
            return m_slots[place]->Person().Answer(number, text);
        }
    }
    return false;
}

bool Station::StopUnit(const std::string& slot) {
    for (std::size_t number = 0; number < m_slots.size(); ++number) {
        if (m_file.slots[number].name == slot) {
            return m_slots[number]->StopUnit();
        }
    }
    return false;
}

void Station::End() {
    for (const auto& slot : m_slots) {
        slot->End();
    }
}

bool Station::AwaitEnd(Millis time) const {
    const auto end = std::chrono::steady_clock::now() + time;
    return std::all_of(m_slots.begin(), m_slots.end(), [&](const auto& slot) {
        return slot->AwaitEnd(
            std::max(Millis(0), std::chrono::duration_cast<Millis>(end - std::chrono::steady_clock::now())));
    });
}

// On a thread of its own, since a server that is away takes its time.
void Station::AskTheStore() {
    for (std::unique_lock lock(m_storeMutex); !m_ending;) {
        m_storeIsOld = false;
        lock.unlock();
        const LineState line = LookAtStore();
        m_board->Change(line);
        lock.lock();
        m_storeChanged.wait_for(lock, line.problem.empty() ? kStoreAge : kStoreAway,
                                [this] { return m_storeIsOld || m_ending; });
    }
}

// Tells a server what it does not know yet, and asks it.
LineState Station::LookAtStore() const {
    LineState line;
    line.known = true;
    line.shift = ShiftBegin(m_file.shifts, std::time(nullptr));
    const auto look = [&](Store& store) {
        line.stock = Stock(store).Count();
        line.yield = YieldOf(store, line.shift);
    };
    std::optional<Store> own;  // beside a server
    const auto begin = std::chrono::steady_clock::now();
    try {
        if (!m_file.ledger.empty()) {
            own.emplace(m_file.ledger);
        }
        Store store(m_file.store, kLookPatience);
        if (own) {  // what was left while it was away need not wait for the next unit
            StationLedger(*own, store, m_file.name).BringUp();
        }
        look(store);
        if (own) {
            StationLedger::NoteAnswer(*own);
        }
    } catch (const Error& error) {
        line.problem = error.what();
        line.goesOn = own && error.Status() == Exit::Store;
    } catch (const std::exception& error) {  // of the machine, as no thread to be had: the slots go on
        line.problem = error.what();
    }
    if (line.goesOn) {
        try {
            StationLedger::NoteSilence(*own, begin);
            look(*own);
        } catch (const std::exception& error) {
            line.problem = error.what();
            line.goesOn = false;
        }
    }
    return line;
}

std::string ShiftBegin(const std::vector<std::string>& shifts, std::time_t now) {
    const std::tm local = fmt::localtime(now);
    std::time_t begin = 0;
    for (const int days : {1, 0}) {
        for (const std::string& shift : shifts) {
            std::tm time = local;
            time.tm_mday -= days;
            time.tm_hour = std::stoi(shift.substr(0, 2));
            time.tm_min = std::stoi(shift.substr(3));
            time.tm_sec = 0;
            time.tm_isdst = -1;
            const std::time_t at = std::mktime(&time);
            begin = at <= now ? at : begin;
        }
    }
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(begin));
}

}  // namespace zelline
