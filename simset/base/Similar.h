// How far a name is from the one that was meant.
#ifndef SIMSET_BASE_SIMILAR_H
#define SIMSET_BASE_SIMILAR_H

#include <cstddef>
#include <string>
#include <vector>

namespace simset {

// The edits that turn `expected` into each beginning of `text`, from the empty one to the whole.
std::vector<std::size_t> EditsToBeginnings(const std::string& expected, const std::string& text);

// The `count` names of `names` that are nearest to `wrong`, best first.
std::vector<std::string> NearNames(const std::string& wrong, const std::vector<std::string>& names,
                                   std::size_t count);

}  // namespace simset

#endif
