#include "simset/base/Similar.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace simset {

std::vector<std::size_t> EditsToBeginnings(const std::string& expected, const std::string& text) {
    std::vector<std::size_t> row(text.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= expected.size(); ++i) {
        std::vector<std::size_t> next{i};
        for (std::size_t j = 1; j <= text.size(); ++j) {
            const std::size_t replaced = row[j - 1] + (expected[i - 1] == text[j - 1] ? 0U : 1U);
            next.push_back(std::min({replaced, row[j] + 1, next[j - 1] + 1}));
        }
        row = std::move(next);
    }
    return row;
}

std::vector<std::string> NearNames(const std::string& wrong, const std::vector<std::string>& names,
                                   std::size_t count) {
    std::vector<std::pair<std::size_t, std::string>> ranked;
    ranked.reserve(names.size());
    for (const auto& name : names) {
        // A name that contains what was typed is what was meant more often than one of similar length.
        const bool part = wrong.size() > 2 && name.find(wrong) != std::string::npos;
        ranked.emplace_back(part ? 0 : EditsToBeginnings(wrong, name).back(), name);
    }
    std::sort(ranked.begin(), ranked.end());
    std::vector<std::string> nearest;
    for (std::size_t i = 0; i < std::min(count, ranked.size()); ++i) {
        nearest.push_back(ranked[i].second);
    }
    return nearest;
}

}  // namespace simset
