// The page's file as it is built in, and the languages that it speaks.
#ifndef ZELLINE_PAGE_PAGETEXT_H
#define ZELLINE_PAGE_PAGETEXT_H

#include <string_view>
#include <vector>

namespace zelline {

// The whole page. "@NONCE@" and "@LANGUAGE@" in it are to be filled in.
std::string_view PageText();

// Names of the languages, such as "en"; the first is the one where nothing is said.
const std::vector<std::string_view>& PageLanguages();

}  // namespace zelline

#endif
