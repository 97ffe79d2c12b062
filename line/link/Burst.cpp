#include "link/Burst.h"

#include <algorithm>

#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "wire/Answer.h"

namespace zelline {
namespace {

constexpr Millis kFenceLimit{3000};
// How many requests one damaged one may take along: as many as fit into the longest frame.
constexpr std::size_t kSwallowed = 1 + zel::kMaxWireFrame / zel::kFrameOverhead;
constexpr Millis kClosing{500};  // behind the last answer, for the fence that closes the burst

std::vector<Slot> SlotsOf(const std::vector<BurstItem>& items) {
    std::vector<std::uint16_t> ids;
    std::vector<int> answers;
    for (const BurstItem& item : items) {
        ids.push_back(item.request.id);
        answers.push_back(item.answers);
    }
    return WithFences(ids, answers);
}

// On the wire, at 115200 baud and ten bits per byte.
Millis WireTimeOf(const std::vector<UartFrame>& frames) {
    std::size_t bytes = 0;
    for (const UartFrame& frame : frames) {
        bytes += frame.length + zel::kFrameOverhead;
    }
    return Millis(static_cast<long>(bytes * 10 * 1000 / 115200));
}

zel::Subject SubjectOf(const BurstItem& item) {
    const zel::CommandInfo* row = zel::FindCommand(item.request.id);
    return row == nullptr ? zel::Subject::Nothing : row->subject;
}

bool IsChange(const BurstItem& item) {
    const zel::CommandInfo* row = zel::FindCommand(item.request.id);
    return row != nullptr && zel::ChangesSubject(*row);
}

bool SaysTheSame(const UartFrame& a, const UartFrame& b) {
    return a.kind == b.kind && a.length == b.length &&
           std::equal(a.payload.begin(), a.payload.begin() + a.length, b.payload.begin());
}

}  // namespace

Burst::Burst(Link& link, std::vector<BurstItem> items)
    : m_link(link), m_items(std::move(items)), m_replies(m_items.size()), m_losses(m_items.size()) {}

std::vector<UartFrame> Burst::Frames(const std::vector<BurstItem>& items) {
    std::vector<UartFrame> frames;
    std::size_t next = 0;
    for (const Slot& slot : SlotsOf(items)) {
        if (slot.request == kFence) {
            frames.push_back(FrameOf({slot.id, "", 0, 0}));
        } else if (slot.request == next) {  // one that is answered twice has two slots
            frames.push_back(FrameOf(items[next++].request));
        }
    }
    return frames;
}

std::size_t Burst::MostBytes(const std::vector<BurstItem>& items) {
    std::size_t bytes = zel::kMaxWireFrame + 2 * zel::kFrameOverhead;  // a flush and a mark
    for (const UartFrame& frame : Frames(items)) {
        bytes += frame.length + zel::kFrameOverhead;
    }
    return bytes;
}

void Burst::Ask(const std::function<void(Millis)>& onWait) {
    std::vector<std::size_t> asked;
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        asked.push_back(i);
    }
    for (bool again = false; !asked.empty(); again = true) {
        Round(asked, again, onWait);
        if (m_link.HasRestarted()) {
            return;
        }
        asked = Again(asked);
    }
}

void Burst::Round(const std::vector<std::size_t>& asked, bool again, const std::function<void(Millis)>& onWait) {
    std::vector<BurstItem> items;
    for (const std::size_t i : asked) {
        items.push_back(m_items[i]);
        ++m_replies[i].tries;
    }
    const std::vector<Slot> slots = SlotsOf(items);
    const auto limitOf = [&](const Slot& slot) {
        return slot.request == kFence ? kFenceLimit : items[slot.request].limit;
    };
    Mark mark = m_link.IsInStep() ? Mark() : m_link.NextMark();
    std::vector<UartFrame> frames = mark.Frames();
    const std::vector<UartFrame> requests = Frames(items);
    frames.insert(frames.end(), requests.begin(), requests.end());

    m_answered.clear();
    m_markMissed = false;
    Transport& line = m_link.Line();
    std::vector<Arrival> arrivals;
    Millis sent{0};
    bool heard = false;
    std::size_t next = 0;  // the first slot that may still be answered
    try {
        if (again || !m_link.IsInStep()) {
            m_link.Flush();
        }
        m_link.SetStep(false);
        m_link.Send(frames);
        sent = line.Now() + WireTimeOf(frames);
        Millis last = sent;
        while (next < slots.size() && !m_link.HasRestarted()) {
            Millis limit = next + 1 == slots.size() && next > 0 ? kClosing : Millis(0);
            const std::size_t lastSlot = std::min(slots.size(), next + kSwallowed);
            for (std::size_t i = next; i < lastSlot && limit != kClosing; ++i) {
                limit = std::max(limit, limitOf(slots[i]));
            }
            const auto frame = m_link.Receive(std::min(last + limit, line.Now() + kShowWait));
            const Millis now = line.Now();
            if (!frame) {
                if (now >= last + limit) {
                    break;
                }
                if (onWait) {
                    onWait(now - std::min(now, last));
                }
                continue;
            }
            if (RoleOf(*frame) != FrameRole::Answer) {
                m_seen.ready = m_seen.ready || RoleOf(*frame) == FrameRole::Ready;
                continue;
            }
            last = std::max(last, now);
            heard = true;
            if (!mark.IsPassed()) {
                mark.Take(*frame);
                continue;
            }
            const auto isAnswered = [&](const Slot& slot) { return slot.id == frame->CommandId(); };
            if (std::any_of(slots.begin(), slots.end(), isAnswered)) {
                arrivals.push_back({*frame, now});
                const auto at =
                    std::find_if(slots.begin() + static_cast<std::ptrdiff_t>(next), slots.end(), isAnswered);
                next = at == slots.end() ? next : static_cast<std::size_t>(at - slots.begin()) + 1;
            }
        }
    } catch (...) {
        Settle(asked, slots, sent, arrivals);
        throw;
    }
    m_seen.noise = m_seen.noise || m_link.HasHeardNoise();
    m_seen.other = m_seen.other || heard;
    m_markMissed = !mark.IsPassed() && heard;
    m_link.SetStep(next == slots.size());
    Settle(asked, slots, sent, arrivals);
}

void Burst::Settle(const std::vector<std::size_t>& asked, const std::vector<Slot>& slots, Millis sent,
                   const std::vector<Arrival>& arrivals) {
    std::vector<std::uint16_t> ids;
    ids.reserve(arrivals.size());
    for (const Arrival& arrival : arrivals) {
        ids.push_back(arrival.frame.CommandId());
    }
    const auto certain = Attribute(slots, ids);
    for (std::size_t i = 0; i < arrivals.size(); ++i) {
        if (!certain[i] || slots[*certain[i]].request == kFence) {
            continue;
        }
        const std::size_t item = asked[slots[*certain[i]].request];
        BurstReply& reply = m_replies[item];
        const Millis gap = arrivals[i].when - (i == 0 ? sent : arrivals[i - 1].when);
        if (m_answered.count(item) != 0) {
            ++reply.answers;
        } else if (gap <= m_items[item].limit) {
            m_answered.insert(item);
            reply.answers = 1;
            reply.gap = std::max(gap, Millis(0));
            const auto same = [&](const UartFrame& frame) { return SaysTheSame(frame, arrivals[i].frame); };
            if (std::none_of(reply.frames.begin(), reply.frames.end(), same)) {
                reply.frames.push_back(arrivals[i].frame);
            }
        }
    }
}

std::vector<std::size_t> Burst::Again(const std::vector<std::size_t>& asked) {
    int most = 0;
    for (const std::size_t i : asked) {
        most = std::max(most, m_items[i].retries);
    }
    if (m_markMissed && m_unmarked < most) {  // it is not the items that were lost
        ++m_unmarked;
        return asked;
    }
    std::set<std::size_t> lost;
    for (const std::size_t i : asked) {
        if (m_answered.count(i) == 0 && ++m_losses[i] > m_items[i].retries) {
            m_givenUp.insert(i);
            m_replies[i].frames.clear();
        } else if (m_answered.count(i) == 0) {
            lost.insert(i);
        }
    }
    // The number of the change that item's subject had last in front of it; the number of items without one.
    const auto changeBefore = [&](std::size_t item) {
        for (std::size_t i = item; i-- > 0;) {
            if (SubjectOf(m_items[i]) == SubjectOf(m_items[item]) && IsChange(m_items[i])) {
                return i;
            }
        }
        return m_items.size();
    };
    std::set<std::size_t> again = lost;
    for (const std::size_t i : lost) {
        const zel::Subject subject = SubjectOf(m_items[i]);
        std::size_t from = m_items.size();
        for (std::size_t later = i + 1; later < m_items.size(); ++later) {
            if (SubjectOf(m_items[later]) == subject && (IsChange(m_items[later]) || IsChange(m_items[i]))) {
                from = IsChange(m_items[i]) ? i : std::min(i, changeBefore(i));
            }
        }
        for (std::size_t same = from; same < m_items.size() && subject != zel::Subject::Nothing; ++same) {
            if (SubjectOf(m_items[same]) == subject && m_givenUp.count(same) == 0) {
                again.insert(same);
            }
        }
    }
    for (const std::size_t i : again) {
        if (!IsChange(m_items[i]) && lost.count(changeBefore(i)) != 0 &&
            SubjectOf(m_items[i]) != zel::Subject::Nothing) {
            m_replies[i].frames.clear();
        }
    }
    return {again.begin(), again.end()};
}

std::string Burst::Missing(std::size_t item) const {
    return NoAnswerText(m_items[item].request, std::max(m_replies[item].tries, 1), m_items[item].limit, m_seen);
}

}  // namespace zelline
