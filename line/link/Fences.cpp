#include "link/Fences.h"

namespace zelline {

std::vector<Slot> WithFences(const std::vector<std::uint16_t>& ids, const std::vector<int>& answers,
                             std::size_t first) {
    std::vector<Slot> slots;
    const auto fence = [&] { slots.push_back({kFences.at(first++ % kFences.size()), kFence}); };
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (i > 0 && ids[i] == ids[i - 1]) {
            fence();
        }
        slots.insert(slots.end(), static_cast<std::size_t>(answers[i]), {ids[i], i});
    }
    if (ids.size() > 1) {
        fence();
    }
    return slots;
}

std::vector<std::optional<std::size_t>> Attribute(const std::vector<Slot>& slots,
                                                  const std::vector<std::uint16_t>& answers) {
    // The earliest and the latest slot that each answer may have, all answers given.
    std::vector<std::size_t> earliest;
    std::size_t slot = 0;
    for (const std::uint16_t id : answers) {
        while (slot < slots.size() && slots[slot].id != id) {
            ++slot;
        }
        if (slot == slots.size()) {
            return std::vector<std::optional<std::size_t>>(answers.size());
        }
        earliest.push_back(slot++);
    }
    std::vector<std::optional<std::size_t>> certain(answers.size());
    slot = slots.size();
    for (std::size_t i = answers.size(); i-- > 0;) {
        do {
            --slot;
        } while (slots[slot].id != answers[i]);
        const bool sameRequest =
            slots[slot].request != kFence && slots[slot].request == slots[earliest[i]].request;
        if (slot == earliest[i] || sameRequest) {
            certain[i] = earliest[i];
        }
    }
    return certain;
}

}  // namespace zelline
