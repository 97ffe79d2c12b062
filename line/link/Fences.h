// Tells which of several requests that went out together an answer belongs to.
//
// A set answers in the order of the requests, but an answer names its command and nothing else, and a request or
// an answer may be lost. Between requests of the same command stand fences, queries that do nothing and are
// answered without data.
#ifndef ZELLINE_LINK_FENCES_H
#define ZELLINE_LINK_FENCES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "protocol/CommandCatalogue.h"

namespace zelline {

// The commands that the catalogue has without data in their answer and without an effect.
constexpr std::size_t kFenceCount = 4;
constexpr std::array<std::uint16_t, kFenceCount> FenceIds() {
    std::array<std::uint16_t, kFenceCount> ids{};
    std::size_t count = 0;
    for (const zel::CommandInfo& row : zel::kCommandCatalogue) {
        if (row.answer == zel::AnswerForm::Empty) {
            ids.at(count++) = row.id;  // a fifth would not compile
        }
    }
    return ids;
}
inline constexpr std::array<std::uint16_t, kFenceCount> kFences = FenceIds();
static_assert(kFences.back() != 0);

// An answer that should come.
struct Slot {
    std::uint16_t id = 0;
    std::size_t request = 0;  // the number of the request that it answers; kFence for none that matters
};
constexpr std::size_t kFence = SIZE_MAX;

// The answers that should come to requests of these ids, with fences: one in front of each request whose id has
// been there since the last one, and one behind all when there are several. Fences follow each other in turn, from
// number `first` on, so that a stretch of lost frames rarely holds all four. `answers` has how many each request
// is answered by.
std::vector<Slot> WithFences(const std::vector<std::uint16_t>& ids, const std::vector<int>& answers,
                             std::size_t first = 0);

// For each of the answers that came, by id and in order, the number of its slot as far as it is certain, which it
// is when no other way of losing frames would lead to the same answers. Without any when they do not fit the
// slots. Slots of the same request count as one; the first of them is told.
std::vector<std::optional<std::size_t>> Attribute(const std::vector<Slot>& slots,
                                                  const std::vector<std::uint16_t>& answers);

}  // namespace zelline

#endif
