// The page's files, as they are built into simset.
#ifndef SIMSET_VIEW_PAGE_H
#define SIMSET_VIEW_PAGE_H

#include <string_view>
#include <vector>

namespace simset {

struct PageFile {
    std::string_view path;  // as the browser asks for it
    std::string_view type;
    std::string_view content;
};

const std::vector<PageFile>& PageFiles();

}  // namespace simset

#endif
