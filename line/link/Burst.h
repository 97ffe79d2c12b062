// Several requests asked together, in one burst of frames.
#ifndef ZELLINE_LINK_BURST_H
#define ZELLINE_LINK_BURST_H

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "link/Fences.h"
#include "link/Link.h"

namespace zelline {

struct BurstItem {
    Request request;
    int answers = 1;     // how many it is answered by
    Millis limit{3000};  // how long the set may take for it
    int retries = 1;     // how often it is asked again without an answer
};

// What came of one of them.
struct BurstReply {
    // The answers that count, in the order in which they came; without any, it was not answered. There are several
    // where it had to be asked again for another's sake and was answered otherwise: each of them is the set's
    // word.
    std::vector<UartFrame> frames;
    int answers = 0;  // that came the last time
    int tries = 0;
    Millis gap{0};  // from the answer before it, the first from the burst's last byte on
};

// A set takes the frames of a burst in order and needs its 0.5 s of silence once. An answer counts when it is
// certain which request it belongs to (Fences.h) and it came in time; the others are asked again, behind a flush.
//
// What is asked again is asked late: the set has carried out what stood behind it. So all of the burst is asked
// again that this could matter for, in its order: behind a lost change every request of the same subject; with a
// lost reading, when its subject was changed afterwards, everything from the change in front of it on. An answer
// that was read where a lost change should have been in place does not count.
//
// This asks for bursts in which each subject that is read and later changed is changed in front of that reading
// too, and in which nothing stands behind a request that is not harmless to repeat.
class Burst {
  public:
    Burst(Link& link, std::vector<BurstItem> items);

    // How many bytes the burst of these requests has at most, all around them included.
    static std::size_t MostBytes(const std::vector<BurstItem>& items);

    // The frames that go out first, without what stands in front of them for certainty.
    static std::vector<UartFrame> Frames(const std::vector<BurstItem>& items);

    // Asks until everything is answered, the tries of what is not are used up, or the set has restarted. `onWait`
    // hears from time to time how long nothing has come. Throws what the transport throws; what was answered by
    // then stays.
    void Ask(const std::function<void(Millis)>& onWait = {});

    const std::vector<BurstReply>& Replies() const { return m_replies; }

    // Why there is no answer, for people.
    std::string Missing(std::size_t item) const;

  private:
    struct Arrival {
        UartFrame frame;
        Millis when;
    };

    // Asks for the items of these numbers, once.
    void Round(const std::vector<std::size_t>& asked, bool again, const std::function<void(Millis)>& onWait);
    // What of it is certain.
    void Settle(const std::vector<std::size_t>& asked, const std::vector<Slot>& slots, Millis sent,
                const std::vector<Arrival>& arrivals);
    // The items that have to be asked again.
    std::vector<std::size_t> Again(const std::vector<std::size_t>& asked);

    Link& m_link;
    std::vector<BurstItem> m_items;
    std::vector<BurstReply> m_replies;
    std::vector<int> m_losses;         // per item
    std::set<std::size_t> m_answered;  // in the last round
    std::set<std::size_t> m_givenUp;
    Seen m_seen;
    int m_unmarked = 0;  // rounds whose answers could not be told from earlier ones
    bool m_markMissed = false;
};

}  // namespace zelline

#endif
